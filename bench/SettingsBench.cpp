// Reading and printing a settings file of ten million bytes, against nlohmann-json.

#include "base/XStr.h"
#include "settings/XJSON.h"

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>
#include <string>

namespace w64 {

namespace {

constexpr int64_t kBytes = 10'000'000;

// Keys of some applications, each with the kinds of values that settings hold.
const std::string& SettingsText() {
    static const std::string text = [] {
        XJSON::Object root;
        XJSON::Object& software = root.AddObject(L"HKCU").AddObject(L"Software");
        for (int64_t bytes = 0, i = 0; bytes < kBytes; bytes += 1000, ++i) {
            XJSON::Object& key = software.AddObject(L"Application " + Int2Str(i));
            for (const wchar_t* group : {L"Window", L"Tagging"}) {
                XJSON::Object& values = key.AddObject(group);
                for (const wchar_t* name : {L"Left", L"Top", L"PaddingSize", L"LastUsed"})
                    values.AddAny(name, std::make_unique<XJSON::Number>(i * 7919 % 100003));
                values.AddAny(L"Folder",
                              std::make_unique<XJSON::String>(L"C:\\Users\\\u00C9mile\\\"Music\""));
                values.AddAny(L"Title",
                              std::make_unique<XJSON::String>(L"Take " + Int2Str(i) + L", second half"));
                values.AddAny(L"Enabled", std::make_unique<XJSON::Boolean>(i % 2 == 0));
                XJSON::Array& recent = values.AddArray(L"Recent");
                for (int64_t file = 0; file < i % 9; ++file)
                    recent.AddAny(std::make_unique<XJSON::String>(L"/music/take " + Int2Str(file) + L".w64"));
            }
        }
        return ToUTF8(root.ToText());
    }();
    return text;
}

void ParseAndPrintSettings(benchmark::State& state) {
    const std::string& text = SettingsText();
    for ([[maybe_unused]] auto _ : state)
        if (ToUTF8(XJSON::Parse(FromUTF8(text))->ToText()) != text) state.SkipWithError("the text changed");
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}
BENCHMARK(ParseAndPrintSettings)->Unit(benchmark::kMillisecond);

void ParseAndPrintNlohmann(benchmark::State& state) {
    const std::string& text = SettingsText();
    for ([[maybe_unused]] auto _ : state)
        if (nlohmann::json::parse(text).dump(4).empty()) state.SkipWithError("no text");
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}
BENCHMARK(ParseAndPrintNlohmann)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace w64
