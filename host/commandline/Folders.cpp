#include "host/commandline/Folders.h"

#include "host/commandline/OutputNames.h"
#include "host/terminal/Failure.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <utility>

namespace w64 {

namespace fs = std::filesystem;

namespace {

constexpr const char* kAudioEndings[] = {".wav", ".rf64", ".bwf", ".flac", ".aiff", ".aif", ".aifc",
                                         ".caf", ".au",   ".ogg", ".opus", ".mp3",  ".mp2"};

bool IsOfKind(const fs::path& file, FilesInFolders kind) {
    std::string ending = file.extension();
    std::ranges::transform(ending, ending.begin(), [](unsigned char c) { return std::tolower(c); });
    if (ending == kWave64Ending) return kind != FilesInFolders::OtherAudio;
    return kind != FilesInFolders::Wave64 &&
           std::ranges::find(kAudioEndings, ending) != std::end(kAudioEndings);
}

// Links to folders are not followed, as they may lead in circles.
void Collect(const fs::path& folder, FilesInFolders kind, std::vector<std::string>& files) {
    std::vector<fs::directory_entry> entries;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        if (!entry.path().filename().native().starts_with('.')) entries.push_back(entry);
    }
    std::ranges::sort(entries);
    for (const fs::directory_entry& entry : entries) {
        if (entry.is_directory() && !entry.is_symlink()) {
            Collect(entry.path(), kind, files);
        } else if (IsOfKind(entry.path(), kind)) {
            files.push_back(entry.path());
        }
    }
}

// Reports a folder that cannot be read, or that has nothing to work on.
bool ReplaceFolders(std::vector<std::string>& names, FilesInFolders kind, Console& console) {
    bool allDone = true;
    for (const std::string& name : std::exchange(names, {})) {
        std::error_code ignored;
        if (!fs::is_directory(name, ignored)) {
            names.push_back(name);
            continue;
        }
        try {
            std::vector<std::string> files;
            Collect(name, kind, files);
            if (files.empty()) throw Failure("holds no files to work on");
            names.insert(names.end(), files.begin(), files.end());
        } catch (const fs::filesystem_error& error) {
            console.Error(error.path1().native(), error.code().message());
            allDone = false;
        } catch (const Failure& failure) {
            console.Error(name, failure.what());
            allDone = false;
        }
    }
    return allDone;
}

}  // namespace

void AddFolders(CLI::App* command, CommandLine& line, std::vector<std::string>& files, FilesInFolders kind) {
    bool& recursive = line.Keep<bool>();
    command->add_flag("-r,--recursive", recursive, "Take the files in folders, and in theirs");
    line.preparations.emplace_back([&line, &recursive, &files, kind](Console& console) {
        if (!recursive) return true;
        const bool allDone = ReplaceFolders(files, kind, console);
        if (files.empty()) line.HaveNoWork();
        return allDone;
    });
}

}  // namespace w64
