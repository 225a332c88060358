#include "host/OwnSettings.h"

#include "host/Failure.h"
#include "settings/XRegistry.h"

#include <array>
#include <utility>

namespace {

constexpr std::array kUserOptions = {L"Wave64TagDefault", L"Wave64LISTPos",     L"Wave64LISTAlbum",
                                     L"Wave64LISTTrack",  L"Wave64LISTPadding", L"Wave64LISTPaddingSize"};
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
    std::array<uint32_t, kUserOptions.size()> values{};
    for (size_t i = 0; i < values.size(); ++i) values[i] = UserSetting(kUserOptions[i], 0);
    XRegistry::SetRegFileLocation(L"/dev/fd/" + std::to_wstring(::fileno(file_.get())), true);
    for (size_t i = 0; i < values.size(); ++i) Set(kUserOptions[i], values[i]);
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
