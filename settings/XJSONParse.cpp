#include "settings/XJSON.h"

namespace w64::XJSON {

namespace {

constexpr const char* kShouldNotGetHere = "!\"Should not get here!\"";
constexpr size_t kMaxText = size_t{1} << 30;  // keeps positions within an int

// Recursive-descent parser. Each function returns null if the text ends too early.
class Parser {
public:
    Parser(std::wstring_view text, int& position) : text_(text), position_(position) {}

    AnyPtr Any();
    bool IsLossy() const { return lossy_; }

private:
    AnyPtr OneString();
    AnyPtr OneNumber();
    AnyPtr OneArray();
    AnyPtr OneObject();

    // The character at the position; NUL past the end.
    wchar_t Current() const {
        const auto index = static_cast<size_t>(position_) - 1;
        return index < text_.size() ? text_[index] : L'\0';
    }
    bool AtEnd() const { return static_cast<size_t>(position_) - 1 >= text_.size(); }

    // Skips spacing, then the character if it is next.
    bool Skip(wchar_t c) {
        SkipSpacing(text_, position_);
        const bool there = Current() == c;
        if (there) ++position_;
        return there;
    }

    std::wstring_view text_;
    int& position_;
    int depth_ = 0;
    bool lossy_ = false;
};

AnyPtr Parser::Any() {
    SkipSpacing(text_, position_);
    if (AtEnd()) return nullptr;
    const wchar_t c = Current();
    if (c == L'"') return OneString();
    if (IsDigit(c) || c == L'-' || c == L'+') return OneNumber();
    if (c == L'[' || c == L'{') {
        if (++depth_ > MaxDepth) throw Error("depth <= MaxDepth");
        ++position_;
        AnyPtr container = c == L'[' ? OneArray() : OneObject();
        --depth_;
        return container;
    }
    if (MatchKeyword(text_, position_, L"true")) return std::make_unique<Boolean>(true);
    if (MatchKeyword(text_, position_, L"false")) return std::make_unique<Boolean>(false);
    if (MatchKeyword(text_, position_, L"null")) return std::make_unique<Null>();
    throw Error("!\"Should not get here! Unrecognized data type\"");
}

AnyPtr Parser::OneString() {
    const int begin = ++position_;
    for (; !AtEnd(); ++position_) {
        const wchar_t c = Current();
        if (c == L'\\') ++position_;
        if (c != L'"') continue;
        const auto length = static_cast<size_t>(position_++ - begin);
        return std::make_unique<String>(
            UnEscape(text_.substr(static_cast<size_t>(begin) - 1, length), lossy_));
    }
    throw Error("!\"Should not get here! Premature end-of-string\"");
}

// Accumulates digits without the sign, so that the lowest 64-bit number can be read.
AnyPtr Parser::OneNumber() {
    const bool negative = Current() == L'-';
    if (!IsDigit(Current())) ++position_;
    const int begin = position_;
    uint64_t value = 0;
    bool fits = true;
    for (; IsDigit(Current()); ++position_) {
        const uint64_t next = value * 10 + static_cast<uint64_t>(Current() - L'0');
        fits = fits && next / 10 == value;
        value = next;
    }
    const uint64_t max = negative ? uint64_t{1} << 63 : INT64_MAX;
    if (position_ == begin || !fits || value > max) {
        lossy_ = true;
        return std::make_unique<Null>();
    }
    return std::make_unique<Number>(static_cast<int64_t>(negative ? 0 - value : value));
}

AnyPtr Parser::OneArray() {
    Ptr<Array> array;
    if (Skip(L']')) return array.Detach();
    do {
        AnyPtr item = Any();
        if (!item) return nullptr;
        array->AddAny(std::move(item));
        if (Skip(L']')) return array.Detach();
    } while (Skip(L','));
    throw Error(kShouldNotGetHere);
}

AnyPtr Parser::OneObject() {
    Ptr<Object> object;
    if (Skip(L'}')) return object.Detach();
    do {
        const AnyPtr name = Any();
        if (!name) return nullptr;
        if (name->TypeOf() != Type::String) throw Error("!\"Should not get here! Name is not a string!\"");
        if (!Skip(L':')) throw Error(kShouldNotGetHere);
        AnyPtr value = Any();
        if (!value) return nullptr;
        object->AddAny(std::move(static_cast<String&>(*name).Value), std::move(value));
        if (Skip(L'}')) return object.Detach();
    } while (Skip(L','));
    throw Error(kShouldNotGetHere);
}

}  // namespace

AnyPtr Parse(std::wstring_view text) {
    int position = 1;
    return Parse(text, position);
}

AnyPtr Parse(std::wstring_view text, int& position, bool* lossy) {
    if (text.size() >= kMaxText) throw Error("text.size() < kMaxText");
    Parser parser(text, position);
    AnyPtr value = parser.Any();
    if (lossy) *lossy = parser.IsLossy();
    return value;
}

}  // namespace w64::XJSON
