#include "settings/XRegistryScopes.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <optional>

namespace w64 {

namespace {

using FileTime = std::filesystem::file_time_type;
using Tree = std::unique_ptr<XJSON::Object>;

// Coarsest resolution of a last-write time. Two changes within one step may leave the same time.
constexpr std::chrono::seconds kClockStep{2};

struct Settings {
    Tree root = std::make_unique<XJSON::Object>();
    bool usable = false;  // the whole text was parsed
    bool tree = false;    // and is an object, or empty
    bool lossy = false;   // but the tree does not represent all of it
};

struct SharedCopy {
    std::mutex mutex;
    Settings settings;
    XStr location;
    std::optional<FileTime> written;  // none while the copy may be out of date
};

SharedCopy& Shared() {
    static SharedCopy copy;
    return copy;
}

std::optional<FileTime> LastWriteTime(const XStr& location) {
    std::error_code failure;
    const FileTime time = std::filesystem::last_write_time(ToFileName(location), failure);
    return failure ? std::nullopt : std::optional(time);
}

// An empty text, and one that is not an object, count as an empty tree.
Tree AsTree(XJSON::AnyPtr value) {
    if (!value || value->TypeOf() != XJSON::Type::Object) return std::make_unique<XJSON::Object>();
    return Tree(static_cast<XJSON::Object*>(value.release()));
}

// A text that is cut off, continues after the tree or is not UTF-8 is not usable, though what can be read of it
// is kept.
Settings Understand(const std::string& text) {
    Settings settings;
    const XStr characters = FromUTF8(text);
    try {
        int position = 1;
        XJSON::AnyPtr value = XJSON::Parse(characters, position, &settings.lossy);
        const bool isCutOff = !value && !std::ranges::all_of(characters, XJSON::IsSpacing);
        XJSON::SkipSpacing(characters, position);
        const bool isAll = static_cast<size_t>(position) > characters.size();
        settings.usable = !isCutOff && isAll && ToUTF8(characters) == text;
        settings.tree = settings.usable && (!value || value->TypeOf() == XJSON::Type::Object);
        settings.root = AsTree(std::move(value));
    } catch (const XJSON::Error&) {
        return settings;
    }
    return settings;
}

Settings Load(const XStr& location) {
    XRegistryFile file;
    const std::optional<std::string> text = file.Open(location, XFile::Access::Read);
    return text ? Understand(*text) : Settings();
}

// Takes the time before reading, so that the next reader notices a change in between.
void Refresh(SharedCopy& copy) {
    const XStr location = XRegistryFile::Location();
    const std::optional<FileTime> written = LastWriteTime(location);
    if (copy.written && copy.written == written && copy.location == location) return;
    copy.written.reset();
    copy.settings = Load(location);
    copy.location = location;
    const bool settled = written && FileTime::clock::now() - *written > kClockStep;
    if (settled && copy.settings.usable) copy.written = written;
}

}  // namespace

sharedRegReadScope::sharedRegReadScope() : lock_(Shared().mutex) { Refresh(Shared()); }

const XJSON::Object& sharedRegReadScope::Root() const { return *Shared().settings.root; }

bool sharedRegReadScope::IsUsable() const { return Shared().settings.usable; }

bool sharedRegReadScope::IsTree() const { return Shared().settings.tree; }

regWriteScope::regWriteScope(bool makesFile) {
    const auto access = makesFile ? XFile::Access::ReadWriteOrCreate : XFile::Access::ReadWrite;
    const std::optional<std::string> text = file_.Open(XRegistryFile::Location(), access);
    if (!text) return;
    Settings settings = Understand(*text);
    if (settings.usable && !settings.lossy) root_ = std::move(settings.root);
}

bool regWriteScope::Commit() {
    const XStr characters = JoinUnits(root_->ToText());  // escapes give surrogates
    const std::string text = ToUTF8(characters);
    const bool written = FromUTF8(text) == characters && file_.Replace(text);
    file_.Close();
    SharedCopy& copy = Shared();
    const std::lock_guard lock(copy.mutex);
    copy.written.reset();
    return written;
}

}  // namespace w64
