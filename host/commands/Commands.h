#pragma once

#include "host/convert/Conversion.h"
#include "host/formats/AudioSink.h"
#include "host/formats/Wave64Writer.h"
#include "host/plot/PlotLayout.h"
#include "host/terminal/CommandContext.h"
#include "host/terminal/TimePoint.h"

#include <optional>
#include <string>
#include <vector>

namespace w64 {

struct DecodeOptions {
    std::vector<std::string> inputs;
    std::string output;  // a file, an existing folder, "-", or empty for a name next to each input
    std::optional<AudioFileType> type;
    std::optional<TimePoint> start;
    std::optional<TimePoint> end;
    ConversionOptions conversion;
    bool salvage = false;
    bool force = false;
    unsigned jobs = 1;
};

struct InfoOptions {
    std::vector<std::string> inputs;
    bool json = false;
};

struct ChunksOptions {
    std::vector<std::string> inputs;
    bool json = false;
};

struct LayoutOptions {
    std::vector<std::string> inputs;
};

struct RepairOptions {
    std::vector<std::string> inputs;
    std::string journal;  // of an edit of the only input; empty for the one next to each
};

struct MD5Options {
    std::vector<std::string> inputs;
    bool json = false;
};

struct CompareOptions {
    std::string first;
    std::string second;
};

struct EncodeOptions {
    std::string input;
    std::string output;
    ConversionOptions conversion;
    bool salvage = false;
    unsigned padding = kDefaultPadding;
    bool force = false;
};

struct SampleOptions {
    std::string output;
    unsigned rate = 48000;
    unsigned channels = 2;
    std::optional<unsigned> bits;  // default: 24, or 32 for floats
    bool isFloat = false;
    double seconds = 5;
    unsigned padding = kDefaultPadding;
    bool force = false;
};

struct PlotOptions {
    std::string input;
    std::string output;  // empty for a name next to the input
    PictureSize size;
    double floor = -120;  // of the spectrogram, in dBFS
    bool force = false;
};

struct TagsOptions {
    std::vector<std::string> inputs;
    bool chunks = false;  // show the other chunks too
    bool json = false;
};

struct TagEditOptions {
    std::string file;
    std::vector<std::string> tags;  // Name=Value to set, names to remove
    bool all = false;
    bool inPlace = false;
    bool move = false;   // the tags go before the audio
    bool force = false;  // even when tags that cannot be rewritten are lost
};

struct OptionsOptions {
    std::string assignment;  // empty, a name, or name=value
    bool unset = false;      // the one of that name
    bool all = false;        // with unset, every one
};

// The commands of `w64`. Each reports errors with a file on the console and returns whether all files are done.
// Errors: UsageError, before anything is done.
[[nodiscard]] bool DecodeCommand(const DecodeOptions& options, CommandContext context);
[[nodiscard]] bool InfoCommand(const InfoOptions& options, CommandContext context);
[[nodiscard]] bool ChunksCommand(const ChunksOptions& options, CommandContext context);
[[nodiscard]] bool CheckCommand(const LayoutOptions& options,
                                CommandContext context);  // false for faults too
[[nodiscard]] bool RepairCommand(const RepairOptions& options, CommandContext context);
[[nodiscard]] bool MD5Command(const MD5Options& options, CommandContext context);
[[nodiscard]] bool CompareCommand(const CompareOptions& options,
                                  CommandContext context);  // false for differences too
[[nodiscard]] bool EncodeCommand(const EncodeOptions& options, CommandContext context);
[[nodiscard]] bool SampleCommand(const SampleOptions& options, CommandContext context);
[[nodiscard]] bool PlotCommand(const PlotOptions& options, CommandContext context);
[[nodiscard]] bool TagsCommand(const TagsOptions& options, CommandContext context);
[[nodiscard]] bool SetTagsCommand(const TagEditOptions& options, CommandContext context);
[[nodiscard]] bool RemoveTagsCommand(const TagEditOptions& options, CommandContext context);
[[nodiscard]] bool OptionsCommand(const OptionsOptions& options, CommandContext context);

}  // namespace w64
