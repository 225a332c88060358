#include "host/layout/BroadcastText.h"

#include "host/terminal/FormatText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <utility>

namespace w64 {

namespace {

constexpr int kSecondsPerDay = 24 * 60 * 60;

std::string Digits(const std::array<uint8_t, 64>& umid) {
    constexpr size_t kBasicBytes = 32;  // the rest is its source pack, often empty
    const bool isExtended =
        std::any_of(umid.begin() + kBasicBytes, umid.end(), [](uint8_t byte) { return byte != 0; });
    std::string text;
    for (size_t i = 0; i < (isExtended ? umid.size() : kBasicBytes); ++i) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02X", umid[i]);
        text += digits;
    }
    return text;
}

std::string PlaceInDay(uint64_t frames, uint32_t framesPerSecond) {
    const double seconds = static_cast<double>(frames) / framesPerSecond;
    const std::string time =
        seconds < kSecondsPerDay ? FormatDuration(std::llround(seconds * 1000)) + ", " : "";
    return time + Counted(frames, "frame") + " after midnight";
}

// As the five fields of the extension, in hundredths.
std::string Loudness(const std::array<int16_t, 5>& values) {
    constexpr std::pair<const char*, const char*> kFields[] = {{"", "LUFS"},
                                                               {"range ", "LU"},
                                                               {"true peak ", "dBTP"},
                                                               {"max momentary ", "LUFS"},
                                                               {"max short-term ", "LUFS"}};
    std::vector<std::string> texts;
    for (size_t i = 0; i < values.size(); ++i) {
        if (values[i] == BroadcastExtension::kNoLoudness) continue;
        char number[16];
        std::snprintf(number, sizeof number, "%.2f ", values[i] / 100.0);
        texts.push_back(kFields[i].first + (number + std::string(kFields[i].second)));
    }
    return Joined(texts, ", ");
}

}  // namespace

std::vector<BroadcastField> DescribeBroadcast(const BroadcastExtension& extension, uint32_t framesPerSecond) {
    constexpr int kHasUMID = 1;  // versions
    constexpr int kHasLoudness = 2;
    std::vector<BroadcastField> fields;
    const auto add = [&fields](const char* key, const char* label, const std::string& text) {
        if (!text.empty()) fields.push_back({key, label, text});
    };
    add("description", "Description", extension.description);
    add("originator", "Originator", extension.originator);
    add("originatorReference", "Reference", extension.originatorReference);
    add("originationDate", "Date", extension.originationDate);
    add("originationTime", "Time", extension.originationTime);
    if (framesPerSecond != 0)
        add("timeReference", "Start", PlaceInDay(extension.timeReference, framesPerSecond));
    const auto isZero = [](auto value) { return value == 0; };
    if (extension.version >= kHasUMID && !std::ranges::all_of(extension.umid, isZero)) {
        add("umid", "UMID", Digits(extension.umid));
    }
    if (extension.version >= kHasLoudness && !std::ranges::all_of(extension.loudness, isZero)) {
        add("loudness", "Loudness", Loudness(extension.loudness));
    }
    add("codingHistory", "Coding history", extension.codingHistory);
    return fields;
}

}  // namespace w64
