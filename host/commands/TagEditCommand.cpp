#include "host/commandline/Arguments.h"
#include "host/commandline/CommandLine.h"
#include "host/commandline/NearestName.h"
#include "host/commands/Commands.h"
#include "host/decoder/OwnSettings.h"
#include "host/files/InputFile.h"
#include "host/tagging/TagEditor.h"
#include "host/tagging/TagLines.h"
#include "host/tagging/TagNames.h"
#include "host/tagging/TagTexts.h"
#include "host/terminal/Failure.h"
#include "host/terminal/ForEachFile.h"

#include <filesystem>
#include <functional>
#include <iostream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <span>

namespace w64 {

namespace fs = std::filesystem;

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

constexpr const char* kAboutArguments =
    "The first argument is a file. Another one is a tag if it has a \"=\" and no file of that\n"
    "name exists. After -- come tags only.\n\n";
constexpr const char* kAboutNames =
    "The first argument is a file. Another one is the name of a tag, unless a file of that\n"
    "name exists, or it has a \"/\" or ends in .w64. After -- come names only.\n\n";
constexpr const char* kAboutImport =
    "The tags are lines NAME=VALUE or a JSON object, as w64 tags export writes them. They\n"
    "are set in all files; tags of other names stay.\n\n";

struct TagEditOptions {
    std::vector<std::string> arguments;  // files, then tags to set or names to remove
    std::vector<std::string> afterMark;  // tags, whatever they look like
    bool all = false;
    unsigned textBits = 0;  // of the characters that the list is rewritten with
    bool inPlace = false;
    bool move = false;   // the tags go before the audio
    bool force = false;  // even when tags that cannot be rewritten are lost
};

struct FilesAndTags {
    std::vector<std::string> files;
    std::vector<std::string> tags;
};

bool Exists(const std::string& name) {
    std::error_code error;
    return fs::exists(fs::symlink_status(name, error));
}

FilesAndTags Sort(const TagEditOptions& options,
                  const std::function<bool(const std::string&)>& looksLikeTag) {
    FilesAndTags sorted{{options.arguments[0]}, {}};
    for (const std::string& argument : std::span(options.arguments).subspan(1)) {
        const bool isTag = looksLikeTag(argument) && !Exists(argument);
        (isTag ? sorted.tags : sorted.files).push_back(argument);
    }
    sorted.tags.insert(sorted.tags.end(), options.afterMark.begin(), options.afterMark.end());
    return sorted;
}

// "Title" alone is a mistake; "song.w64" may be missing.
void RefuseOddFiles(const std::vector<std::string>& files) {
    for (const std::string& name : files) {
        const bool looksLikeFile = name.find_first_of("./") != name.npos;
        if (!looksLikeFile && !Exists(name))
            throw UsageError("'" + name + "' is neither a file nor Name=Value");
    }
}

void AddTag(NTag& tags, const TagText& tag) {
    const XStr name = StoredName(ToTagText(tag.first));
    if (name.empty()) {
        throw UsageError(
            "a Wave64 file cannot store '" + tag.first + "'; " +
            Suggestion(tag.first, StoredNames(), "w64 tags set --help lists the names that it can"));
    }
    if (tags.FindElement(name.c_str())) throw UsageError("'" + ToUTF8(name) + "' is set twice");
    tags.AddTag(name.c_str(), ToTagText(tag.second).c_str());
}

TagChange ChangeOf(const TagEditOptions& options) {
    TagChange change;
    change.dropUnwritable = options.force;
    change.moveList = options.move;
    if (options.textBits != 0) change.text = options.textBits == 16 ? LISTText::UTF16 : LISTText::Wide;
    return change;
}

bool Edit(const std::vector<std::string>& files, const TagChange& change, bool inPlace,
          CommandContext context) {
    const PluginLibrary library = PluginLibrary::OfWave64(context.plugin);
    OwnSettings settings(OwnSettings::Purpose::Editing);
    TagEditor editor(library, settings, context);
    return ForEachFile(files, 1, context.console, [&](size_t i) {
        RequireReadable(files[i]);
        editor.Edit(files[i], change, inPlace);
    });
}

bool SetTagsCommand(const TagEditOptions& options, CommandContext context) {
    const auto [files, tags] =
        Sort(options, [](const std::string& text) { return text.find('=') != text.npos; });
    RefuseOddFiles(files);
    TagChange change = ChangeOf(options);
    if (tags.empty() && !change.moveList && !change.text)
        throw UsageError("NAME=VALUE is required; see w64 tags set --help");
    for (const std::string& tag : tags) AddTag(change.set, SplitAssignment(tag));
    return Edit(files, change, options.inPlace, context);
}

bool RemoveTagsCommand(const TagEditOptions& options, CommandContext context) {
    const auto [files, names] = Sort(options, [](const std::string& text) {
        return !text.ends_with(".w64") && text.find('/') == text.npos;
    });
    if (options.all == !names.empty()) throw UsageError("give either names of tags or --all");
    TagChange change = ChangeOf(options);
    change.removeAll = options.all;
    for (const std::string& name : names) {
        const XStr text = ToTagText(name);
        const XStr stored = StoredName(text);
        change.remove.push_back(stored.empty() ? text : stored);
    }
    return Edit(files, change, options.inPlace, context);
}

std::vector<TagText> TagsOfJSON(const std::string& text) try {
    const auto object = nlohmann::ordered_json::parse(text);
    std::vector<TagText> tags;
    if (!object.is_object()) throw UsageError("the JSON is not an object with a text for each name");
    for (const auto& [name, value] : object.items()) tags.emplace_back(name, value.get<std::string>());
    return tags;
} catch (const nlohmann::json::exception& error) {
    throw UsageError(std::string("cannot read the JSON: ") + error.what());
}

bool ImportTagsCommand(const TagEditOptions& options, CommandContext context) {
    const std::string text{std::istreambuf_iterator<char>(std::cin), {}};
    const size_t first = text.find_first_not_of(" \t\r\n");
    if (first == text.npos) throw UsageError("standard input holds no tags");
    TagChange change = ChangeOf(options);
    const bool isJSON = text[first] == '{' || text[first] == '[';
    for (const TagText& tag : isJSON ? TagsOfJSON(text) : TagsOfLines(text)) AddTag(change.set, tag);
    return Edit(options.arguments, change, options.inPlace, context);
}

CLI::App* AddEdit(CLI::App* tags, const char* name, const char* help, TagEditOptions& options,
                  const char* arguments, const char* argumentHelp) {
    CLI::App* command = tags->add_subcommand(name, help);
    command->add_option(arguments, options.arguments, argumentHelp)->required()->type_name("");
    command->add_flag("--in-place", options.inPlace,
                      "Make no copy, even if the audio has to move; less safe");
    command->add_flag("-f,--force", options.force, "Edit even if tags that cannot be rewritten are lost");
    return command;
}

void AddText(CLI::App* command, unsigned& bits) {
    command
        ->add_option("--text", bits,
                     "Rewrite the tags in characters of 16 bits, which most programs\nread, or of 32")
        ->check(CLI::IsMember({16u, 32u}).description(""))
        ->type_name("BITS");
}

// CLI11 hands what follows "--" to the parent command.
void OnEdit(CLI::App* tags, CLI::App* command, CommandLine& line, Work<TagEditOptions> work,
            TagEditOptions& options) {
    command->final_callback([tags, &line, work, &options] {
        options.afterMark = tags->get_option("FILE")->results();
        line.Choose(work, options);
    });
}

void AddSet(CLI::App* tags, CommandLine& line) {
    auto& options = line.Keep<TagEditOptions>();
    CLI::App* command = AddEdit(tags, "set", "Set tags; an empty value removes the tag", options,
                                "FILE ... NAME=VALUE", "Wave64 files, and tags to set");
    command->add_flag("--move", options.move, "Move tags that are after the audio to the place before it");
    AddText(command, options.textBits);
    OnEdit(tags, command, line, SetTagsCommand, options);
    SetFooter(command, "Names:\n" + TagNamesInColumns() + "\n" + kAboutArguments + kAboutTags);
}

void AddRemove(CLI::App* tags, CommandLine& line) {
    auto& options = line.Keep<TagEditOptions>();
    CLI::App* command =
        AddEdit(tags, "remove", "Remove tags", options, "FILE ... NAME", "Wave64 files, and names of tags");
    command->add_flag("--all", options.all, "Remove every tag");
    OnEdit(tags, command, line, RemoveTagsCommand, options);
    SetFooter(command, std::string(kAboutNames) + kAboutTags);
}

void AddImport(CLI::App* tags, CommandLine& line) {
    auto& options = line.Keep<TagEditOptions>();
    CLI::App* command =
        AddEdit(tags, "import", "Set the tags that standard input holds", options, "FILE", "Wave64 files");
    AddText(command, options.textBits);
    line.OnCommand(command, ImportTagsCommand, options);
    SetFooter(command, std::string(kAboutImport) + kAboutTags);
}

}  // namespace

void AddTagEdits(CLI::App* tags, CommandLine& line) {
    SetFooter(tags, kAboutTags);
    AddSet(tags, line);
    AddRemove(tags, line);
    AddImport(tags, line);
}

}  // namespace w64
