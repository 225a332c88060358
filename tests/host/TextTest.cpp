#include "host/SpeakerMap.h"
#include "host/TimePoint.h"

#include <gtest/gtest.h>
#include <sndfile.h>

TEST(TimePoint, FramesAndTimes) {
    const struct {
        const char* text;
        int64_t frame;  // at 44100 a second
    } cases[] = {{"0", 0},          {"12345", 12345},     {"9223372036854775807", INT64_MAX},
                 {"1.5s", 66150},   {"0.00001134s", 1},   {"1000000000s", 44100000000000},
                 {"0:00.5", 22050}, {"90:00", 238140000}, {"1:02:03.004", 164184476}};
    for (const auto& c : cases) {
        const auto point = TimePoint::Parse(c.text);
        EXPECT_EQ(point ? point->Frame(44100) : -1, c.frame) << c.text;
    }
    for (const char* text : {"", "s", "-1", "+1", "1.5", "1:60", "1:2:60", "1:2:3:4", "1:", ":1", "1.s",
                             "1.-5s", "0x10", "1e3", "1000000001s", "9223372036854775808", "0.1234567891x"})
        EXPECT_FALSE(TimePoint::Parse(text)) << text;
}

TEST(ChannelMask, ComesFromSpeakersInTheirOrderOnly) {
    const struct {
        std::vector<int> map;
        uint32_t mask;
    } cases[] = {
        {{SF_CHANNEL_MAP_FRONT_LEFT, SF_CHANNEL_MAP_FRONT_RIGHT, SF_CHANNEL_MAP_FRONT_CENTER}, 0x7},
        {{SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_TOP_REAR_RIGHT}, 0x20001},
        {{SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_CENTER, SF_CHANNEL_MAP_RIGHT}, 0},
        {{SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_LEFT}, 0},
        {{SF_CHANNEL_MAP_AMBISONIC_B_W, SF_CHANNEL_MAP_LEFT}, 0},
    };
    for (const auto& c : cases) EXPECT_EQ(ChannelMaskFromMap(c.map), c.mask);
}
