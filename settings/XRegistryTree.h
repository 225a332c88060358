#pragma once

#include "base/XMem.h"
#include "base/XStrList.h"
#include "settings/XJSON.h"

#include <span>

namespace w64 {

// Keys and values in the tree of a settings file. A key is an object: its object members are its subkeys, its
// other members its values. Steps are the names from the root to a key, the main key first. Lookups ignore case
// and find the first of equal names.
// Errors: XJSON::Error if the tree would become deeper than the parser accepts.
namespace XRegistryTree {

// Null if a step is missing.
const XJSON::Object* FindKey(const XJSON::Object& root, std::span<const XStr> steps);

// Creates missing steps.
XJSON::Object& CreateKey(XJSON::Object& root, std::span<const XStr> steps);

// True if there was a key to delete.
bool DeleteKey(XJSON::Object& root, std::span<const XStr> steps);

// Adds the subkeys and values of one key to another, replacing existing values. True if there was a key to
// copy.
bool CopyKey(XJSON::Object& root, std::span<const XStr> from, std::span<const XStr> to);

// Null if there is no such value.
const XJSON::AnyType* FindValue(const XJSON::Object& root, std::span<const XStr> steps,
                                std::wstring_view name);

// Leaves a subkey of the same name alone.
void SetValue(XJSON::Object& key, const XStr& name, XJSON::AnyPtr value);

// True if there was a value to delete.
bool DeleteValue(XJSON::Object& root, std::span<const XStr> steps, std::wstring_view name);

// The names of the subkeys or of the values.
void ListNames(const XJSON::Object& key, bool subkeys, XStrList& names);

// The contents of a value: 0 or empty, with `missing` set, if it is missing or of another type.
int64_t ToInteger(const XJSON::AnyType* value, bool* missing);
XStr ToString(const XJSON::AnyType* value, bool* missing);
XMem ToBinaryData(const XJSON::AnyType* value, bool* missing);

// Items that are not strings read as empty.
XStrList ToStringList(const XJSON::AnyType* value, bool* missing);

// Copies what fits into the buffer and returns the full size of the data.
size_t CopyData(const XMem& data, void* buffer, size_t bytes);

}  // namespace XRegistryTree

}  // namespace w64
