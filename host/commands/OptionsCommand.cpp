#include "host/commandline/Arguments.h"
#include "host/commandline/CommandLine.h"
#include "host/commandline/NearestName.h"
#include "host/commands/Commands.h"
#include "host/decoder/OwnSettings.h"
#include "host/decoder/PluginLibrary.h"
#include "host/decoder/ReportChannels.h"
#include "host/terminal/Failure.h"
#include "settings/XRegistryTransaction.h"
#include "tags/TaggingOptions.h"

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <span>

namespace w64 {

namespace {

constexpr const char* kAboutOptions =
    "The settings apply to every program that uses the decoder. w64 itself always edits\n"
    "safely, and writes 16-bit text unless LIST Text is set.\n\n";

struct OptionsOptions {
    std::string assignment;  // empty, a name, or name=value
    bool unset = false;      // the one of that name
    bool all = false;        // with unset, every one
};

struct Option {
    std::string title;
    std::string name;                // in the settings store
    std::vector<std::string> texts;  // by setting
    std::string unset;               // shown when it is not set
};

// The options that the decoder announces, in its own words.
std::vector<Option> AnnouncedOptions(const PluginLibrary& library) {
    const ReportChannels channels(0);
    STNStdReport report = channels.Report();
    const std::unique_ptr<void, KvDestroyFn> decoder(library.Create(&report), library.Destroy);
    std::vector<Option> options;
    STKvCodecGetSet record{};
    for (; library.Get(decoder.get(), kvGetTagOptions, &record) == 1; ++record.Index) {
        const std::string key = ToUTF8(record.Text2);
        Option& option =
            options.emplace_back(Option{ToUTF8(record.Text1), key.substr(key.find('\\') + 1), {}, "not set"});
        for (; library.Get(decoder.get(), kvGetTagOptions, &record) == 1; ++record.Value) {
            option.texts.push_back(ToUTF8(record.Text3));
        }
        record.Value = 0;
    }
    if (const auto errors = channels.Errors(); !errors.empty()) throw Failure(JoinLines(errors));
    return options;
}

std::vector<Option> AllOptions(const std::string& plugin) {
    std::vector<Option> options = AnnouncedOptions(PluginLibrary::OfWave64(plugin));
    for (Option& option : options) {
        const bool isPlace = option.name == ToUTF8(TaggingOptions::LISTPlaceName);
        if (isPlace) option.unset = "not set; w64 puts new tags where they fit";
    }
    options.push_back({"Safe Editing",
                       ToUTF8(TaggingOptions::SafeEditName),
                       {"off", "on"},
                       "not set; w64 edits safely all the same"});
    options.push_back({"LIST Text",
                       ToUTF8(TaggingOptions::LISTTextName),
                       {"32-bit, half of each value", "32-bit", "16-bit"},
                       "not set; w64 writes 16-bit text"});
    return options;
}

bool Matches(const std::string& a, const std::string& b) { return EqualNoCase(FromUTF8(a), FromUTF8(b)); }

const Option& Find(const std::vector<Option>& options, const std::string& name) {
    const auto found = std::ranges::find_if(options, [&](const Option& option) {
        return Matches(option.title, name) || Matches(option.name, name);
    });
    if (found != options.end()) return *found;
    std::vector<std::string> titles;
    titles.reserve(options.size());
    for (const Option& option : options) titles.push_back(option.title);
    throw UsageError("there is no option '" + name + "'; " + Suggestion(name, titles, "see w64 options"));
}

// By its text or its number.
uint32_t SettingOf(const Option& option, const std::string& value) {
    for (uint32_t i = 0; i < option.texts.size(); ++i) {
        if (Matches(option.texts[i], value) || std::to_string(i) == value) return i;
    }
    std::string choices = "'" + option.title + "' is one of";
    for (size_t i = 0; i < option.texts.size(); ++i) {
        choices += "\n  " + std::to_string(i) + "  " + option.texts[i];
    }
    throw UsageError(choices);
}

std::string CurrentText(const Option& option) {
    const std::optional<uint32_t> stored = ReadTaggingOption(option.name);
    const uint32_t setting = stored.value_or(0);
    const std::string text =
        setting < option.texts.size() ? option.texts[setting] : std::to_string(setting) + " (unknown)";
    return stored ? text : text + "  (" + option.unset + ")";
}

void Show(const Option& option) {
    std::cout << std::left << std::setw(22) << option.title << CurrentText(option) << "\n";
}

void ShowChoices(const Option& option) {
    Show(option);
    for (size_t i = 0; i < option.texts.size(); ++i)
        std::cout << "  " << i << "  " << option.texts[i] << "\n";
}

void RequireWritten(bool isWritten) {
    if (isWritten) return;
    throw Failure(
        "cannot write the settings to '" + ToUTF8(XRegistry::RegFileLocation()) +
        "', which is unchanged: its folder is not writable, it is in use, or it has content that would be "
        "lost, such as a number of more than 64 bits");
}

void Store(const Option& option, const std::string& value) {
    RequireWritten(XRegistry::SetDWORD(SettingOf(option, value), FromUTF8(option.name).c_str(),
                                       XRegistry::CurrentUser, TaggingOptions::KeyPath));
}

void Unset(std::span<const Option> options) {
    XRegistryTransaction changes;
    for (const Option& option : options) {
        changes.DeleteVal(FromUTF8(option.name).c_str(), XRegistry::CurrentUser, TaggingOptions::KeyPath);
    }
    RequireWritten(changes.Commit());
    std::ranges::for_each(options, Show);
}

bool OptionsCommand(const OptionsOptions& options, CommandContext context) {
    if (options.all && !options.unset) throw UsageError("--all is for --unset");
    if (options.unset && options.all != options.assignment.empty()) {
        throw UsageError("--unset needs either the name of an option or --all");
    }
    RequireReadableSettings();
    const std::vector<Option> all = AllOptions(context.plugin);
    const size_t sign = options.assignment.find('=');
    if (options.unset) {
        Unset(options.all ? std::span(all) : std::span(&Find(all, options.assignment), 1));
    } else if (options.assignment.empty()) {
        std::ranges::for_each(all, Show);
    } else if (sign == options.assignment.npos) {
        ShowChoices(Find(all, options.assignment));
    } else {
        const Option& option = Find(all, options.assignment.substr(0, sign));
        Store(option, options.assignment.substr(sign + 1));
        Show(option);
    }
    return true;
}

}  // namespace

void AddOptions(CLI::App& app, CommandLine& line) {
    auto& options = line.Keep<OptionsOptions>();
    CLI::App* command = app.add_subcommand("options", "Show and change how tags are stored");
    line.OnCommand(command, OptionsCommand, options);
    command->add_option("NAME=VALUE", options.assignment, "An option to show or to set")->type_name("");
    command->add_flag("--unset", options.unset, "Unset the option, so that its default applies");
    command->add_flag("--all", options.all, "With --unset, all options");
    SetFooter(command, kAboutOptions);
}

}  // namespace w64
