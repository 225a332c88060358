#include "host/commandline/Arguments.h"
#include "host/commandline/CommandLine.h"
#include "host/commandline/Folders.h"
#include "host/commands/Commands.h"
#include "host/commands/ReadFrames.h"
#include "host/commands/ReportPage.h"
#include "host/decoder/DecoderInstance.h"
#include "host/decoder/OwnSettings.h"
#include "host/files/InputFile.h"
#include "host/files/JournalledEdit.h"
#include "host/files/OutputFile.h"
#include "host/plot/Thumbnail.h"
#include "host/tagging/TagTexts.h"
#include "host/terminal/Failure.h"
#include "host/terminal/ForEachFile.h"
#include "host/terminal/FormatText.h"
#include "host/terminal/Interrupt.h"
#include "host/terminal/Progress.h"
#include "wave64/container/ChunkCodes.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <sstream>

namespace w64 {

namespace {

namespace fs = std::filesystem;

constexpr const char* kAboutReport =
    "A page to look at, with a row per file: its waveform and spectrogram, whether its\n"
    "layout is sound, format, length, loudness, true peak, tags, and in words what is\n"
    "wrong. It is one file, needs nothing else, and a click on a column sorts it.\n"
    "If a file has something wrong or cannot be read, the exit code is 1.\n\n"
    "  w64 report archive/*.w64 -o report.html\n\n";

struct ReportOptions {
    std::vector<std::string> inputs;
    std::string output;
    bool force = false;
    unsigned jobs = 1;
};

bool IsWave64(const std::string& name, InputFile& file) {
    std::string ending = fs::path(name).extension();
    std::ranges::transform(ending, ending.begin(), [](unsigned char c) { return std::tolower(c); });
    GUID identifier;
    const size_t got = file.Read(identifier.bytes.data(), identifier.bytes.size());
    return ending == ".w64" ||
           (got == identifier.bytes.size() && CompareGUID(identifier, RIFFChnkID("RIFF")));
}

// One file, looked at from all sides.
class ReportedFile {
public:
    ReportedFile(const ReportOptions& options, CommandContext context, const PluginLibrary& library,
                 Progress& progress, ReportRow& row)
        : options_(options), context_(context), library_(library), progress_(progress), row_(row) {}

    // Errors: Failure for a file that cannot be read or is not whole; the row has what there is.
    void Look() {
        {
            InputFile file(row_.name);
            row_.isChecked = IsWave64(row_.name, file);
            if (row_.isChecked) CheckLayout(file);
        }
        const std::string complaint = Measure();
        if (row_.isChecked) ReadTags();
        if (!complaint.empty()) throw Failure(complaint);
    }

private:
    void CheckLayout(InputFile& file) {
        if (HasInterruptedEdit(row_.name)) {
            row_.findings.push_back({true, kInterruptedEdit});
        }
        const LayoutCheck check(file);
        row_.findings.insert(row_.findings.end(), check.Findings().begin(), check.Findings().end());
    }

    // Why the audio is not whole; else empty.
    std::string Measure() {
        FrameReader reader(row_.name, fs::path(options_.output).parent_path(), context_);
        const XAudioWFX& format = reader.Format();
        row_.format = DescribeFormat(format);
        if (format.Channels() > kMaxChannels) return "has too many channels to be measured";
        Progress::Share share(progress_, reader.ExpectedFrames());
        AudioMeter meter(format);
        Thumbnail thumbnail(format.Channels(), reader.ExpectedFrames());
        ReadFrames(reader, row_.name, share, context_.console, [&](std::span<const double> frames) {
            meter.Add(frames);
            thumbnail.Add(frames);
        });
        row_.measures = meter.Measures();
        const double seconds = static_cast<double>(row_.measures.frames) / format.SamplesPerSec();
        row_.milliseconds = std::llround(seconds * 1000);
        row_.picture = thumbnail.Draw();
        const std::string complaint = reader.Complaint();
        return complaint.empty() && row_.measures.frames == 0 ? "holds no audio" : complaint;
    }

    void ReadTags() {
        DecoderInstance decoder(library_, context_.traceDescriptor);
        decoder.Open(row_.name, kvOpenTags);
        const NTag& tags = decoder.Tags();
        for (int i = 0; i < tags.Count(); ++i) {
            if (IsRawChunk(tags[i])) continue;
            row_.tags.emplace_back(ToPrintable(tags[i].Name), ToPrintable(tags[i].Value));
        }
    }

    static constexpr int kMaxChannels = 1024;  // bounds the memory

    const ReportOptions& options_;
    CommandContext context_;
    const PluginLibrary& library_;
    Progress& progress_;
    ReportRow& row_;
};

std::vector<std::string> LinesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    in.exceptions(std::ios::badbit);  // when memory runs out
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

// False if any file has something wrong.
bool FillRows(const ReportOptions& options, CommandContext context, std::vector<ReportRow>& rows) {
    const PluginLibrary library = PluginLibrary::OfWave64(context.plugin);
    const OwnSettings settings;  // so that lists of every form are read
    Progress progress(context.console, options.inputs[0], static_cast<int>(options.inputs.size()));
    const bool allRead = ForEachFile(options.inputs, options.jobs, context.console, [&](size_t i) {
        rows[i].name = options.inputs[i];
        try {
            ReportedFile(options, context, library, progress, rows[i]).Look();
        } catch (const std::exception& failure) {
            rows[i].errors = LinesOf(ReasonOf(failure));
            throw;
        }
    });
    return allRead && std::ranges::none_of(rows, &ReportRow::HasFaults);
}

bool ReportCommand(const ReportOptions& options, CommandContext context) {
    const fs::path target = options.output;
    if (target.extension() != ".html") throw UsageError("'" + options.output + "' should end in .html");
    for (const std::string& input : options.inputs) RefuseToReplaceInput(input, target);
    OutputFile output(target, options.force);
    std::vector<ReportRow> rows(options.inputs.size());
    const bool allSound = FillRows(options, context, rows);
    if (Interrupt::Signal() != 0) return false;
    const std::string page = ReportPage(rows);
    if (!output.File().Write(page.data(), page.size())) throw SystemFailure("cannot write");
    output.Commit();
    return allSound;
}

}  // namespace

void AddReport(CLI::App& app, CommandLine& line) {
    auto& options = line.Keep<ReportOptions>();
    CLI::App* command = app.add_subcommand("report", "Make a page of pictures, measures and faults of files");
    line.OnCommand(command, ReportCommand, options);
    AddAudioFiles(command, options.inputs);
    AddFolders(command, line, options.inputs, FilesInFolders::Audio);
    command->add_option("-o,--output", options.output, "The .html file to write")
        ->required()
        ->type_name("OUT");
    AddForce(command, options.force);
    AddJobs(command, options.jobs);
    SetFooter(command, kAboutReport);
}

}  // namespace w64
