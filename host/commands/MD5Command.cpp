#include "host/commandline/Arguments.h"
#include "host/commandline/CommandLine.h"
#include "host/commandline/Folders.h"
#include "host/commandline/ReportOnFiles.h"
#include "host/commandline/StreamInput.h"
#include "host/commands/Commands.h"
#include "host/formats/AudioMD5.h"
#include "host/formats/AudioReader.h"
#include "host/terminal/Failure.h"
#include "host/terminal/FormatText.h"
#include "host/terminal/Interrupt.h"
#include "host/terminal/Progress.h"

#include <filesystem>
#include <iostream>
#include <nlohmann/json.hpp>

namespace w64 {

namespace {

constexpr const char* kAboutMD5 =
    "The MD5 is the one that FLAC files keep: metaflac --show-md5sum prints the same for\n"
    "the same audio. Floats and 32-bit integers count as they are stored. A file that is\n"
    "not whole has none.\n\n";

struct MD5Options {
    std::vector<std::string> inputs;
    bool json = false;
};

// Of the whole audio; a part of it has no digest.
AudioMD5 Digested(AudioReader& reader, Progress& progress) {
    const XAudioWFX& format = reader.Format();
    AudioMD5 md5(format);
    Progress::Share share(progress, reader.ExpectedFrames());
    for (auto bytes = reader.Read(); !bytes.empty(); bytes = reader.Read()) {
        Interrupt::Check();
        md5.Add(bytes);
        const auto frames = static_cast<int64_t>(bytes.size()) / format.BlockAlign();
        share.Advance(frames, static_cast<double>(frames) / format.SamplesPerSec());
    }
    const std::string complaint = reader.Complaint();
    if (!complaint.empty()) throw Failure(complaint);
    return md5;
}

bool MD5Command(const MD5Options& options, CommandContext context) {
    const std::vector<std::string>& names = options.inputs;
    Progress progress(context.console, names[0], static_cast<int>(names.size()));
    return ReportOnFiles(names, options.json, context.console, [&](size_t i, Json* json) {
        AudioReader reader(names[i], {}, context);
        AudioMD5 md5 = Digested(reader, progress);
        const std::string form = md5.IsOfFLAC() ? "as FLAC" : "as stored";
        const std::string samples = DescribeFormat(reader.Format());
        const std::string digest = md5.Digest();
        if (json) {
            json->update({{"md5", digest}, {"form", form}, {"format", samples}});
        } else {
            std::cout << digest << "  " << Visible(context.console.NameOf(names[i]))
                      << (md5.IsOfFLAC() ? "" : "  (" + form + ": " + samples + ")") << "\n";
        }
    });
}

}  // namespace

void AddMD5(CLI::App& app, CommandLine& line) {
    auto& options = line.Keep<MD5Options>();
    CLI::App* command = app.add_subcommand("md5", "Print the MD5 of the audio of any files");
    line.OnCommand(command, MD5Command, options);
    AddAudioFiles(command, options.inputs);
    AddFolders(command, line, options.inputs, FilesInFolders::Audio);
    AddStandardInput(command, line, "FILE", options.inputs);
    AddJSON(command, options.json);
    SetFooter(command, std::string(kAboutMD5) + kAboutStandardInput);
}

}  // namespace w64
