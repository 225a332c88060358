#pragma once

#include "base/XMem.h"
#include "base/XStrList.h"
#include "settings/XJSON.h"

#include <span>

namespace w64 {

// Keys and values within the tree of a settings file. A key is an object: its object members are its subkeys
// and its other members its values. Steps are the names on the way from the root to a key, the main key first.
// Names are found ignoring case, and of several alike the first.
// Errors: XJSON::Error where the tree would become deeper than the parser takes.
namespace XRegistryTree {

// Null where a step is missing.
const XJSON::Object* FindKey(const XJSON::Object& root, std::span<const XStr> steps);

// Makes the steps that are missing.
XJSON::Object& CreateKey(XJSON::Object& root, std::span<const XStr> steps);

// Whether there was a key to delete.
bool DeleteKey(XJSON::Object& root, std::span<const XStr> steps);

// Adds the subkeys and values of one key to another; values that are there already are replaced. Whether
// there was a key to copy.
bool CopyKey(XJSON::Object& root, std::span<const XStr> from, std::span<const XStr> to);

// Null where there is no such value.
const XJSON::AnyType* FindValue(const XJSON::Object& root, std::span<const XStr> steps,
                                std::wstring_view name);

// A subkey of the name stays beside the value.
void SetValue(XJSON::Object& key, const XStr& name, XJSON::AnyPtr value);

// Whether there was a value to delete.
bool DeleteValue(XJSON::Object& root, std::span<const XStr> steps, std::wstring_view name);

// The names of the subkeys or of the values.
void ListNames(const XJSON::Object& key, bool subkeys, XStrList& names);

// What a value holds, and whether it is missing or of another type, in which case it holds nothing.
int64_t ToInteger(const XJSON::AnyType* value, bool* missing);
XStr ToString(const XJSON::AnyType* value, bool* missing);
XMem ToBinaryData(const XJSON::AnyType* value, bool* missing);

// An item that is no text reads as an empty one.
XStrList ToStringList(const XJSON::AnyType* value, bool* missing);

// Copies what the buffer takes; the size of all of the data.
size_t CopyData(const XMem& data, void* buffer, size_t bytes);

}  // namespace XRegistryTree

}  // namespace w64
