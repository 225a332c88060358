#include "settings/XRegistryFile.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <thread>
#include <unistd.h>

namespace w64 {

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kLocationVariable = "XCLASS_XREGISTRY_LOCATION";
constexpr size_t kMostBytes = size_t{1} << 28;
constexpr std::chrono::seconds kPatience{5};
constexpr std::chrono::milliseconds kPause{1};

// Our use of the environment, which the system does not guard.
std::mutex& Mutex() {
    static std::mutex mutex;
    return mutex;
}

XStr HomeFolder() {
    const char* home = std::getenv("HOME");
    return home ? FromUTF8(home) : XStr();
}

}  // namespace

XStr XRegistryFile::Location() {
    const std::lock_guard lock(Mutex());
    const char* given = std::getenv(kLocationVariable);
    XStr location = given ? FromUTF8(given) : L"~/.XRegistry";
    if (location != L"~" && !location.starts_with(L"~/")) return location;
    const XStr home = HomeFolder();
    return home.empty() ? XStr() : home + location.substr(1);
}

bool XRegistryFile::IsLocationSet() {
    const std::lock_guard lock(Mutex());
    return std::getenv(kLocationVariable) != nullptr;
}

void XRegistryFile::SetLocation(const XStr& path, bool overwrite) {
    const std::lock_guard lock(Mutex());
    ::setenv(kLocationVariable, ToUTF8(path).c_str(), overwrite);
}

// Who waited for the lock may have got that of a file that has been replaced meanwhile.
std::optional<std::string> XRegistryFile::Open(const XStr& path, XFile::Access access) {
    path_ = path;
    const auto end = Clock::now() + kPatience;
    do {
        errno = 0;  // what is no file fails without a reason
        if (file_.Open(path, access)) {
            if (file_.IsAt(path)) return Text();
        } else if (errno == ENOENT || errno == ENOTDIR) {
            return std::string();
        } else if (errno != EWOULDBLOCK) {
            return std::nullopt;
        }
        std::this_thread::sleep_for(kPause);
    } while (Clock::now() < end);
    return std::nullopt;
}

// From the start, as descriptors that share the file may share its position.
std::optional<std::string> XRegistryFile::Text() {
    const int64_t size = file_.Size();
    if (size < 0 || static_cast<size_t>(size) > kMostBytes || !file_.SetPosition(0)) return std::nullopt;
    std::string text(static_cast<size_t>(size), '\0');
    if (file_.Read(text.data(), text.size()) != text.size()) return std::nullopt;
    return text;
}

bool XRegistryFile::Replace(const std::string& text) {
    std::error_code error;
    const XStr path = FromUTF8(std::filesystem::canonical(ToUTF8(path_), error).native());
    if (error || !file_.IsAt(path) || text.size() > kMostBytes) return false;
    const XStr beside = path + L".w64-part";
    ::unlink(
        ToUTF8(beside).c_str());  // of a process that was killed, as only the holder of the lock writes it
    XFile file;
    if (!file.Open(beside, XFile::Access::CreatePrivate)) return false;
    const bool done =
        file.Write(text.data(), text.size()) && file.TakeAttributes(file_) && file.MoveOver(beside, path);
    if (!done) ::unlink(ToUTF8(beside).c_str());
    return done;
}

}  // namespace w64
