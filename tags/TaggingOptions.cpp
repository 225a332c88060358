#include "tags/TaggingOptions.h"

#include "settings/XRegistry.h"

namespace {

uint32_t Setting(const wchar_t* name) {
    return XRegistry::GetDWORD(name, XRegistry::CurrentUser, TaggingOptions::KeyPath);
}

int PaddingBytes(uint32_t setting) {
    switch (setting) {
    case 1:
        return 1024;
    case 2:
        return 4096;
    case 3:
        return 8192;
    case 4:
        return 16384;
    default:
        return 0;
    }
}

LISTText TextForm(uint32_t setting) {
    return setting <= static_cast<uint32_t>(LISTText::UTF16) ? LISTText{setting} : LISTText::Half;
}

}  // namespace

TaggingOptions TaggingOptions::Read() {
    TaggingOptions options;
    options.createsLists = Setting(L"Wave64TagDefault") <= 1;
    options.listBeforeAudio = Setting(L"Wave64LISTPos") != 0;
    options.albumOption = static_cast<int>(Setting(L"Wave64LISTAlbum"));
    options.trackOption = static_cast<int>(Setting(L"Wave64LISTTrack"));
    options.paddingMode = static_cast<int>(Setting(L"Wave64LISTPadding"));
    options.paddingSize = PaddingBytes(Setting(L"Wave64LISTPaddingSize"));
    options.rules.safe = Setting(SafeEditName) == 1;
    options.rules.text = TextForm(Setting(LISTTextName));
    return options;
}
