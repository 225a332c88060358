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
constexpr size_t kMaxBytes = size_t{1} << 28;
constexpr std::chrono::seconds kMaxWait{5};  // for the lock
constexpr std::chrono::milliseconds kRetryInterval{1};

// Guards our use of the environment, which is not thread-safe.
std::mutex& EnvironmentMutex() {
    static std::mutex mutex;
    return mutex;
}

XStr HomeFolder() {
    const char* home = std::getenv("HOME");
    return home ? FromFileName(home) : XStr();
}

}  // namespace

XStr XRegistryFile::Location() {
    const std::lock_guard lock(EnvironmentMutex());
    const char* given = std::getenv(kLocationVariable);
    XStr location = given ? FromFileName(given) : L"~/.XRegistry";
    if (location != L"~" && !location.starts_with(L"~/")) return location;
    const XStr home = HomeFolder();
    return home.empty() ? XStr() : home + location.substr(1);
}

bool XRegistryFile::IsLocationSet() {
    const std::lock_guard lock(EnvironmentMutex());
    return std::getenv(kLocationVariable) != nullptr;
}

void XRegistryFile::SetLocation(const XStr& path, bool overwrite) {
    const std::lock_guard lock(EnvironmentMutex());
    ::setenv(kLocationVariable, ToFileName(path).c_str(), overwrite);
}

// After waiting, the lock may be on a file that has been replaced meanwhile; then it is opened again.
std::optional<std::string> XRegistryFile::Open(const XStr& path, XFile::Access access) {
    path_ = path;
    const auto end = Clock::now() + kMaxWait;
    do {
        errno = 0;  // a path that is not a regular file fails without errno
        if (file_.Open(path, access)) {
            if (file_.IsAt(path)) return Text();
        } else if (errno == ENOENT || errno == ENOTDIR) {
            return std::string();
        } else if (errno != EWOULDBLOCK) {
            return std::nullopt;
        }
        std::this_thread::sleep_for(kRetryInterval);
    } while (Clock::now() < end);
    return std::nullopt;
}

// From the start, as opening a path like "/dev/fd/3" may share the position of another descriptor.
std::optional<std::string> XRegistryFile::Text() {
    const int64_t size = file_.Size();
    if (size < 0 || static_cast<size_t>(size) > kMaxBytes || !file_.SetPosition(0)) return std::nullopt;
    std::string text(static_cast<size_t>(size), '\0');
    if (file_.Read(text.data(), text.size()) != text.size()) return std::nullopt;
    return text;
}

bool XRegistryFile::Replace(const std::string& text) {
    std::error_code error;
    const XStr path = FromFileName(std::filesystem::canonical(ToFileName(path_), error).native());
    if (error || !file_.IsAt(path) || text.size() > kMaxBytes) return false;
    const XStr temporary = path + L".w64-part";
    ::unlink(ToFileName(temporary).c_str());  // left by a killed process: only the lock holder writes it
    XFile file;
    if (!file.Open(temporary, XFile::Access::CreatePrivate)) return false;
    const bool done =
        file.Write(text.data(), text.size()) && file.TakeAttributes(file_) && file.MoveOver(temporary, path);
    if (!done) ::unlink(ToFileName(temporary).c_str());
    return done;
}

}  // namespace w64
