#include "host/OwnSettings.h"

#include "base/Platform.h"
#include "base/XFile.h"
#include "host/Failure.h"
#include "settings/XRegistry.h"

#include <nlohmann/json.hpp>

namespace {

constexpr const char* kCannotOffer = "cannot hand the tagging options to the decoder";
constexpr auto kUTF16 = static_cast<uint32_t>(LISTText::UTF16);

uint32_t UserSetting(const wchar_t* name, uint32_t otherwise) {
    bool missing = false;
    const uint32_t value =
        XRegistry::GetDWORD(name, XRegistry::CurrentUser, TaggingOptions::KeyPath, &missing);
    return missing ? otherwise : value;
}

// The text of a settings store that has these options and nothing else.
std::string AsStore(const std::map<XStr, uint32_t>& options) {
    nlohmann::json store;
    nlohmann::json* key = &store;
    for (const XStr& name : XRegistry::ImportKeyPath(XRegistry::CurrentUser, TaggingOptions::KeyPath)) {
        key = &(*key)[ToUTF8(name)];
    }
    for (const auto& [name, value] : options) (*key)[ToUTF8(name)] = value;
    return store.dump();
}

}  // namespace

void RequireReadableSettings() {
    if (XRegistry::IsFileReadable()) return;
    throw Failure("the settings in '" + ToUTF8(XRegistry::RegFileLocation()) +
                  "' cannot be read; nothing was changed");
}

OwnSettings::OwnSettings()
    : file_(Platform::MemoryFile()), listText_(UserSetting(TaggingOptions::LISTTextName, kUTF16)) {
    if (file_.Number() < 0) throw SystemFailure(kCannotOffer);
    XStrList names;
    XRegistry::EnumValueNames(names, XRegistry::CurrentUser, TaggingOptions::KeyPath);
    for (const XStr& name : names) options_[FoldCase(name)] = UserSetting(name.c_str(), 0);
    options_[FoldCase(TaggingOptions::SafeEditName)] = 1;
    XRegistry::SetRegFileLocation(L"/dev/fd/" + std::to_wstring(file_.Number()), true);
    EndEdit();
    if (UserSetting(TaggingOptions::SafeEditName, 0) != 1) throw Failure(kCannotOffer);
}

void OwnSettings::Offer(uint32_t listText) {
    options_[FoldCase(TaggingOptions::LISTTextName)] = listText;
    const std::string text = AsStore(options_);
    XFile file;
    file.Open(reinterpret_cast<void*>(intptr_t{file_.Number()}));
    if (!file.SetFileSize(0) || !file.SetPosition(0) || !file.Write(text.data(), text.size())) {
        throw SystemFailure(kCannotOffer);
    }
}
