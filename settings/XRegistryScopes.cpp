#include "settings/XRegistryScopes.h"

#include "settings/XRegistry.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <optional>

namespace {

using FileTime = std::filesystem::file_time_type;
using Tree = std::unique_ptr<XJSON::Object>;

constexpr size_t kMostBytes = size_t{1} << 28;

// The coarsest steps of a last-write time. Within one of them a file may change twice and show it once.
constexpr std::chrono::seconds kClockStep{2};

struct SharedCopy {
    std::mutex mutex;
    Tree root;
    XStr location;
    std::optional<FileTime> written;  // none while the copy is not to be relied on
};

SharedCopy& Shared() {
    static SharedCopy copy;
    return copy;
}

std::optional<FileTime> LastWriteTime(const XStr& location) {
    std::error_code failure;
    const FileTime time = std::filesystem::last_write_time(ToUTF8(location), failure);
    return failure ? std::nullopt : std::optional(time);
}

std::optional<std::string> ReadAll(XFile& file) {
    const int64_t size = file.Size();
    if (size < 0 || static_cast<size_t>(size) > kMostBytes) return std::nullopt;
    std::string text(static_cast<size_t>(size), '\0');
    // A path like "/dev/fd/3" can lead to a descriptor that somebody has read from.
    if (!file.SetPosition(0) || file.Read(text.data(), text.size()) != text.size()) return std::nullopt;
    return text;
}

// What stands for an empty tree too: a text that is nothing, or something else than an object.
Tree AsTree(XJSON::AnyPtr value) {
    if (!value || value->TypeOf() != XJSON::Type::Object) return std::make_unique<XJSON::Object>();
    return Tree(static_cast<XJSON::Object*>(value.release()));
}

// Null when malformed.
Tree ParseToRead(const std::string& text) {
    try {
        return AsTree(XJSON::Parse(FromUTF8(text)));
    } catch (const XJSON::Error&) {
        return nullptr;
    }
}

// Null also for a text of which a part would be lost: one that is cut off, goes on behind the tree, or is no
// UTF-8.
Tree ParseToReplace(const std::string& text) {
    const XStr characters = FromUTF8(text);
    if (ToUTF8(characters) != text) return nullptr;
    try {
        int position = 1;
        XJSON::AnyPtr value = XJSON::Parse(characters, position);
        const bool isCutOff = !value && !std::ranges::all_of(characters, XJSON::IsSpacing);
        XJSON::SkipSpacing(characters, position);
        if (isCutOff || static_cast<size_t>(position) <= characters.size()) return nullptr;
        return AsTree(std::move(value));
    } catch (const XJSON::Error&) {
        return nullptr;
    }
}

std::optional<std::string> ReadText(const XStr& location) {
    XFile file;
    return file.Open(location, XFile::Access::WaitToRead) ? ReadAll(file) : std::nullopt;
}

Tree Load(const XStr& location) {
    const std::optional<std::string> text = ReadText(location);
    return text ? ParseToRead(*text) : nullptr;
}

// The time is taken before the file is read, so that a change in between is seen by the next reader.
void Refresh(SharedCopy& copy) {
    const XStr location = XRegistry::RegFileLocation();
    const std::optional<FileTime> written = LastWriteTime(location);
    if (copy.written && copy.written == written && copy.location == location) return;
    copy.written.reset();
    copy.root = Load(location);
    copy.location = location;
    const bool settled = written && FileTime::clock::now() - *written > kClockStep;
    if (settled && copy.root) copy.written = written;
    if (!copy.root) copy.root = std::make_unique<XJSON::Object>();
}

}  // namespace

sharedRegReadScope::sharedRegReadScope() : lock_(Shared().mutex) { Refresh(Shared()); }

const XJSON::Object& sharedRegReadScope::Root() const { return *Shared().root; }

bool IsSettingsFileReadable() {
    const XStr location = XRegistry::RegFileLocation();
    std::error_code failure;
    const auto status = std::filesystem::status(ToUTF8(location), failure);
    if (status.type() == std::filesystem::file_type::not_found) return true;
    const std::optional<std::string> text = ReadText(location);
    return text && ParseToReplace(*text);
}

regWriteScope::regWriteScope() {
    if (!file_.Open(XRegistry::RegFileLocation(), XFile::Access::WaitToUpdate)) return;
    std::optional<std::string> text = ReadAll(file_);
    if (!text) return;
    text_ = std::move(*text);
    root_ = ParseToReplace(text_);
}

// The old text is written over before the file is cut, so that there is always room to put it back.
bool regWriteScope::Commit() {
    const std::string text = ToUTF8(JoinUnits(root_->ToText()));  // escapes come as units
    if (text.size() > kMostBytes) return false;
    const bool written = Replace(text);
    if (!written) static_cast<void>(Replace(text_));
    file_.Close();
    SharedCopy& copy = Shared();
    const std::lock_guard lock(copy.mutex);
    copy.written.reset();
    return written;
}

bool regWriteScope::Replace(const std::string& text) {
    return file_.SetPosition(0) && file_.Write(text.data(), text.size()) &&
           file_.SetFileSize(static_cast<int64_t>(text.size()));
}
