#pragma once

#include "host/decoder/OwnSettings.h"
#include "host/decoder/PluginLibrary.h"
#include "host/files/LockedFile.h"
#include "host/files/RangeEdit.h"
#include "host/tagging/TagChange.h"
#include "host/terminal/CommandContext.h"

#include <filesystem>
#include <optional>

namespace w64 {

// Changes the tags of one file through the decoder, and makes sure that nothing else changes. An interrupted edit is
// finished first.
// Every edit is tried on a sketch in memory. If the other chunks stay where they are, only the bytes that differ are
// written into the file, under a journal. Else a copy is edited, compared and put in the file's place.
// Errors: Failure; the file is then unchanged, unless its audio is moved in place.
class TagEditor {
public:
    TagEditor(const PluginLibrary& library, OwnSettings& settings, CommandContext context)
        : library_(library), settings_(settings), context_(context) {}

    // With `inPlace` no file is made: audio that has to move moves in the file itself, and there is no journal where
    // none can be written. Signals are then held. Of the other chunks names and sizes are compared, not bytes.
    void Edit(const std::filesystem::path& file, const TagChange& change, bool inPlace);

private:
    struct Plan {
        std::optional<bool> beforeAudio;      // place of a new list; nothing leaves it to the user's option
        bool hasList = false;                 // before the edit
        bool rewritesList = false;            // elsewhere, or in another form
        bool hasWorsePlace = false;           // for a new list, to save a copy
        std::optional<RangeEdit> still = {};  // if nothing else moves
    };

    Plan MakePlan(LockedFile& recording, const TagChange& change, bool inPlace);
    Plan Try(XFile& recording, const TagChange& change, std::optional<bool> beforeAudio);
    static void EditStill(LockedFile& recording, const RangeEdit& edit, bool inPlace);
    void EditCopy(LockedFile& recording, const TagChange& change, const Plan& plan);
    void EditInPlace(LockedFile& recording, const TagChange& change, const Plan& plan);
    void EditTags(const std::filesystem::path& file, const TagChange& change, const Plan& plan);
    NTag ReadTags(const std::filesystem::path& file) const;

    const PluginLibrary& library_;
    OwnSettings& settings_;
    CommandContext context_;
};

}  // namespace w64
