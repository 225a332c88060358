#include "host/commandline/Arguments.h"
#include "host/commandline/CommandLine.h"
#include "host/commandline/Folders.h"
#include "host/commandline/Mistakes.h"
#include "host/commandline/ReportOnFiles.h"
#include "host/commands/Commands.h"
#include "host/decoder/DecoderInstance.h"
#include "host/decoder/OwnSettings.h"
#include "host/files/JournalledEdit.h"
#include "host/layout/ChunkKind.h"
#include "host/layout/DecoderNotes.h"
#include "host/layout/Wave64File.h"
#include "host/tagging/TagTexts.h"
#include "host/terminal/Failure.h"
#include "host/terminal/FormatText.h"

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <nlohmann/json.hpp>

namespace w64 {

namespace {

struct TagsOptions {
    std::vector<std::string> inputs;
    bool chunks = false;  // show the other chunks too
    bool json = false;
};

// A raw chunk in the tags: its four-character code, then its data. The format and the audio come without data, to
// mark their places.
struct RawChunk {
    explicit RawChunk(const STInternalTag& tag)
        : code(reinterpret_cast<const char*>(tag.Data.Data()), std::min<size_t>(tag.Data.Size(), 4)),
          bytes(tag.Data.Size() - code.size()) {}

    bool IsPlace() const { return code == "fmt " || code == "data"; }

    std::string code;
    size_t bytes;
};

void Describe(const NTag& tags, bool withChunks, Json& json) {
    json["tags"] = Json::array();
    if (withChunks) json["chunks"] = Json::array();
    for (int i = 0; i < tags.Count(); ++i) {
        const STInternalTag& tag = tags[i];
        if (!IsRawChunk(tag)) {
            json["tags"].push_back({{"name", ToPrintable(tag.Name)}, {"value", ToPrintable(tag.Value)}});
        } else if (withChunks) {
            const RawChunk chunk(tag);
            Json& entry = json["chunks"].emplace_back(
                Json{{"name", ToPrintable(tag.Name)}, {"code", ToUTF8(Widen(chunk.code))}});
            if (!chunk.IsPlace()) entry["bytes"] = chunk.bytes;
        }
    }
}

void PrintChunks(const NTag& tags) {
    std::cout << "  Chunks\n";
    for (int i = 0; i < tags.Count(); ++i) {
        if (!IsRawChunk(tags[i])) continue;
        const RawChunk chunk(tags[i]);
        std::cout << "    " << ContentOf(chunk.code)
                  << (chunk.IsPlace() ? "" : ", " + Counted(chunk.bytes, "byte")) << "\n";
    }
}

void Print(const std::string& name, const NTag& tags, bool withChunks) {
    constexpr int kNameColumns = 20;
    std::cout << Visible(name) << "\n" << std::left;
    bool anyText = false;
    for (int i = 0; i < tags.Count(); ++i) {
        if (IsRawChunk(tags[i])) continue;
        anyText = true;
        std::cout << "  " << std::setw(kNameColumns) << Visible(ToPrintable(tags[i].Name)) << " "
                  << VisibleLines(ToPrintable(tags[i].Value), kNameColumns + 3) << "\n";
    }
    if (!anyText) std::cout << "  no tags\n";
    if (withChunks) PrintChunks(tags);
}

bool TagsCommand(const TagsOptions& options, CommandContext context) {
    const PluginLibrary library = PluginLibrary::OfWave64(context.plugin);
    const OwnSettings settings;
    return ReportOnFiles(options.inputs, options.json, context.console, [&](size_t i, Json* json) {
        const std::string& name = options.inputs[i];
        NoteInterruptedEdit(name, context.console);
        DecoderInstance decoder(library, context.traceDescriptor);
        decoder.Open(name, kvOpenTags);
        if (json) {
            Describe(decoder.Tags(), options.chunks, *json);
        } else {
            Print(name, decoder.Tags(), options.chunks);
        }
        PassOnNotes(decoder, name, context.console);
        const auto errors = decoder.Errors();
        if (!errors.empty()) throw Failure(WithDamage(JoinLines(errors), name));
        if (const std::string cut = Wave64File(name).DescribeCut(); !cut.empty()) throw Failure(cut);
    });
}

}  // namespace

void AddTags(CLI::App& app, CommandLine& line) {
    CLI::App* command = app.add_subcommand("tags", "Show tags, set and remove them");
    auto& options = line.Keep<TagsOptions>();
    command->require_subcommand(0, 1);
    command->add_option("FILE", options.inputs, "Wave64 files")->type_name("");
    AddFolders(command, line, options.inputs, FilesInFolders::Wave64);
    command->add_flag("--chunks", options.chunks, "Show the other chunks too");
    AddJSON(command, options.json);
    command->final_callback([command, &line, &options] {
        if (!command->get_subcommands().empty()) return;
        if (options.inputs.empty()) throw CLI::RequiredError("FILE");
        line.Choose(TagsCommand, options);
        if (const std::string mistyped = MistypedCommand(*command); !mistyped.empty()) {
            line.work = [mistyped](CommandContext) -> bool { throw UsageError(mistyped); };
        }
    });
    AddTagExport(command, line);
    AddTagEdits(command, line);
}

}  // namespace w64
