#include "tags/TaggingOptions.h"

#include "settings/XRegistry.h"
#include "settings/XRegistryScopes.h"
#include "settings/XRegistryTree.h"

namespace w64 {

namespace {

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
    const std::vector<XStr> path = XRegistry::ImportKeyPath(XRegistry::CurrentUser, KeyPath);
    const sharedRegReadScope settings;
    const XJSON::Object* key = XRegistryTree::FindKey(settings.Root(), path);
    const auto setting = [&](const wchar_t* name) {
        const XJSON::AnyType* value = key ? XRegistryTree::FindValue(*key, {}, name) : nullptr;
        return static_cast<uint32_t>(XRegistryTree::ToInteger(value, nullptr));
    };
    TaggingOptions options;
    options.usable = settings.IsTree();
    options.createsLists = setting(L"Wave64TagDefault") <= 1;
    options.listBeforeAudio = setting(LISTPlaceName) != 0;
    options.albumOption = static_cast<int>(setting(L"Wave64LISTAlbum"));
    options.trackOption = static_cast<int>(setting(L"Wave64LISTTrack"));
    options.paddingMode = static_cast<int>(setting(L"Wave64LISTPadding"));
    options.paddingSize = PaddingBytes(setting(L"Wave64LISTPaddingSize"));
    options.rules.safe = setting(SafeEditName) != 0;
    options.text = TextForm(setting(LISTTextName));
    return options;
}

}  // namespace w64
