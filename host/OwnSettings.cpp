#include "host/OwnSettings.h"

#include "host/Failure.h"
#include "settings/XRegistry.h"

#include <vector>

namespace {

constexpr auto kUTF16 = static_cast<uint32_t>(LISTText::UTF16);

uint32_t UserSetting(const wchar_t* name, uint32_t otherwise) {
    bool missing = false;
    const uint32_t value =
        XRegistry::GetDWORD(name, XRegistry::CurrentUser, TaggingOptions::KeyPath, &missing);
    return missing ? otherwise : value;
}

}  // namespace

void RequireReadableSettings() {
    if (XRegistry::IsFileReadable()) return;
    throw Failure("the settings in '" + ToUTF8(XRegistry::RegFileLocation()) +
                  "' cannot be read; nothing was changed");
}

OwnSettings::OwnSettings()
    : file_(std::tmpfile()), listText_(UserSetting(TaggingOptions::LISTTextName, kUTF16)) {
    if (!file_) throw SystemFailure("cannot create a temporary file");
    XStrList names;
    XRegistry::EnumValueNames(names, XRegistry::CurrentUser, TaggingOptions::KeyPath);
    std::vector<uint32_t> values;
    for (const XStr& name : names) values.push_back(UserSetting(name.c_str(), 0));
    XRegistry::SetRegFileLocation(L"/dev/fd/" + std::to_wstring(::fileno(file_.get())), true);
    for (int i = 0; i < names.Count(); ++i) Set(names[i].c_str(), values[static_cast<size_t>(i)]);
    Set(TaggingOptions::SafeEditName, 1);
    EndEdit();
}

void OwnSettings::BeginEdit() { Set(TaggingOptions::LISTTextName, listText_); }

void OwnSettings::EndEdit() { Set(TaggingOptions::LISTTextName, kUTF16); }

void OwnSettings::Set(const wchar_t* name, uint32_t value) {
    if (!XRegistry::SetDWORD(value, name, XRegistry::CurrentUser, TaggingOptions::KeyPath)) {
        throw Failure("cannot hand the tagging options to the decoder");
    }
}
