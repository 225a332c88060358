#include "settings/XJSON.h"

#include <gtest/gtest.h>

namespace w64 {

using namespace XJSON;

namespace {

XStr Printed(std::wstring_view text) {
    const AnyPtr value = Parse(text);
    return value ? value->ToText() : L"(nothing)";
}

template <class Action>
std::string ErrorOf(Action action) {
    try {
        static_cast<void>(action());
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

}  // namespace

TEST(JSON, ReadsAndPrints) {
    const std::pair<XStr, XStr> cases[] = {
        {L" \x01[1,2 ,3]\n", L"[1, 2, 3]"},
        {L"{ }", L"{\n}"},
        {L"[ ]", L"[]"},
        {L"{\"b\" : [ {\"\":null}, TRUE ] , \"a\":False}",
         L"{\n    \"b\":[\n        {\n            \"\":null\n        },\n        true\n    ],\n    "
         L"\"a\":false\n}"},
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
        {XStr(1, L'\0'), type},
        {L"\"a\\\"", string},
        {L"\"a\\", string},
        {L"{1:2}", "!\"Should not get here! Name is not a string!\""},
        {Repeated(L"{\"a\":", 100000), "depth <= MaxDepth"},
        {Repeated(L"[", MaxDepth + 1), "depth <= MaxDepth"},
    };
    for (const auto& wrong : cases)
        EXPECT_EQ(ErrorOf([&] { return Parse(wrong.first); }), wrong.second)
            << ToUTF8(wrong.first.substr(0, 20));
    for (const XStr text : {L"", L" \n", L"[[1,", L"{", L"{\"a\":"})
        EXPECT_EQ(Printed(text), L"(nothing)") << ToUTF8(text);
}

TEST(JSON, HoldsAsManyLevelsAsItReads) {
    const AnyPtr value = Parse(Repeated(L"[", MaxDepth) + Repeated(L"]", MaxDepth));
    EXPECT_EQ(value->Clone()->Depth(), MaxDepth);
    EXPECT_EQ(Printed(value->Clone()->ToText()), value->ToText());
    EXPECT_EQ(Parse(L"[{}" + Repeated(L",[]", MaxDepth) + L"]")->Depth(), 2);
}

TEST(JSON, PutsAnArrayOnOneLineUpToItsLimit) {
    EXPECT_EQ(Printed(L"[1" + Repeated(L",1", 38) + L"]").find(EOL), XStr::npos);
    EXPECT_EQ(Printed(L"[1" + Repeated(L",1", 39) + L"]").substr(0, 8), L"[\n    1,");
    const std::pair<int, XStr> nested[] = {
        {191, L"[[\"x"}, {192, L"[\n    [\"x"}, {193, L"[\n    [\"x"}, {194, L"[\n    [\n        \"x"}};
    for (const auto& [length, begin] : nested)
        EXPECT_EQ(Printed(L"[[\"" + Repeated(L"x", length) + L"\"]]").substr(0, begin.size()), begin);
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
    const auto broken = [](auto view) { return ErrorOf([&] { return &(Null::TheNull().*view)(); }); };
    const auto expectBroken = [&](auto& value, auto wrong, auto view, const char* error) {
        std::swap(value, wrong);
        EXPECT_EQ(broken(view), error);
        std::swap(value, wrong);
    };
    auto& object = const_cast<Object&>(EmptyObject);
    auto& array = const_cast<Array&>(EmptyArray);
    object.AddArray(L"x");
    EXPECT_EQ(broken(&AnyType::AsObject), "EmptyObject.Count() == 0");
    object.Empty();
    array.AddArray();
    EXPECT_EQ(broken(&AnyType::AsArray), "EmptyArray.Count() == 0");
    array.Empty();
    expectBroken(const_cast<String&>(EmptyString).Value, XStr(L"x"), &AnyType::AsString,
                 "EmptyString.Value.Length() == 0");
    expectBroken(const_cast<Number&>(EmptyNumber).Value, int64_t{1}, &AnyType::AsNumber,
                 "EmptyNumber.Value == 0");
    expectBroken(const_cast<Boolean&>(EmptyBoolean).Value, true, &AnyType::AsBoolean,
                 "EmptyBoolean.Value == false");
    EXPECT_EQ(broken(&AnyType::AsBoolean), "");
}

TEST(JSON, TakesTextsApart) {
    EXPECT_TRUE(IsNumber(L"-12"));
    for (const wchar_t* text : {L"", L"-", L"+1", L"1-"}) EXPECT_FALSE(IsNumber(text));
    EXPECT_EQ(UnEscapeUnQuote(EscapeEnquote(L"a\"\\/\n\x05\u20AC")), L"a\"\\/\n\x05\u20AC");
    EXPECT_EQ(Escape(L"\\/\""), L"\\\\/\\\"");
    EXPECT_EQ(UnEscape(L"x\\"), L"x");
    EXPECT_EQ(AddIndent(L"a\nb", L"--"), L"a\n--b");
    std::wstring_view digits = L"00fFA";
    EXPECT_EQ(GetHex(digits), 0xFFu);
    EXPECT_EQ(digits, L"A");
    EXPECT_FALSE(IsSpacing(0) || IsSpacing(33) || IsSpacing(0xA0));
}

}  // namespace w64
