#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace w64 {

// A place in the audio as people write it: a time ("90", "1.5s", "30m", "1h", "2:03.5", "1:02:03") or a frame
// ("12345f").
class TimePoint {
public:
    // Nothing when the text is neither of these.
    static std::optional<TimePoint> Parse(std::string_view text);

    // The nearest frame.
    int64_t Frame(uint32_t framesPerSecond) const;
    bool IsTime() const { return isTime_; }

private:
    bool isTime_ = false;
    int64_t whole_ = 0;  // frames or seconds
    int64_t nanoseconds_ = 0;
};

}  // namespace w64
