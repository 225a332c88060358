#pragma once

#include "settings/STRegistryTransactionEntry.h"
#include "settings/XRegistry.h"

#include <memory>
#include <vector>

namespace w64 {

// Several changes to the settings, made in one write or not at all. Uncommitted changes are dropped. Otherwise
// as XRegistry; the getters see the pending changes. For one thread.
class XRegistryTransaction {
public:
    using MainKey = XRegistry::MainKey;

    uint32_t GetDWORD(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath,
                      bool* missing = nullptr) const;
    int32_t GetInt32(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath,
                     bool* missing = nullptr) const;
    int64_t GetInt64(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath,
                     bool* missing = nullptr) const;
    XStr GetString(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath,
                   bool* missing = nullptr) const;
    size_t GetBinaryData(void* buffer, size_t bytes, const wchar_t* valueName, MainKey mainKey,
                         const wchar_t* keyPath, bool* missing = nullptr) const;
    XMem GetBinaryDataToXMem(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath,
                             bool* missing = nullptr) const;
    bool GetStringList(XStrList& list, const wchar_t* valueName, MainKey mainKey,
                       const wchar_t* keyPath) const;

    void SetDWORD(uint32_t value, const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath);
    void SetInt32(int32_t value, const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath);
    void SetInt64(int64_t value, const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath);
    void SetString(const XStr& value, const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath);
    void SetBinaryData(const void* data, size_t bytes, const wchar_t* valueName, MainKey mainKey,
                       const wchar_t* keyPath);
    void SetStringList(const XStrList& list, const wchar_t* valueName, MainKey mainKey,
                       const wchar_t* keyPath);

    void DeleteVal(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath);
    void DeleteKeyAndSubKeys(MainKey mainKey, const wchar_t* keyPath);

    // Copies a key's subkeys and values into another key, replacing values of the same name and keeping the
    // rest. One key may contain the other. A missing key copies nothing.
    void CopyKey(MainKey fromMainKey, const wchar_t* fromKeyPath, MainKey toMainKey,
                 const wchar_t* toKeyPath);

    // Clears the pending changes once they are written; a failure keeps them.
    [[nodiscard]] bool Commit();

private:
    // The settings with the pending changes applied.
    std::unique_ptr<XJSON::Object> Preview() const;

    void Set(XJSON::AnyPtr value, const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath);

    std::vector<STRegistryTransactionEntry> entries_;
};

}  // namespace w64
