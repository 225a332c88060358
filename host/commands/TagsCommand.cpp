#include "host/commandline/Arguments.h"
#include "host/commandline/CommandLine.h"
#include "host/commandline/Mistakes.h"
#include "host/commandline/NearestName.h"
#include "host/commandline/ReportOnFiles.h"
#include "host/commands/Commands.h"
#include "host/decoder/DecoderInstance.h"
#include "host/decoder/OwnSettings.h"
#include "host/files/InputFile.h"
#include "host/files/JournalledEdit.h"
#include "host/layout/ChunkKind.h"
#include "host/layout/DecoderNotes.h"
#include "host/layout/Wave64File.h"
#include "host/tagging/TagEditor.h"
#include "host/tagging/TagTexts.h"
#include "host/terminal/Failure.h"
#include "host/terminal/ForEachFile.h"
#include "host/terminal/FormatText.h"
#include "tags/clRIFFSUMMARYLISTChunk.h"

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <nlohmann/json.hpp>

namespace w64 {

namespace {

constexpr const char* kAboutTags =
    "If the tags fit where they are, only their bytes change, in an instant and under a\n"
    "journal, which survives a power failure. Else the audio has to move: a copy of the\n"
    "file is edited and compared, and replaces it. Tags go before the audio if there is\n"
    "room, or the file is small, and else after it; LIST Chunk Position (w64 options)\n"
    "decides otherwise.\n\n"
    "--in-place needs neither a copy nor a folder that can be written to. If the audio\n"
    "has to move, it cannot be stopped then, and a power failure meanwhile leaves part of\n"
    "the audio twice or not at all.\n\n";

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

bool IsRawChunk(const STInternalTag& tag) { return BeginsWithNoCase(tag.Name, L"_riff_"); }

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

// Indents the second and later lines of a value.
std::string Indented(const std::string& value, size_t columns) {
    std::string text;
    std::istringstream lines(value);
    for (std::string line; std::getline(lines, line);) {
        text += (text.empty() ? "" : "\n" + std::string(columns, ' ')) + Visible(line);
    }
    return text;
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
                  << Indented(ToPrintable(tags[i].Value), kNameColumns + 3) << "\n";
    }
    if (!anyText) std::cout << "  no tags\n";
    if (withChunks) PrintChunks(tags);
}

// "Title=Song": everything after the first "=" is the value.
void AddAssignment(NTag& tags, const std::string& assignment) {
    const size_t sign = assignment.find('=');
    if (sign == 0 || sign == assignment.npos) throw UsageError("'" + assignment + "' is not Name=Value");
    const XStr name = ToTagText(assignment.substr(0, sign));
    const XStr value = ToTagText(assignment.substr(sign + 1));
    if (!clRIFFSUMMARYLISTChunk::HasIdentifier(name)) {
        std::vector<std::string> names;
        for (const wchar_t* known : clRIFFSUMMARYLISTChunk::Names()) names.push_back(ToUTF8(known));
        throw UsageError("a Wave64 file cannot store '" + ToUTF8(name) + "'; " +
                         Suggestion(ToUTF8(name), names, "w64 tags set --help lists the names that it can"));
    }
    if (tags.FindElement(name.c_str())) throw UsageError("'" + ToUTF8(name) + "' is set twice");
    tags.AddTag(name.c_str(), value.c_str());
}

bool Edit(const TagEditOptions& options, const TagChange& change, CommandContext context) {
    const PluginLibrary library = PluginLibrary::OfWave64(context.plugin);
    OwnSettings settings(OwnSettings::Purpose::Editing);
    TagEditor editor(library, settings, context);
    return ForEachFile({&options.file, 1}, 1, context.console, [&](size_t) {
        RequireReadable(options.file);
        editor.Edit(options.file, change, options.inPlace);
    });
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

bool SetTagsCommand(const TagEditOptions& options, CommandContext context) {
    TagChange change;
    change.dropUnwritable = options.force;
    change.moveList = options.move;
    for (const std::string& assignment : options.tags) AddAssignment(change.set, assignment);
    return Edit(options, change, context);
}

bool RemoveTagsCommand(const TagEditOptions& options, CommandContext context) {
    if (options.all == !options.tags.empty()) throw UsageError("give either names of tags or --all");
    TagChange change;
    change.dropUnwritable = options.force;
    change.removeAll = options.all;
    for (const std::string& name : options.tags) change.remove.push_back(ToTagText(name));
    return Edit(options, change, context);
}

void AddTagEdit(CLI::App* command, TagEditOptions& options, const char* tags, const char* help) {
    command->add_option("FILE", options.file, "A Wave64 file")->required()->type_name("");
    command->add_option(tags, options.tags, help)->type_name("");
    command->add_flag("--in-place", options.inPlace,
                      "Make no copy, even if the audio has to move; less safe");
    command->add_flag("-f,--force", options.force, "Edit even if tags that cannot be rewritten are lost");
}

void AddSet(CLI::App* tags, CommandLine& line) {
    CLI::App* command = tags->add_subcommand("set", "Set tags; an empty value removes the tag");
    auto& options = line.Keep<TagEditOptions>();
    AddTagEdit(command, options, "NAME=VALUE", "Tags to set");
    command->add_flag("--move", options.move, "Move tags that are after the audio to the place before it");
    command->final_callback([&line, &options] {
        if (options.tags.empty() && !options.move) throw CLI::RequiredError("NAME=VALUE");
        line.Choose(SetTagsCommand, options);
    });
    SetFooter(command, "Names:\n" + TagNamesInColumns() + "\n" + kAboutTags);
}

void AddRemove(CLI::App* tags, CommandLine& line) {
    CLI::App* command = tags->add_subcommand("remove", "Remove tags");
    auto& options = line.Keep<TagEditOptions>();
    AddTagEdit(command, options, "NAME", "Tags to remove");
    line.OnCommand(command, RemoveTagsCommand, options);
    command->add_flag("--all", options.all, "Remove every tag");
}

}  // namespace

void AddTags(CLI::App& app, CommandLine& line) {
    CLI::App* command = app.add_subcommand("tags", "Show tags, set and remove them");
    auto& options = line.Keep<TagsOptions>();
    command->require_subcommand(0, 1);
    command->add_option("FILE", options.inputs, "Wave64 files")->type_name("");
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
    SetFooter(command, kAboutTags);
    AddSet(command, line);
    AddRemove(command, line);
}

}  // namespace w64
