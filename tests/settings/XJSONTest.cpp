#include "settings/XJSON.h"

#include <algorithm>
#include <gtest/gtest.h>

using namespace XJSON;

namespace {

XStr Printed(std::wstring_view text) {
    const AnyPtr value = Parse(text);
    return value ? value->ToText() : L"(nothing)";
}

std::string ErrorOf(std::wstring_view text) {
    try {
        static_cast<void>(Parse(text));
        return "";
    } catch (const Error& error) {
        return error.what();
    }
}

XStr Repeated(std::wstring_view text, int times) {
    XStr all;
    for (int i = 0; i < times; ++i) all += text;
    return all;
}

// The text as it is defined, one level at a time.
XStr Rendered(const Array& array) {
    std::vector<XStr> items;
    size_t length = 0;
    for (int i = 0; i < array.Count(); ++i) {
        const AnyType& item = array.ItemAt(i);
        items.push_back(item.TypeOf() == Type::Array ? Rendered(item.AsArray()) : item.ToText());
        length += items.back().size() + 4;
    }
    const bool oneLine = length < 200 && std::ranges::none_of(items, [](const XStr& item) {
                             return item.find(EOL) != item.npos;
                         });
    XStr text;
    for (const XStr& item : items) {
        if (!text.empty()) text += oneLine ? L", " : L",";
        text += oneLine ? item : EOL + XStr(theIndent) + AddIndent(item, theIndent);
    }
    return oneLine ? L"[" + text + L"]" : L"[" + text + EOL + L"]";
}

}  // namespace

TEST(JSON, ReadsAndPrints) {
    const std::pair<XStr, XStr> cases[] = {
        {L" \x01[1,2 ,3]\n", L"[1, 2, 3]"},
        {L"{\"a\":1}", L"{\n    \"a\":1\n}"},
        {L"{ }", L"{\n}"},
        {L"[ ]", L"[]"},
        {L"{\"b\" : [ {\"\":null}, TRUE ] , \"a\":False}",
         L"{\n    \"b\":[\n        {\n            \"\":null\n        },\n        true\n    ],\n    "
         L"\"a\":false\n}"},
        {L"[{}]", L"[\n    {\n    }\n]"},
        {L"[ 1 ] and more", L"[1]"},
        {L"\"\\u00e9\\q\"", L"\"\u00E9\""},
        {L"\"\\U41g\\/\\u0001\t\"", L"\"Ag/\\u0001\\t\""},
        {L"\"\\\"\\\\\\b\\f\\n\\r\\t\x1F\x7F\"", L"\"\\\"\\\\\\b\\f\\n\\r\\t\\u001F\x7F\""},
        {L"[-9223372036854775808, 9223372036854775807, +07]",
         L"[-9223372036854775808, 9223372036854775807, 7]"},
        {L"[-9223372036854775809, 9223372036854775808, 99999999999999999999, -, +]",
         L"[null, null, null, null, null]"},
    };
    for (const auto& [text, printed] : cases) {
        EXPECT_EQ(Printed(text), printed);
        EXPECT_EQ(Printed(printed), printed);
    }
}

TEST(JSON, TellsWhatIsWrongByTheAssertion) {
    const std::string anything = "!\"Should not get here!\"";
    const std::string type = "!\"Should not get here! Unrecognized data type\"";
    const std::string string = "!\"Should not get here! Premature end-of-string\"";
    const std::pair<XStr, std::string> cases[] = {
        {L"[1.5]", anything},
        {L"[1", anything},
        {L"{\"a\" 1}", anything},
        {L"{\"a\":1;", anything},
        {L"[1,]", type},
        {L"nul", type},
        {XStr(1, L'\0'), type},
        {L"\"a", string},
        {L"\"a\\\"", string},
        {L"\"a\\", string},
        {L"{1:2}", "!\"Should not get here! Name is not a string!\""},
        {Repeated(L"[", 100000), "depth <= MaxDepth"},
        {Repeated(L"{\"a\":", 100000), "depth <= MaxDepth"},
        {Repeated(L"[", MaxDepth + 1), "depth <= MaxDepth"},
    };
    for (const auto& [text, error] : cases) EXPECT_EQ(ErrorOf(text), error) << ToUTF8(text.substr(0, 20));
    for (const XStr text : {L"", L" \n", L"[", L"[1,", L"{", L"{\"a\":", L"{\"a\":1,", L"[[1,"})
        EXPECT_EQ(Printed(text), L"(nothing)") << ToUTF8(text);
}

TEST(JSON, HoldsAsManyLevelsAsItReads) {
    const AnyPtr value = Parse(Repeated(L"[", MaxDepth) + Repeated(L"]", MaxDepth));
    EXPECT_EQ(value->Clone()->Depth(), MaxDepth);
    EXPECT_EQ(value->Clone()->ToText(), Rendered(value->AsArray()));
    EXPECT_EQ(Parse(L"[{}" + Repeated(L",[]", MaxDepth) + L"]")->Depth(), 2);
}

TEST(JSON, PutsAnArrayOnOneLineUpToItsLimit) {
    EXPECT_EQ(Printed(L"[1" + Repeated(L",1", 38) + L"]").find(EOL), XStr::npos);
    EXPECT_EQ(Printed(L"[1" + Repeated(L",1", 39) + L"]").substr(0, 8), L"[\n    1,");
    EXPECT_EQ(Printed(L"[\"" + Repeated(L"x", 193) + L"\"]").find(EOL), XStr::npos);
    EXPECT_EQ(Printed(L"[\"" + Repeated(L"x", 194) + L"\"]").substr(0, 2), L"[\n");
    for (int count = 0; count < 50; ++count) {
        Array root;
        Array& inner = root.AddArray().AddArray();
        for (int i = 0; i < count; ++i) inner.AddAny(std::make_unique<Number>(i));
        root.AddArray();
        EXPECT_EQ(root.ToText(), Rendered(root)) << count;
    }
}

TEST(JSON, ReadsOneValueAfterTheOther) {
    const XStr text = L"12 [\"x\"]null";
    int position = 1;
    EXPECT_EQ(Parse(text, position)->AsNumber().Value, 12);
    EXPECT_EQ(position, 3);
    EXPECT_EQ(Parse(text, position)->AsArray().ItemAt(0).AsString().Value, L"x");
    EXPECT_EQ(Parse(text, position)->TypeOf(), Type::Null);
    EXPECT_EQ(Parse(text, position), nullptr);
    for (int outside : {0, -5, 1000}) EXPECT_EQ(Parse(text, outside), nullptr);
}

TEST(JSON, MembersKeepTheirOrderAndMayRepeat) {
    const AnyPtr value = Parse(L"{\"a\":1,\"A\":2,\"b\":3,\"a\":4}");
    auto& object = static_cast<Object&>(*value);
    EXPECT_EQ(object.ByName(L"A").AsNumber().Value, 2);
    EXPECT_EQ(object.ByNameI(L"B").AsNumber().Value, 3);
    EXPECT_FALSE(object.HaveChildI(L"c"));
    EXPECT_EQ(&object.ByName(L"c"), &Null::TheNull());
    EXPECT_EQ(&object.ByName(L"c").AsObject(), &EmptyObject);
    object.SetAnyI(L"B", std::make_unique<Boolean>(true));
    object.SetAny(L"B", std::make_unique<Null>());
    object.SetAny(L"a", std::make_unique<String>(L"x"));
    object.AddArray(L"c").AddObject();
    const AnyPtr copy = value->Clone();
    object.Delete(L"a");
    EXPECT_EQ(object.NameAt(0), L"A");
    object.DeleteI(L"a");
    EXPECT_EQ(object.Count(), 3);
    EXPECT_EQ(copy->ToText(), Printed(L"{\"a\":\"x\",\"A\":2,\"b\":true,\"a\":4,\"B\":null,\"c\":[{}]}"));
}

TEST(JSON, ChecksTheSharedFallbacks) {
    const auto broken = [](auto view) -> std::string {
        try {
            static_cast<void>((Null::TheNull().*view)());
            return "";
        } catch (const Error& error) {
            return error.what();
        }
    };
    const auto withChange = [&](auto& fallback, auto change, auto undo, auto view) {
        auto& shared = const_cast<std::remove_cvref_t<decltype(fallback)>&>(fallback);
        change(shared);
        std::string text = broken(view);
        undo(shared);
        EXPECT_EQ(broken(view), "");
        return text;
    };
    const auto clear = [](auto& shared) { shared.Empty(); };
    const auto set = [](auto value) { return [=](auto& shared) { shared.Value = value; }; };
    EXPECT_EQ(withChange(
                  EmptyObject, [](auto& shared) { shared.AddArray(L"x"); }, clear, &AnyType::AsObject),
              "EmptyObject.Count() == 0");
    EXPECT_EQ(withChange(
                  EmptyArray, [](auto& shared) { shared.AddArray(); }, clear, &AnyType::AsArray),
              "EmptyArray.Count() == 0");
    EXPECT_EQ(withChange(EmptyString, set(L"x"), set(L""), &AnyType::AsString),
              "EmptyString.Value.Length() == 0");
    EXPECT_EQ(withChange(EmptyNumber, set(1), set(0), &AnyType::AsNumber), "EmptyNumber.Value == 0");
    EXPECT_EQ(withChange(EmptyBoolean, set(true), set(false), &AnyType::AsBoolean),
              "EmptyBoolean.Value == false");
}

TEST(JSON, TakesTextsApart) {
    EXPECT_TRUE(IsNumber(L"-12") && IsNumber(L"0"));
    for (const wchar_t* text : {L"", L"-", L"+1", L"1-", L"1.5"}) EXPECT_FALSE(IsNumber(text));
    EXPECT_EQ(UnEscapeUnQuote(EscapeEnquote(L"a\"\\/\n\x05\u20AC")), L"a\"\\/\n\x05\u20AC");
    EXPECT_EQ(Escape(L"\\/\""), L"\\\\/\\\"");
    EXPECT_EQ(UnEscape(L"x\\"), L"x");
    std::wstring_view digits = L"00fFA";
    EXPECT_EQ(GetHex(digits), 0xFFu);
    EXPECT_EQ(digits, L"A");
    EXPECT_FALSE(IsSpacing(0) || IsSpacing(33) || IsSpacing(0xA0));
}
