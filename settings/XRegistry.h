#pragma once

#include "base/XMem.h"
#include "base/XStr.h"
#include "base/XStrList.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace w64 {

struct XRegistryMainKey;

// The user's settings: a registry of keys and values in one file.
// Names:   a key is addressed by a main key and a path of names separated by backslashes; leading and trailing
//          backslashes are allowed. Null means the default. Case is ignored.
// Reading: a value that is missing or of another type reads as 0 or empty; `missing`, if given, tells. A file
//          that cannot be opened or is malformed reads as empty.
// Writing: each call reads the file and replaces it. It waits up to five seconds for other writers. Setting a
//          value creates a missing file, accessible to its owner only. A call fails and leaves the file
//          unchanged when the file cannot be opened or written, is malformed, or holds what would be lost (a
//          number of more than 64 bits, half a surrogate pair, an unknown escape). Use an XRegistryTransaction
//          for several changes at once.
// Threads: all calls are thread-safe. Only std::bad_alloc is thrown.
class XRegistry {
public:
    // A name under the root of the file; null means the default.
    using MainKey = const XRegistryMainKey*;
    static const MainKey CurrentUser;

    // What null means in later calls. Until then it is the main key "UNSPEC" with an empty path.
    static void SetDefault(MainKey mainKey, const wchar_t* keyPath);

    // The file's path, looked up by every operation: the environment variable "XCLASS_XREGISTRY_LOCATION", else
    // "~/.XRegistry". Empty when that needs a home folder and there is none.
    static XStr RegFileLocation();
    static bool IsRegFileLocationSet();
    // False if the file exists but cannot be opened or is malformed, so that it reads as empty.
    static bool IsFileReadable();
    static void SetRegFileLocation(const XStr& path, bool overwrite);

    // Numbers are stored in 64 bits; the 32-bit getters return the low half.
    static uint32_t GetDWORD(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath,
                             bool* missing = nullptr);
    static int32_t GetInt32(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath,
                            bool* missing = nullptr);
    static int64_t GetInt64(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath,
                            bool* missing = nullptr);
    static XStr GetString(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath,
                          bool* missing = nullptr);

    // Copies what fits into the buffer and returns the full size of the data.
    static size_t GetBinaryData(void* buffer, size_t bytes, const wchar_t* valueName, MainKey mainKey,
                                const wchar_t* keyPath, bool* missing = nullptr);
    static XMem GetBinaryDataToXMem(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath,
                                    bool* missing = nullptr);

    // These replace the list. False unless the value is a list, or the key exists.
    static bool GetStringList(XStrList& list, const wchar_t* valueName, MainKey mainKey,
                              const wchar_t* keyPath);
    static bool EnumKeys(XStrList& names, MainKey mainKey, const wchar_t* keyPath);
    static bool EnumValueNames(XStrList& names, MainKey mainKey, const wchar_t* keyPath);

    static bool DoesKeyExist(MainKey mainKey, const wchar_t* keyPath);
    static bool DoesValueExist(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath);

    // Length of a string in characters.
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

    // True when nothing of that name is left.
    static bool DeleteVal(const wchar_t* valueName, MainKey mainKey, const wchar_t* keyPath);
    static bool DeleteKeyAndSubKeys(MainKey mainKey, const wchar_t* keyPath);

    // The names from the root of the file to a key, the main key first.
    static std::vector<XStr> ImportKeyPath(MainKey mainKey, const wchar_t* keyPath);
};

}  // namespace w64
