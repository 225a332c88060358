#pragma once

#include "base/XStr.h"

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

namespace w64 {

// A small JSON document model: a tree of typed values, a parser and a writer of indented text. Numbers are
// 64-bit integers only; member names keep their order and may repeat. The text helpers at the end and some
// members have no caller here: they are for plug-ins that keep JSON documents of their own.
// Owner:  containers own their children. References to children live until the container is changed.
// Index:  members and items are counted from 0, unchecked; positions in a text are counted from 1.
namespace XJSON {

// An assertion that failed; what() is its text. Thrown by the parser and the typed views only.
class Error : public std::runtime_error {
public:
    using runtime_error::runtime_error;
};

inline constexpr wchar_t EOL = L'\n';
inline constexpr std::wstring_view theIndent = L"    ";

// Nesting depth of containers, the outermost included. The parser refuses deeper trees, as cloning, printing and
// destroying recurse; code that builds trees must respect it too.
inline constexpr int MaxDepth = 256;

enum class Type { Object, Array, String, Number, Boolean, Null };

class AnyType;
class Object;
class Array;
class String;
class Number;
class Boolean;

using AnyPtr = std::unique_ptr<AnyType>;

class AnyType {
public:
    virtual Type TypeOf() const = 0;
    virtual XStr ToText() const;
    virtual AnyPtr Clone() const = 0;
    virtual ~AnyType() = default;

    AnyType(const AnyType&) = delete;
    AnyType& operator=(const AnyType&) = delete;

    // Nesting depth of the value; 0 if it is not a container.
    virtual int Depth() const { return 0; }

    // The value itself if it has that type, else the shared empty one. Throws Error if that one has been changed.
    const Object& AsObject() const;
    const Array& AsArray() const;
    const String& AsString() const;
    const Number& AsNumber() const;
    const Boolean& AsBoolean() const;

protected:
    AnyType() = default;

private:
    friend class Object;
    friend class Array;

    // Appends the text, `level` indents deep.
    virtual void AppendText(XStr& out, int level) const = 0;

    // Appends the text if it fits in a one-line array. If not, the caller removes what was appended.
    virtual bool AppendLine(XStr& out) const;
};

// Owns a new container while it is being built.
template <class Container>
class Ptr {
public:
    Container* operator->() { return container_.get(); }
    std::unique_ptr<Container> Detach() { return std::move(container_); }

private:
    std::unique_ptr<Container> container_ = std::make_unique<Container>();
};

class Object : public AnyType {
public:
    Type TypeOf() const override { return Type::Object; }
    AnyPtr Clone() const override;
    int Depth() const override;

    int Count() const { return static_cast<int>(members_.size()); }
    const XStr& NameAt(int i) const { return members_[static_cast<size_t>(i)].name; }
    AnyType& ItemAt(int i) { return *members_[static_cast<size_t>(i)].value; }
    const AnyType& ItemAt(int i) const { return *members_[static_cast<size_t>(i)].value; }

    // The first member of that name, or the shared Null. "I": ignoring the case of A to Z.
    const AnyType& ByName(std::wstring_view name) const;
    const AnyType& ByNameI(std::wstring_view name) const;
    bool HaveChildI(std::wstring_view name) const;

    // Values are never null. Set replaces the value of the first member of that name, keeping the member's
    // spelling, or appends a member.
    void AddAny(XStr name, AnyPtr value);
    void SetAny(XStr name, AnyPtr value);
    void SetAnyI(XStr name, AnyPtr value);
    void ReplaceAt(int i, AnyPtr value);
    Object& AddObject(XStr name);
    Array& AddArray(XStr name);

    // Delete every member of that name.
    void Delete(std::wstring_view name);
    void DeleteI(std::wstring_view name);
    void DeleteAt(int i);

    // Removes all members.
    void Empty() { members_.clear(); }

private:
    struct Member {
        XStr name;
        AnyPtr value;
    };

    void AppendText(XStr& out, int level) const override;
    bool AppendLine(XStr&) const override { return false; }

    std::vector<Member> members_;
};

class Array : public AnyType {
public:
    Type TypeOf() const override { return Type::Array; }
    AnyPtr Clone() const override;
    int Depth() const override;

    int Count() const { return static_cast<int>(items_.size()); }
    AnyType& ItemAt(int i) { return *items_[static_cast<size_t>(i)]; }
    const AnyType& ItemAt(int i) const { return *items_[static_cast<size_t>(i)]; }

    void AddAny(AnyPtr value);
    Object& AddObject();
    Array& AddArray();

    // Removes all items.
    void Empty() { items_.clear(); }

private:
    void AppendText(XStr& out, int level) const override;
    bool AppendLine(XStr& out) const override;

    std::vector<AnyPtr> items_;
};

class String : public AnyType {
public:
    explicit String(XStr value = {}) : Value(std::move(value)) {}
    Type TypeOf() const override { return Type::String; }
    AnyPtr Clone() const override { return std::make_unique<String>(Value); }

    XStr Value;

private:
    void AppendText(XStr& out, int level) const override;
    bool AppendLine(XStr& out) const override;
};

class Number : public AnyType {
public:
    explicit Number(int64_t value = 0) : Value(value) {}
    Type TypeOf() const override { return Type::Number; }
    AnyPtr Clone() const override { return std::make_unique<Number>(Value); }

    int64_t Value;

private:
    void AppendText(XStr& out, int level) const override;
};

class Boolean : public AnyType {
public:
    explicit Boolean(bool value = false) : Value(value) {}
    Type TypeOf() const override { return Type::Boolean; }
    AnyPtr Clone() const override { return std::make_unique<Boolean>(Value); }

    bool Value;

private:
    void AppendText(XStr& out, int level) const override;
};

class Null : public AnyType {
public:
    static const Null& TheNull();

    Type TypeOf() const override { return Type::Null; }
    AnyPtr Clone() const override { return std::make_unique<Null>(); }

private:
    void AppendText(XStr& out, int level) const override;
};

// Shared by all threads of the program: never modify them.
extern const Object& EmptyObject;
extern const Array& EmptyArray;
extern const String& EmptyString;
extern const Number& EmptyNumber;
extern const Boolean& EmptyBoolean;

// Parses the first value of a text of less than 2^30 characters and ignores what follows; the position is left
// after the value. Returns null if the text ends before a value is recognised, throws Error if it is malformed.
// A number of more than 64 bits becomes a Null. `lossy`, if given, is set when the value does not represent all
// of its text: such a number, or an unknown escape.
AnyPtr Parse(std::wstring_view text);
AnyPtr Parse(std::wstring_view text, int& position, bool* lossy = nullptr);

bool IsSpacing(wchar_t c);
bool IsDigit(wchar_t c);
bool IsReservedChar(wchar_t c);

// Digits only, with an optional leading "-".
bool IsNumber(std::wstring_view text);

XStr Escape(std::wstring_view text);
XStr EscapeEnquote(std::wstring_view text);
void AppendEnquoted(XStr& out, std::wstring_view text);

// Unknown escapes are dropped; \u gives one character, even if it is half a surrogate pair.
XStr UnEscape(std::wstring_view text);
XStr UnEscape(std::wstring_view text, bool& lossy);  // set if an escape is dropped or cut short

// The same for a text in double quotes.
XStr UnEscapeUnQuote(std::wstring_view text);

// Reads up to four hexadecimal digits and removes them from the front of the text.
uint32_t GetHex(std::wstring_view& text);

// Inserts the indent after every line feed.
XStr AddIndent(std::wstring_view text, std::wstring_view indent);

void SkipSpacing(std::wstring_view text, int& position);

// Moves the position past the keyword, ignoring case; false if it is not there.
bool MatchKeyword(std::wstring_view text, int& position, std::wstring_view keyword);

}  // namespace XJSON

}  // namespace w64
