#include "host/commands/ReadFrames.h"

#include "host/terminal/FormatText.h"
#include "host/terminal/Interrupt.h"

namespace w64 {

void ReadFrames(FrameReader& reader, const std::string& name, Progress::Share& share, Console& console,
                const std::function<void(std::span<const double>)>& take) {
    const XAudioWFX& format = reader.Format();
    for (auto frames = reader.Read(); !frames.empty(); frames = reader.Read()) {
        Interrupt::Check();
        take(frames);
        const auto count = static_cast<int64_t>(frames.size()) / format.Channels();
        share.Advance(count, static_cast<double>(count) / format.SamplesPerSec());
    }
    if (reader.NonFinite() == 0) return;
    const char* are = reader.NonFinite() == 1 ? " is infinite or NaN" : " are infinite or NaN";
    console.Note(name, "note: " + Counted(reader.NonFinite(), "sample") + are);
}

}  // namespace w64
