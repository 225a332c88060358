#include "host/tagging/TagEditor.h"

#include "base/Platform.h"
#include "host/decoder/DecoderInstance.h"
#include "host/files/FileCopy.h"
#include "host/files/InputFile.h"
#include "host/files/JournalledEdit.h"
#include "host/files/Replacement.h"
#include "host/tagging/KeptChunks.h"
#include "host/tagging/Sketch.h"
#include "host/tagging/TagTexts.h"
#include "host/terminal/Failure.h"
#include "host/terminal/FormatText.h"
#include "host/terminal/Interrupt.h"
#include "host/terminal/Progress.h"
#include "tags/TaggingOptions.h"
#include "tags/clRIFFSUMMARYLISTChunk.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <new>
#include <thread>
#include <utility>

namespace w64 {

namespace fs = std::filesystem;

namespace {

// The tags as they read back after being written with these options.
NTag WrittenAndRead(const NTag& tags, const TaggingOptions& options) {
    XMem list;
    NTag read;
    LISTText text = options.text;
    if (!clRIFFSUMMARYLISTChunk::TagsToLIST(list, tags, {}, options.albumOption, options.trackOption, text)) {
        throw std::bad_alloc();
    }
    clRIFFSUMMARYLISTChunk::InitFrom(list.Data(), static_cast<unsigned>(list.Size()), read, {},
                                     options.albumOption, text);
    return read;
}

constexpr const char* kAlbumTag = "LIST Album Tag";

// The options that make an edit impossible, for the end of a message.
std::string BecauseOf(const std::vector<std::string>& options) {
    return options.empty() ? "" : "; because of " + Joined(options, ", ") + ", see w64 options";
}

// The titles of the options that by themselves keep tags from being written unchanged.
std::vector<std::string> OptionsAtFault(const NTag& tags, const TaggingOptions& options) {
    TaggingOptions harmless = options;
    harmless.text = LISTText::UTF16;
    harmless.albumOption = 0;
    const auto faults = [&tags](const TaggingOptions& tried) {
        return DifferencesOfTags(tags, WrittenAndRead(tags, tried)).size();
    };
    std::vector<std::string> titles;
    TaggingOptions tried = harmless;
    tried.text = options.text;
    if (faults(tried) > faults(harmless)) titles.emplace_back("LIST Text");
    tried = harmless;
    tried.albumOption = options.albumOption;
    if (faults(tried) > faults(harmless)) titles.emplace_back(kAlbumTag);
    return titles;
}

void RefuseDifferences(const NTag& expected, const NTag& found, const TaggingOptions& options) {
    const std::vector<std::string> differences = DifferencesOfTags(expected, found);
    if (differences.empty()) return;
    std::vector<std::string> causes = OptionsAtFault(expected, options);
    if (!options.createsLists && DifferencesOfTags({}, found).empty()) causes.emplace_back("Tag Creation");
    throw Failure("the tags do not read back as expected: " + Joined(differences, ", ") + BecauseOf(causes));
}

void RefuseLosses(const fs::path& path, const TaggingOptions& options) {
    InputFile file(path);
    const std::vector<std::string> lost = UnwritableEntries(file, options.albumOption);
    if (lost.empty()) return;
    // Without this option it is an album.
    const bool hasProduct = options.albumOption != 0 && std::ranges::find(lost, "'Product'") != lost.end();
    throw Failure("some tags cannot be rewritten and would be lost: " + Joined(lost, ", ") +
                  (hasProduct ? BecauseOf({kAlbumTag}) : "") + "; --force edits anyway");
}

void RefuseAbsent(const NTag& tags, const std::vector<XStr>& names, const TaggingOptions& options) {
    for (const XStr& name : names) {
        const STInternalTag* tag = tags.FindElement(name.c_str());
        if (tag && !tag->Value.empty()) continue;  // a raw chunk has no value and cannot be removed
        const bool isAlbum =
            options.albumOption != 0 && (EqualNoCase(name, L"Album") || EqualNoCase(name, L"ISRC"));
        throw Failure("has no tag '" + ToPrintable(name) + "'" + (isAlbum ? BecauseOf({kAlbumTag}) : ""));
    }
}

// Shows how far a move has come, which the decoder makes in a single call: by what the program writes meanwhile.
class MoveProgress {
public:
    MoveProgress(Console& console, const fs::path& file, int64_t bytes)
        : progress_(console, file.filename(), 1), share_(progress_, bytes) {
        if (console.HasStatusLine())
            thread_ = std::jthread([this](const std::stop_token& stop) { Watch(stop); });
    }

private:
    void Watch(const std::stop_token& stop) {
        std::mutex access;
        std::condition_variable_any wait;
        std::unique_lock lock(access);
        for (int64_t seen = Platform::BytesWritten(); !stop.stop_requested();) {
            wait.wait_for(lock, stop, std::chrono::milliseconds(100), [] { return false; });
            const int64_t written = Platform::BytesWritten();
            share_.Advance(written - std::exchange(seen, written));
        }
    }

    Progress progress_;
    Progress::Share share_;
    std::jthread thread_;
};

constexpr int64_t kSmall = int64_t{64} << 20;  // a file whose copy takes no time worth saving

void NoteWorsePlace(const std::string& file, Console& console) {
    console.Note(file,
                 "the tags are after the audio, where fewer programs find them; w64 tags set --move puts "
                 "them before it, which takes a copy of the file");
}

}  // namespace

void TagEditor::Edit(const fs::path& path, const TagChange& change, bool inPlace) {
    using Lock = LockedFile::Lock;
    LockedFile recording(path, inPlace ? Lock::WherePossible : Lock::Required);
    FinishInterruptedEdit(recording, Journal::Of(recording.Path()), context_.console);
    const Plan plan = MakePlan(recording, change, inPlace);
    if (plan.still) {
        EditStill(recording, *plan.still, inPlace);
        if (plan.hasWorsePlace) NoteWorsePlace(recording.Name(), context_.console);
    } else if (inPlace) {
        EditInPlace(recording, change, plan);
    } else {
        EditCopy(recording, change, plan);
    }
}

// Where the user has not chosen a place, a new list goes before the audio, where more programs find it, unless that
// takes a long copy.
TagEditor::Plan TagEditor::MakePlan(LockedFile& recording, const TagChange& change, bool inPlace) {
    XFile& file = recording.File();
    if (change.moveList) return Try(file, change, true);
    if (change.text) {
        const Sketch sketch(file);
        if (sketch.HasList()) return Try(file, change, !sketch.HasListAfterAudio());
    }
    if (settings_.ChoosesListPlace()) return Try(file, change, {});
    Plan before = Try(file, change, true);
    if (before.still || before.hasList) return before;
    const bool copies = file.Size() < kSmall || CanShareBlocks(file, recording.Path().parent_path());
    if (copies && !inPlace) return before;
    Plan after = Try(file, change, false);
    after.hasWorsePlace = true;
    return after;
}

TagEditor::Plan TagEditor::Try(XFile& recording, const TagChange& change, std::optional<bool> beforeAudio) {
    Sketch sketch(recording);
    const bool rewritesList = change.text || (change.moveList && sketch.HasListAfterAudio());
    Plan plan{beforeAudio, sketch.HasList(), rewritesList};
    EditTags(sketch.Path(), change, plan);
    plan.still = sketch.StillEdit();
    return plan;
}

void TagEditor::EditStill(LockedFile& recording, const RangeEdit& edit, bool inPlace) {
    if (edit.ChangesNothing()) return;
    try {
        MakeJournalledEdit(recording, edit);
    } catch (const JournalFailure& failure) {
        if (!inPlace) throw Failure(std::string(failure.what()) + "; --in-place edits without one");
        MakeEditWithoutJournal(recording, edit);
    }
}

void TagEditor::EditCopy(LockedFile& recording, const TagChange& change, const Plan& plan) {
    Console& console = context_.console;
    console.Note(recording.Name(), "the audio has to move: a copy of the file is edited and replaces it");
    Progress progress(console, recording.Path().filename(), 1);
    Progress::Share share(progress, 2 * recording.File().Size());
    const auto advance = [&share](int64_t bytes) { share.Advance(bytes); };

    Replacement replacement(recording, console, advance);
    const KeptChunks before(recording.File());
    EditTags(replacement.Copy(), change, plan);
    InputFile copy(replacement.Copy());
    const KeptChunks after(copy);
    std::string difference = before.DifferenceTo(after);
    if (difference.empty()) difference = before.DifferenceOfBytes(recording.File(), after, copy, advance);
    if (!difference.empty()) throw Failure("the edited copy is wrong: " + difference);
    copy.Close();
    replacement.Commit();
}

void TagEditor::EditInPlace(LockedFile& recording, const TagChange& change, const Plan& plan) {
    const Interrupt::Hold hold;
    Interrupt::Check();  // for a signal that came before
    const KeptChunks before(recording.File());
    const MoveProgress progress(context_.console, recording.Path(), recording.File().Size());
    recording.RefuseChanges();
    recording.File().Close();  // the decoder opens it alone
    try {
        EditTags(recording.Path(), change, plan);
    } catch (const std::exception& failure) {
        if (recording.IsUnchanged()) throw;
        throw Failure(std::string(ReasonOf(failure)) +
                      "\nthe edit has stopped midway: part of the audio may be there twice, or not at all");
    }
    InputFile file(recording.Path());
    const std::string difference = before.DifferenceTo(KeptChunks(file));
    if (!difference.empty()) throw Failure("the edited file is wrong: " + difference);
}

// Any difference from the expected result fails the edit before the file is relied on.
void TagEditor::EditTags(const fs::path& path, const TagChange& change, const Plan& plan) {
    // If all tags are removed, damaged ones do not matter.
    const NTag before = change.removeAll ? NTag() : ReadTags(path);
    OwnSettings::Edit edit(settings_, plan.beforeAudio, change.text);
    const TaggingOptions options = TaggingOptions::Read();
    RefuseAbsent(before, change.remove, options);
    if (!change.dropUnwritable && !change.removeAll) RefuseLosses(path, options);
    const NTag expected = change.Expected(before);
    RefuseDifferences(expected, WrittenAndRead(expected, options), options);
    DecoderInstance decoder(library_, context_.traceDescriptor);
    if (expected.Count() == 0 || plan.rewritesList) decoder.DeleteTags(path, {});  // leaves no empty list
    if (expected.Count() > 0 && plan.rewritesList) {
        decoder.WriteTags(path, expected);
    } else if (expected.Count() > 0 && change.set.Count() > 0) {
        decoder.WriteTags(path, change.set);
    } else if (expected.Count() > 0 && !change.remove.empty()) {
        decoder.DeleteTags(path, change.remove);
    }
    edit.End();
    RefuseDifferences(expected, ReadTags(path), options);
}

NTag TagEditor::ReadTags(const fs::path& path) const {
    DecoderInstance decoder(library_, context_.traceDescriptor);
    decoder.Open(path, kvOpenTags);
    const std::vector<std::string> errors = decoder.Errors();
    if (!errors.empty()) {
        throw Failure(JoinLines(errors) +
                      "\nw64 check tells what is wrong with the file; w64 tags remove --all "
                      "removes damaged tags too");
    }
    return decoder.Tags();
}

}  // namespace w64
