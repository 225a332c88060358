#include "settings/XRegistryTree.h"

#include "base/Base64.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace w64::XRegistryTree {

using XJSON::AnyType;
using XJSON::Object;
using XJSON::Type;

namespace {

constexpr int kNone = -1;

bool IsKey(const AnyType& member) { return member.TypeOf() == Type::Object; }

// Index of the first key (or value) of that name.
int Find(const Object& key, std::wstring_view name, bool subkey) {
    for (int i = 0; i < key.Count(); ++i)
        if (IsKey(key.ItemAt(i)) == subkey && EqualNoCase(key.NameAt(i), name)) return i;
    return kNone;
}

bool DeleteAll(Object& key, std::wstring_view name, bool subkeys) {
    const int count = key.Count();
    for (int i = count - 1; i >= 0; --i)
        if (IsKey(key.ItemAt(i)) == subkeys && EqualNoCase(key.NameAt(i), name)) key.DeleteAt(i);
    return key.Count() < count;
}

// `Key` is Object or const Object.
template <class Key>
Key* Walk(Key& root, std::span<const XStr> steps) {
    Key* key = &root;
    for (const XStr& step : steps) {
        const int i = Find(*key, step, true);
        if (i == kNone) return nullptr;
        key = &static_cast<Key&>(key->ItemAt(i));
    }
    return key;
}

// Each step is one level; `more` levels come below.
void BoundDepth(std::span<const XStr> steps, int more) {
    if (steps.size() + static_cast<size_t>(more) > XJSON::MaxDepth) throw XJSON::Error("depth <= MaxDepth");
}

Object& Subkey(Object& key, const XStr& name) {
    const int i = Find(key, name, true);
    return i == kNone ? key.AddObject(name) : static_cast<Object&>(key.ItemAt(i));
}

// Copies only the first member of each name, the one that lookups find.
void Merge(const Object& from, Object& to) {
    for (int i = 0; i < from.Count(); ++i) {
        const AnyType& member = from.ItemAt(i);
        const XStr& name = from.NameAt(i);
        if (Find(from, name, IsKey(member)) != i) continue;
        if (IsKey(member)) {
            Merge(static_cast<const Object&>(member), Subkey(to, name));
        } else {
            SetValue(to, name, member.Clone());
        }
    }
}

bool IsOf(const AnyType* value, Type type, bool* missing) {
    const bool is = value && value->TypeOf() == type;
    if (missing) *missing = !is;
    return is;
}

}  // namespace

const Object* FindKey(const Object& root, std::span<const XStr> steps) { return Walk(root, steps); }

Object& CreateKey(Object& root, std::span<const XStr> steps) {
    BoundDepth(steps, 2);  // the root, and a value that may be an array
    Object* key = &root;
    for (const XStr& step : steps) key = &Subkey(*key, step);
    return *key;
}

bool DeleteKey(Object& root, std::span<const XStr> steps) {
    Object* parent = Walk(root, steps.first(steps.size() - 1));
    return parent && DeleteAll(*parent, steps.back(), true);
}

bool CopyKey(Object& root, std::span<const XStr> from, std::span<const XStr> to) {
    const Object* source = FindKey(root, from);
    if (!source) return false;
    BoundDepth(to, source->Depth());
    const XJSON::AnyPtr copy = source->Clone();  // as one key may contain the other
    Merge(copy->AsObject(), CreateKey(root, to));
    return true;
}

const AnyType* FindValue(const Object& root, std::span<const XStr> steps, std::wstring_view name) {
    const Object* key = FindKey(root, steps);
    const int i = key ? Find(*key, name, false) : kNone;
    return i != kNone ? &key->ItemAt(i) : nullptr;
}

void SetValue(Object& key, const XStr& name, XJSON::AnyPtr value) {
    const int i = Find(key, name, false);
    if (i == kNone) return key.AddAny(name, std::move(value));
    key.ReplaceAt(i, std::move(value));
}

bool DeleteValue(Object& root, std::span<const XStr> steps, std::wstring_view name) {
    Object* key = Walk(root, steps);
    return key && DeleteAll(*key, name, false);
}

void ListNames(const Object& key, bool subkeys, XStrList& names) {
    names.Clear();
    for (int i = 0; i < key.Count(); ++i)
        if (IsKey(key.ItemAt(i)) == subkeys) names.Append(key.NameAt(i));
}

int64_t ToInteger(const AnyType* value, bool* missing) {
    return IsOf(value, Type::Number, missing) ? value->AsNumber().Value : 0;
}

XStr ToString(const AnyType* value, bool* missing) {
    return IsOf(value, Type::String, missing) ? value->AsString().Value : XStr();
}

XMem ToBinaryData(const AnyType* value, bool* missing) {
    if (!IsOf(value, Type::String, missing)) return {};
    std::optional<XMem> data = FromBase64(value->AsString().Value);
    if (missing) *missing = !data;
    return std::move(data).value_or(XMem());
}

XStrList ToStringList(const AnyType* value, bool* missing) {
    XStrList list;
    if (!IsOf(value, Type::Array, missing)) return list;
    const XJSON::Array& texts = value->AsArray();
    for (int i = 0; i < texts.Count(); ++i) list.Append(texts.ItemAt(i).AsString().Value);
    return list;
}

size_t CopyData(const XMem& data, void* buffer, size_t bytes) {
    if (const size_t copied = std::min(bytes, data.Size())) std::memcpy(buffer, data.Data(), copied);
    return data.Size();
}

}  // namespace w64::XRegistryTree
