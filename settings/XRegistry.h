#pragma once

#include "base/XMem.h"
#include "base/XStr.h"
#include "base/XStrList.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace w64 {

struct XRegistryMainKey;

// The settings of the user, as a registry of keys and values in one file.
// Names:   a key is addressed by a main key and a path of names with backslashes between, before and after.
//          Where either is null its default is taken. Case is ignored.
// Reading: a value that is not there, or is of another type, reads as 0 or as nothing; `missing`, where given,
//          tells. A file that cannot be opened or is malformed reads as if it were empty.
// Writing: each call reads the file, puts a changed one in its place, and waits for others that do the same, but
//          not longer than five seconds; a missing file is created for its owner alone where a value is set.
//          False when the file cannot be opened or written, is malformed, or holds what would be lost (a number
//          of more than 64 bits, half a surrogate pair, an unknown escape): it is then as it was. Use an
//          XRegistryTransaction for several changes at once.
// Threads: all calls are safe from all threads. Nothing is thrown but std::bad_alloc.
class XRegistry {
public:
    // Stands for a name under the root of the file; null for none given.
    using MainKey = const XRegistryMainKey*;
    static const MainKey CurrentUser;

    // What null stands for in later calls: before the first call the main key "UNSPEC" and its own values.
    static void SetDefault(MainKey mainKey, const wchar_t* keyPath);

    // The file, read anew by every operation: what the environment variable "XCLASS_XREGISTRY_LOCATION" says,
    // else "~/.XRegistry". Empty where that needs a home folder and there is none.
    static XStr RegFileLocation();
    static bool IsRegFileLocationSet();
    // False for a file that is there but cannot be opened or is malformed, and so reads as if it were empty.
    static bool IsFileReadable();
    static void SetRegFileLocation(const XStr& path, bool overwrite);

    // Numbers are stored in 64 bits; of a larger one the 32-bit getters return the low half.
    static uint32_t GetDWORD(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath,
                             bool* missing = nullptr);
    static int32_t GetInt32(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath,
                            bool* missing = nullptr);
    static int64_t GetInt64(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath,
                            bool* missing = nullptr);
    static XStr GetString(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath,
                          bool* missing = nullptr);

    // Returns the size of the data, of which as much is copied as the buffer takes.
    static size_t GetBinaryData(void* buffer, size_t bytes, const wchar_t* valueName, MainKey mainKey,
                                const wchar_t* keyPath, bool* missing = nullptr);
    static XMem GetBinaryDataToXMem(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath,
                                    bool* missing = nullptr);

    // These replace the list. False unless the value is a list, or the key is there.
    static bool GetStringList(XStrList& list, const wchar_t* valueName, MainKey mainKey,
                              const wchar_t* keyPath);
    static bool EnumKeys(XStrList& names, MainKey mainKey, const wchar_t* keyPath);
    static bool EnumValueNames(XStrList& names, MainKey mainKey, const wchar_t* keyPath);

    static bool DoesKeyExist(MainKey mainKey, const wchar_t* keyPath);
    static bool DoesValueExist(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath);

    // Characters of a string.
    static size_t GetValueLength(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath,
                                 bool* missing = nullptr);

    static bool SetDWORD(uint32_t value, const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath);
    static bool SetInt32(int32_t value, const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath);
    static bool SetInt64(int64_t value, const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath);
    static bool SetString(const XStr& value, const wchar_t* valueName, MainKey mainKey,
                          const wchar_t* keyPath);
    static bool SetBinaryData(const void* data, size_t bytes, const wchar_t* valueName, MainKey mainKey,
                              const wchar_t* keyPath);
    static bool SetStringList(const XStrList& list, const wchar_t* valueName, MainKey mainKey,
                              const wchar_t* keyPath);

    // True when there is nothing of the name afterwards.
    static bool DeleteVal(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath);
    static bool DeleteKeyAndSubKeys(MainKey mainKey, const wchar_t* keyPath);

    // The names on the way from the root of the file to a key, the main key first.
    static std::vector<XStr> ImportKeyPath(MainKey mainKey, const wchar_t* keyPath);
};

}  // namespace w64
