#include "host/layout/DecoderNotes.h"

#include "host/files/InputFile.h"
#include "host/layout/ChunkWalk.h"
#include "host/layout/Wave64File.h"
#include "host/terminal/FormatText.h"

namespace w64 {

namespace {

// Empty for a file that is as long as its header says, or longer.
std::string DescribeShortness(const std::string& name) {
    InputFile file(name);
    const auto fileBytes = static_cast<uint64_t>(file.Size());
    const uint64_t outerSize = ReadOuterSize(file);
    if (outerSize == 0) return "in fact the recording was never finished: its header says 0 bytes";
    if (outerSize <= fileBytes) return "";
    if (outerSize > kLongestRecording) return "in fact the size in its header cannot be right";
    return "in fact the file is cut off: it is " + Counted(outerSize - fileBytes, "byte") +
           " shorter than its header says";
}

}  // namespace

void PassOnNotes(const DecoderInstance& decoder, const std::string& file, Console& console) {
    for (const std::string& note : decoder.Notes()) {
        console.Note(file, "note: " + note);
        const bool isGuess = note.find("must be extra data on end of file") != note.npos;
        const std::string truth = isGuess ? DescribeShortness(file) : "";
        if (!truth.empty()) console.Note(file, "note: " + truth);
    }
}

}  // namespace w64
