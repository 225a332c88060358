#include "host/layout/DecoderNotes.h"

#include "host/files/InputFile.h"
#include "host/layout/ChunkWalk.h"
#include "host/layout/Wave64File.h"
#include "host/terminal/Failure.h"
#include "host/terminal/FormatText.h"

namespace w64 {

namespace {

// Empty for a file that is at least as long as its header says, or is not Wave64.
std::string DescribeShortness(const std::string& name) try {
    InputFile file(name);
    const auto fileBytes = static_cast<uint64_t>(file.Size());
    const uint64_t outerSize = ReadOuterSize(file);
    if (outerSize == 0) return "in fact the recording was never finished: its header says 0 bytes";
    if (outerSize <= fileBytes) return "";
    if (outerSize > kMaxRecordingBytes) return "in fact the size in its header cannot be right";
    return "in fact the file is cut off: it is " + Counted(outerSize - fileBytes, "byte") +
           " shorter than its header says";
} catch (const Failure&) {
    return "";
}

}  // namespace

void PassOnNotes(const DecoderInstance& decoder, const std::string& file, Console& console) {
    const std::vector<std::string> notes = decoder.Notes();
    for (const std::string& note : notes) console.Note(file, "note: " + note);
    const std::string shortness = notes.empty() ? "" : DescribeShortness(file);
    if (!shortness.empty()) console.Note(file, "note: " + shortness);
}

}  // namespace w64
