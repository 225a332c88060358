#include "host/commandline/CommandLine.h"
#include "host/commandline/ReportOnFiles.h"
#include "host/commands/Commands.h"
#include "host/decoder/DecoderInstance.h"
#include "host/decoder/OwnSettings.h"
#include "host/layout/DecoderNotes.h"
#include "host/layout/Wave64File.h"
#include "host/tagging/TagLines.h"
#include "host/tagging/TagTexts.h"
#include "host/terminal/Failure.h"
#include "host/terminal/ForEachFile.h"
#include "host/terminal/FormatText.h"

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

namespace w64 {

namespace {

struct TagExportOptions {
    std::string input;
    bool json = false;
};

// The first of equal names, as readers take it.
std::vector<TagText> TextsOf(const NTag& tags) {
    std::vector<TagText> texts;
    for (int i = 0; i < tags.Count(); ++i) {
        const STInternalTag& tag = tags[i];
        if (!IsRawChunk(tag) && tags.FindElement(tag.Name.c_str()) == &tag) {
            texts.emplace_back(ToPrintable(tag.Name), ToPrintable(tag.Value));
        }
    }
    return texts;
}

void Print(const std::vector<TagText>& tags, bool asJSON) {
    if (asJSON) {
        Json object = Json::object();
        for (const auto& [name, value] : tags) object[name] = value;
        std::cout << object.dump(2) << "\n";
    } else {
        for (const TagText& tag : tags) std::cout << ToLine(tag);
    }
}

bool TagExportCommand(const TagExportOptions& options, CommandContext context) {
    const PluginLibrary library = PluginLibrary::OfWave64(context.plugin);
    const OwnSettings settings;
    const std::vector<std::string> inputs = {options.input};
    return ForEachFile(inputs, 1, context.console, [&](size_t) {
        DecoderInstance decoder(library, context.traceDescriptor);
        decoder.Open(options.input, kvOpenTags);
        Print(TextsOf(decoder.Tags()), options.json);
        const auto errors = decoder.Errors();
        if (!errors.empty()) throw Failure(WithDamage(JoinLines(errors), options.input));
        if (const std::string cut = Wave64File(options.input).DescribeCut(); !cut.empty()) throw Failure(cut);
    });
}

}  // namespace

void AddTagExport(CLI::App* tags, CommandLine& line) {
    auto& options = line.Keep<TagExportOptions>();
    CLI::App* command = tags->add_subcommand("export", "Print tags for w64 tags import");
    line.OnCommand(command, TagExportCommand, options);
    command->add_option("FILE", options.input, "A Wave64 file")->required()->type_name("");
    command->add_flag("--json", options.json, "Write a JSON object");
}

}  // namespace w64
