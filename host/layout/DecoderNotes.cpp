#include "host/layout/DecoderNotes.h"

#include "host/files/InputFile.h"
#include "host/layout/ChunkWalk.h"
#include "host/layout/LayoutCheck.h"
#include "host/layout/Salvage.h"
#include "host/layout/Wave64File.h"
#include "host/terminal/Failure.h"
#include "host/terminal/FormatText.h"

namespace w64 {

namespace {

// Empty for a file that is at least as long as its header says, or is not Wave64.
std::string DescribeShortness(const std::string& name) try {
    InputFile file(name);
    const auto fileBytes = static_cast<uint64_t>(file.Size());
    if (fileBytes == 0) return "the file is empty";
    const uint64_t outerSize = ReadOuterSize(file);
    if (outerSize == 0) return "the recording was never finished: its header says 0 bytes";
    if (outerSize <= fileBytes) return "";
    if (outerSize > kMaxRecordingBytes) return "the size in its header cannot be right";
    return "the file is cut off: it is " + Counted(outerSize - fileBytes, "byte") +
           " shorter than its header says";
} catch (const Failure&) {
    return "";
}

bool CallsForSalvage(const std::string& name) {
    InputFile file(name);
    return LayoutCheck(file).CallsForSalvage();
}

}  // namespace

std::string DescribeDamage(const std::string& file) {
    Wave64File chunks(file);
    const auto milliseconds = MillisecondsOfAudio(file);
    const bool isPlausible = chunks.MissingBytes() <= static_cast<int64_t>(kMaxRecordingBytes);
    std::string cut = milliseconds && isPlausible ? chunks.DescribeCut() : "";
    if (!cut.empty()) return cut;
    std::string text = DescribeShortness(file);
    if (text.empty() && CallsForSalvage(file)) text = "the sizes in the file are wrong, see w64 check";
    if (text.empty() || !milliseconds) return text;
    return text + "; " + FormatDuration(*milliseconds) + " of audio is there";
}

std::string WithDamage(const std::string& errors, const std::string& file) {
    const std::string damage = DescribeDamage(file);
    return damage.empty() ? errors : errors + "\n" + damage;
}

void PassOnNotes(const DecoderInstance& decoder, const std::string& file, Console& console) {
    const std::vector<std::string> notes = decoder.Notes();
    for (const std::string& note : notes) console.Note(file, "note: " + note);
    const std::string shortness = notes.empty() ? "" : DescribeShortness(file);
    if (!shortness.empty()) console.Note(file, "note: in fact " + shortness);
}

}  // namespace w64
