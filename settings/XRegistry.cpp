#include "settings/XRegistry.h"

#include "settings/XRegistryFile.h"
#include "settings/XRegistryScopes.h"
#include "settings/XRegistryTransaction.h"
#include "settings/XRegistryTree.h"

#include <algorithm>
#include <mutex>

namespace w64 {

struct XRegistryMainKey {
    const wchar_t* name;
};

namespace {

using MainKey = XRegistry::MainKey;

constexpr XRegistryMainKey kCurrentUser{L"HKCU"};

constexpr wchar_t kSeparator = L'\\';

struct Defaults {
    MainKey mainKey = nullptr;
    XStr keyPath;
};

std::mutex& DefaultsMutex() {
    static std::mutex mutex;
    return mutex;
}

Defaults& TheDefaults() {
    static Defaults defaults;
    return defaults;
}

template <class Convert>
auto Get(Convert convert, const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath, bool* missing) {
    const std::vector<XStr> key = XRegistry::ImportKeyPath(mainKey, keyPath);
    const sharedRegReadScope scope;
    return convert(XRegistryTree::FindValue(scope.Root(), key, valueName), missing);
}

bool List(bool subkeys, XStrList& names, MainKey mainKey, const wchar_t* keyPath) {
    const std::vector<XStr> steps = XRegistry::ImportKeyPath(mainKey, keyPath);
    const sharedRegReadScope scope;
    const XJSON::Object* key = XRegistryTree::FindKey(scope.Root(), steps);
    XRegistryTree::ListNames(key ? *key : XJSON::EmptyObject, subkeys, names);
    return key != nullptr;
}

template <class Change, class... Arguments>
bool Write(Change change, const Arguments&... arguments) {
    XRegistryTransaction one;
    (one.*change)(arguments...);
    return one.Commit();
}

}  // namespace

constinit const MainKey XRegistry::CurrentUser = &kCurrentUser;

void XRegistry::SetDefault(MainKey mainKey, const wchar_t* keyPath) {
    const std::lock_guard lock(DefaultsMutex());
    TheDefaults() = {mainKey, keyPath ? keyPath : L""};
}

XStr XRegistry::RegFileLocation() { return XRegistryFile::Location(); }

bool XRegistry::IsRegFileLocationSet() { return XRegistryFile::IsLocationSet(); }

bool XRegistry::IsFileReadable() { return sharedRegReadScope().IsUsable(); }

void XRegistry::SetRegFileLocation(const XStr& path, bool overwrite) {
    XRegistryFile::SetLocation(path, overwrite);
}

uint32_t XRegistry::GetDWORD(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath,
                             bool* missing) {
    return static_cast<uint32_t>(GetInt64(valueName, mainKey, keyPath, missing));
}

int32_t XRegistry::GetInt32(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath,
                            bool* missing) {
    return static_cast<int32_t>(GetInt64(valueName, mainKey, keyPath, missing));
}

int64_t XRegistry::GetInt64(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath,
                            bool* missing) {
    return Get(XRegistryTree::ToInteger, valueName, mainKey, keyPath, missing);
}

XStr XRegistry::GetString(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath, bool* missing) {
    return Get(XRegistryTree::ToString, valueName, mainKey, keyPath, missing);
}

size_t XRegistry::GetBinaryData(void* buffer, size_t bytes, const wchar_t* valueName, MainKey mainKey,
                                const wchar_t* keyPath, bool* missing) {
    const XMem data = GetBinaryDataToXMem(valueName, mainKey, keyPath, missing);
    return XRegistryTree::CopyData(data, buffer, bytes);
}

XMem XRegistry::GetBinaryDataToXMem(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath,
                                    bool* missing) {
    return Get(XRegistryTree::ToBinaryData, valueName, mainKey, keyPath, missing);
}

bool XRegistry::GetStringList(XStrList& list, const wchar_t* valueName, MainKey mainKey,
                              const wchar_t* keyPath) {
    bool missing = false;
    list = Get(XRegistryTree::ToStringList, valueName, mainKey, keyPath, &missing);
    return !missing;
}

bool XRegistry::EnumKeys(XStrList& names, MainKey mainKey, const wchar_t* keyPath) {
    return List(true, names, mainKey, keyPath);
}

bool XRegistry::EnumValueNames(XStrList& names, MainKey mainKey, const wchar_t* keyPath) {
    return List(false, names, mainKey, keyPath);
}

bool XRegistry::DoesKeyExist(MainKey mainKey, const wchar_t* keyPath) {
    const std::vector<XStr> key = ImportKeyPath(mainKey, keyPath);
    const sharedRegReadScope scope;
    return XRegistryTree::FindKey(scope.Root(), key) != nullptr;
}

bool XRegistry::DoesValueExist(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath) {
    const auto exists = [](const XJSON::AnyType* value, bool*) { return value != nullptr; };
    return Get(exists, valueName, mainKey, keyPath, nullptr);
}

size_t XRegistry::GetValueLength(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath,
                                 bool* missing) {
    return GetString(valueName, mainKey, keyPath, missing).size();
}

bool XRegistry::SetDWORD(uint32_t value, const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath) {
    return Write(&XRegistryTransaction::SetDWORD, value, valueName, mainKey, keyPath);
}

bool XRegistry::SetInt32(int32_t value, const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath) {
    return Write(&XRegistryTransaction::SetInt32, value, valueName, mainKey, keyPath);
}

bool XRegistry::SetInt64(int64_t value, const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath) {
    return Write(&XRegistryTransaction::SetInt64, value, valueName, mainKey, keyPath);
}

bool XRegistry::SetString(const XStr& value, const wchar_t* valueName, MainKey mainKey,
                          const wchar_t* keyPath) {
    return Write(&XRegistryTransaction::SetString, value, valueName, mainKey, keyPath);
}

bool XRegistry::SetBinaryData(const void* data, size_t bytes, const wchar_t* valueName, MainKey mainKey,
                              const wchar_t* keyPath) {
    return Write(&XRegistryTransaction::SetBinaryData, data, bytes, valueName, mainKey, keyPath);
}

bool XRegistry::SetStringList(const XStrList& list, const wchar_t* valueName, MainKey mainKey,
                              const wchar_t* keyPath) {
    return Write(&XRegistryTransaction::SetStringList, list, valueName, mainKey, keyPath);
}

bool XRegistry::DeleteVal(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath) {
    return Write(&XRegistryTransaction::DeleteVal, valueName, mainKey, keyPath);
}

bool XRegistry::DeleteKeyAndSubKeys(MainKey mainKey, const wchar_t* keyPath) {
    return Write(&XRegistryTransaction::DeleteKeyAndSubKeys, mainKey, keyPath);
}

std::vector<XStr> XRegistry::ImportKeyPath(MainKey mainKey, const wchar_t* keyPath) {
    const std::lock_guard lock(DefaultsMutex());
    const MainKey chosen = mainKey ? mainKey : TheDefaults().mainKey;
    const std::wstring_view path = keyPath ? keyPath : std::wstring_view(TheDefaults().keyPath);
    std::vector<XStr> names{chosen ? chosen->name : L"UNSPEC"};
    for (size_t begin = path.find_first_not_of(kSeparator); begin < path.size();) {
        const size_t end = std::min(path.find(kSeparator, begin), path.size());
        names.emplace_back(path.substr(begin, end - begin));
        begin = end + 1;
    }
    while (names.size() > 1 && names.back().empty()) names.pop_back();
    return names;
}

}  // namespace w64
