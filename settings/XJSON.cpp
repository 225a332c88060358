#include "settings/XJSON.h"

#include <algorithm>
#include <charconv>

namespace w64::XJSON {

namespace {

constexpr size_t kLineLimit = 200;

Object theEmptyObject;
Array theEmptyArray;
String theEmptyString;
Number theEmptyNumber;
Boolean theEmptyBoolean;

void Assert(bool holds, const char* text) {
    if (!holds) throw Error(text);
}

template <class T>
const T& View(const AnyType& value, Type type, const T& fallback) {
    return value.TypeOf() == type ? static_cast<const T&>(value) : fallback;
}

void NewLine(XStr& out, int level) {
    out += EOL;
    for (int i = 0; i < level; ++i) out += theIndent;
}

template <class Members>
auto FindI(Members& members, std::wstring_view name) {
    return std::ranges::find_if(members, [&](const auto& member) { return EqualNoCase(member.name, name); });
}

}  // namespace

constinit const Object& EmptyObject = theEmptyObject;
constinit const Array& EmptyArray = theEmptyArray;
constinit const String& EmptyString = theEmptyString;
constinit const Number& EmptyNumber = theEmptyNumber;
constinit const Boolean& EmptyBoolean = theEmptyBoolean;

XStr AnyType::ToText() const {
    XStr text;
    AppendText(text, 0);
    return text;
}

bool AnyType::AppendLine(XStr& out) const {
    AppendText(out, 0);
    return true;
}

const Object& AnyType::AsObject() const {
    Assert(EmptyObject.Count() == 0, "EmptyObject.Count() == 0");
    return View(*this, Type::Object, EmptyObject);
}

const Array& AnyType::AsArray() const {
    Assert(EmptyArray.Count() == 0, "EmptyArray.Count() == 0");
    return View(*this, Type::Array, EmptyArray);
}

const String& AnyType::AsString() const {
    Assert(EmptyString.Value.empty(), "EmptyString.Value.Length() == 0");
    return View(*this, Type::String, EmptyString);
}

const Number& AnyType::AsNumber() const {
    Assert(EmptyNumber.Value == 0, "EmptyNumber.Value == 0");
    return View(*this, Type::Number, EmptyNumber);
}

const Boolean& AnyType::AsBoolean() const {
    Assert(!EmptyBoolean.Value, "EmptyBoolean.Value == false");
    return View(*this, Type::Boolean, EmptyBoolean);
}

AnyPtr Object::Clone() const {
    Ptr<Object> copy;
    for (const Member& member : members_) copy->AddAny(member.name, member.value->Clone());
    return copy.Detach();
}

int Object::Depth() const {
    int depth = 0;
    for (const Member& member : members_) depth = std::max(depth, member.value->Depth());
    return depth + 1;
}

const AnyType& Object::ByName(std::wstring_view name) const {
    const auto found = std::ranges::find(members_, name, &Member::name);
    if (found == members_.end()) return Null::TheNull();
    return *found->value;
}

const AnyType& Object::ByNameI(std::wstring_view name) const {
    const auto found = FindI(members_, name);
    if (found == members_.end()) return Null::TheNull();
    return *found->value;
}

bool Object::HaveChildI(std::wstring_view name) const { return FindI(members_, name) != members_.end(); }

void Object::AddAny(XStr name, AnyPtr value) { members_.push_back({std::move(name), std::move(value)}); }

void Object::SetAny(XStr name, AnyPtr value) {
    const auto found = std::ranges::find(members_, name, &Member::name);
    if (found == members_.end()) return AddAny(std::move(name), std::move(value));
    found->value = std::move(value);
}

void Object::SetAnyI(XStr name, AnyPtr value) {
    const auto found = FindI(members_, name);
    if (found == members_.end()) return AddAny(std::move(name), std::move(value));
    found->value = std::move(value);
}

void Object::ReplaceAt(int i, AnyPtr value) { members_[static_cast<size_t>(i)].value = std::move(value); }

Object& Object::AddObject(XStr name) {
    AddAny(std::move(name), std::make_unique<Object>());
    return static_cast<Object&>(*members_.back().value);
}

Array& Object::AddArray(XStr name) {
    AddAny(std::move(name), std::make_unique<Array>());
    return static_cast<Array&>(*members_.back().value);
}

void Object::Delete(std::wstring_view name) {
    std::erase_if(members_, [&](const Member& member) { return member.name == name; });
}

void Object::DeleteI(std::wstring_view name) {
    std::erase_if(members_, [&](const Member& member) { return EqualNoCase(member.name, name); });
}

void Object::DeleteAt(int i) { members_.erase(members_.begin() + i); }

void Object::AppendText(XStr& out, int level) const {
    out += L'{';
    for (const Member& member : members_) {
        if (&member != &members_.front()) out += L',';
        NewLine(out, level + 1);
        AppendEnquoted(out, member.name);
        out += L':';
        member.value->AppendText(out, level + 1);
    }
    NewLine(out, level);
    out += L'}';
}

AnyPtr Array::Clone() const {
    Ptr<Array> copy;
    for (const AnyPtr& item : items_) copy->AddAny(item->Clone());
    return copy.Detach();
}

int Array::Depth() const {
    int depth = 0;
    for (const AnyPtr& item : items_) depth = std::max(depth, item->Depth());
    return depth + 1;
}

void Array::AddAny(AnyPtr value) { items_.push_back(std::move(value)); }

Object& Array::AddObject() { return static_cast<Object&>(*items_.emplace_back(std::make_unique<Object>())); }

Array& Array::AddArray() { return static_cast<Array&>(*items_.emplace_back(std::make_unique<Array>())); }

void Array::AppendText(XStr& out, int level) const {
    const size_t begin = out.size();
    if (AppendLine(out)) return;
    out.resize(begin);
    out += L'[';
    for (const AnyPtr& item : items_) {
        if (&item != &items_.front()) out += L',';
        NewLine(out, level + 1);
        item->AppendText(out, level + 1);
    }
    NewLine(out, level);
    out += L']';
}

// Stops at the limit, so that nested arrays do not take quadratic time.
bool Array::AppendLine(XStr& out) const {
    size_t length = 0;
    out += L'[';
    for (const AnyPtr& item : items_) {
        if (&item != &items_.front()) out += L", ";
        const size_t begin = out.size();
        if (!item->AppendLine(out)) return false;
        length += out.size() - begin + 4;
        if (length >= kLineLimit) return false;
    }
    out += L']';
    return true;
}

void String::AppendText(XStr& out, int) const { AppendEnquoted(out, Value); }

bool String::AppendLine(XStr& out) const {
    if (Value.size() >= kLineLimit) return false;
    AppendEnquoted(out, Value);
    return true;
}

void Number::AppendText(XStr& out, int) const {
    char digits[20];
    const auto end = std::to_chars(std::begin(digits), std::end(digits), Value).ptr;
    out.append(std::begin(digits), end);
}

void Boolean::AppendText(XStr& out, int) const { out += Value ? L"true" : L"false"; }

const Null& Null::TheNull() {
    static const Null null;
    return null;
}

void Null::AppendText(XStr& out, int) const { out += L"null"; }

}  // namespace w64::XJSON
