#include "host/FormatText.h"
#include "host/SpeakerMap.h"
#include "host/TimePoint.h"

#include <gtest/gtest.h>
#include <sndfile.h>

TEST(TimePoint, FramesAndTimes) {
    constexpr int64_t none = -1;
    const struct {
        const char* text;
        int64_t frame;  // at 44100 a second
    } cases[] = {
        {"0", 0},
        {"12345", 12345},
        {"0s", 0},
        {"1.5s", 66150},
        {"1:30", 3969000},
        {"0:00.5", 22050},
        {"90:00", 238140000},
        {"1:00:00", 158760000},
        {"1:02:03.004", 164184476},
        {"0.00001134s", 1},
        {"1000000000s", 44100000000000},
        {"9223372036854775807", INT64_MAX},
        {"", none},
        {"s", none},
        {"-1", none},
        {"+1", none},
        {"1.5", none},
        {"1:60", none},
        {"1:2:60", none},
        {"1:2:3:4", none},
        {"1:", none},
        {":1", none},
        {"1.s", none},
        {"1.-5s", none},
        {"0x10", none},
        {"1e3", none},
        {"1000000001s", none},
        {"9223372036854775808", none},
        {"0.1234567891x", none},
    };
    for (const auto& c : cases) {
        const auto point = TimePoint::Parse(c.text);
        EXPECT_EQ(point ? point->Frame(44100) : none, c.frame) << c.text;
    }
}

TEST(ChannelMask, ComesFromSpeakersInTheirOrderOnly) {
    const struct {
        std::vector<int> map;
        uint32_t mask;
    } cases[] = {
        {{SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_RIGHT}, 0x3},
        {{SF_CHANNEL_MAP_FRONT_LEFT, SF_CHANNEL_MAP_FRONT_RIGHT, SF_CHANNEL_MAP_FRONT_CENTER}, 0x7},
        {{SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_TOP_REAR_RIGHT}, 0x20001},
        {{SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_CENTER, SF_CHANNEL_MAP_RIGHT}, 0},
        {{SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_LEFT}, 0},
        {{SF_CHANNEL_MAP_AMBISONIC_B_W, SF_CHANNEL_MAP_LEFT}, 0},
        {{SF_CHANNEL_MAP_MONO}, 0},
    };
    for (const auto& c : cases) EXPECT_EQ(ChannelMaskFromMap(c.map), c.mask);
}

TEST(FormatText, NumbersAndNames) {
    EXPECT_EQ(FormatDuration(3723456), "1:02:03.456");
    EXPECT_EQ(FormatMinutes(61.2), "1:02");
    EXPECT_EQ(FormatMinutes(3600), "1:00:00");
    EXPECT_EQ(Grouped(1234567), "1,234,567");
    EXPECT_EQ(Grouped(999), "999");
    EXPECT_EQ(ChunkName(MakeGUID(0x7473696C, 0x912F, 0x11CF, 0xA5D628DB04C10000)), "list");
    EXPECT_EQ(ChunkName(MakeGUID(0x925F94BC, 0x525A, 0x11D2, 0x86DC00C04F8EDB8A)), "summary list");
    EXPECT_EQ(ChunkName(MakeGUID(0x12345678, 0x9ABC, 0xDEF0, 0x0123456789ABCDEF)),
              "12345678-9ABC-DEF0-0123-456789ABCDEF");
}
