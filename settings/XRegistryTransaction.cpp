#include "settings/XRegistryTransaction.h"

#include "base/Base64.h"
#include "settings/XRegistryScopes.h"
#include "settings/XRegistryTree.h"

#include <algorithm>

namespace w64 {

using Operation = STRegistryTransactionEntry::Operation;

namespace {

template <class Convert>
auto Get(Convert convert, const XJSON::Object& root, const wchar_t* valueName, XRegistry::MainKey mainKey,
         const wchar_t* keyPath, bool* missing) {
    const std::vector<XStr> key = XRegistry::ImportKeyPath(mainKey, keyPath);
    return convert(XRegistryTree::FindValue(root, key, valueName), missing);
}

}  // namespace

uint32_t XRegistryTransaction::GetDWORD(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath,
                                        bool* missing) const {
    return static_cast<uint32_t>(GetInt64(valueName, mainKey, keyPath, missing));
}

int32_t XRegistryTransaction::GetInt32(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath,
                                       bool* missing) const {
    return static_cast<int32_t>(GetInt64(valueName, mainKey, keyPath, missing));
}

int64_t XRegistryTransaction::GetInt64(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath,
                                       bool* missing) const {
    return Get(XRegistryTree::ToInteger, *Preview(), valueName, mainKey, keyPath, missing);
}

XStr XRegistryTransaction::GetString(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath,
                                     bool* missing) const {
    return Get(XRegistryTree::ToString, *Preview(), valueName, mainKey, keyPath, missing);
}

size_t XRegistryTransaction::GetBinaryData(void* buffer, size_t bytes, const wchar_t* valueName,
                                           MainKey mainKey, const wchar_t* keyPath, bool* missing) const {
    const XMem data = GetBinaryDataToXMem(valueName, mainKey, keyPath, missing);
    return XRegistryTree::CopyData(data, buffer, bytes);
}

XMem XRegistryTransaction::GetBinaryDataToXMem(const wchar_t* valueName, MainKey mainKey,
                                               const wchar_t* keyPath, bool* missing) const {
    return Get(XRegistryTree::ToBinaryData, *Preview(), valueName, mainKey, keyPath, missing);
}

bool XRegistryTransaction::GetStringList(XStrList& list, const wchar_t* valueName, MainKey mainKey,
                                         const wchar_t* keyPath) const {
    bool missing = false;
    list = Get(XRegistryTree::ToStringList, *Preview(), valueName, mainKey, keyPath, &missing);
    return !missing;
}

void XRegistryTransaction::SetDWORD(uint32_t value, const wchar_t* valueName, MainKey mainKey,
                                    const wchar_t* keyPath) {
    SetInt64(value, valueName, mainKey, keyPath);
}

void XRegistryTransaction::SetInt32(int32_t value, const wchar_t* valueName, MainKey mainKey,
                                    const wchar_t* keyPath) {
    SetInt64(value, valueName, mainKey, keyPath);
}

void XRegistryTransaction::SetInt64(int64_t value, const wchar_t* valueName, MainKey mainKey,
                                    const wchar_t* keyPath) {
    Set(std::make_unique<XJSON::Number>(value), valueName, mainKey, keyPath);
}

void XRegistryTransaction::SetString(const XStr& value, const wchar_t* valueName, MainKey mainKey,
                                     const wchar_t* keyPath) {
    Set(std::make_unique<XJSON::String>(value), valueName, mainKey, keyPath);
}

void XRegistryTransaction::SetBinaryData(const void* data, size_t bytes, const wchar_t* valueName,
                                         MainKey mainKey, const wchar_t* keyPath) {
    SetString(ToBase64(data, bytes), valueName, mainKey, keyPath);
}

void XRegistryTransaction::SetStringList(const XStrList& list, const wchar_t* valueName, MainKey mainKey,
                                         const wchar_t* keyPath) {
    XJSON::Ptr<XJSON::Array> texts;
    for (const XStr& text : list) texts->AddAny(std::make_unique<XJSON::String>(text));
    Set(texts.Detach(), valueName, mainKey, keyPath);
}

void XRegistryTransaction::DeleteVal(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath) {
    entries_.push_back({Operation::DeleteValue, XRegistry::ImportKeyPath(mainKey, keyPath), valueName});
}

void XRegistryTransaction::DeleteKeyAndSubKeys(MainKey mainKey, const wchar_t* keyPath) {
    entries_.push_back({Operation::DeleteKey, XRegistry::ImportKeyPath(mainKey, keyPath)});
}

void XRegistryTransaction::CopyKey(MainKey fromMainKey, const wchar_t* fromKeyPath, MainKey toMainKey,
                                   const wchar_t* toKeyPath) {
    entries_.push_back({.operation = Operation::CopyKey,
                        .key = XRegistry::ImportKeyPath(toMainKey, toKeyPath),
                        .sourceKey = XRegistry::ImportKeyPath(fromMainKey, fromKeyPath)});
}

bool XRegistryTransaction::Commit() {
    if (entries_.empty()) return true;
    const auto sets = [](const auto& entry) { return entry.operation == Operation::SetValue; };
    regWriteScope scope(std::ranges::any_of(entries_, sets));  // a missing file has nothing to delete or copy
    if (!scope.Root()) return false;
    try {
        bool changed = false;
        for (const STRegistryTransactionEntry& entry : entries_) changed |= entry.Apply(*scope.Root());
        if (changed && !scope.Commit()) return false;
    } catch (const XJSON::Error&) {
        return false;
    }
    entries_.clear();
    return true;
}

std::unique_ptr<XJSON::Object> XRegistryTransaction::Preview() const {
    XJSON::AnyPtr copy = sharedRegReadScope().Root().Clone();
    std::unique_ptr<XJSON::Object> root(static_cast<XJSON::Object*>(copy.release()));
    try {
        for (const STRegistryTransactionEntry& entry : entries_) entry.Apply(*root);
    } catch (const XJSON::Error&) {
        return root;  // with the changes made so far; Commit reports the failure
    }
    return root;
}

void XRegistryTransaction::Set(XJSON::AnyPtr value, const wchar_t* valueName, MainKey mainKey,
                               const wchar_t* keyPath) {
    entries_.push_back({.operation = Operation::SetValue,
                        .key = XRegistry::ImportKeyPath(mainKey, keyPath),
                        .valueName = valueName,
                        .value = std::move(value)});
}

}  // namespace w64
