#include "host/tagging/TagEditor.h"

#include "host/decoder/DecoderInstance.h"
#include "host/files/InputFile.h"
#include "host/files/Replacement.h"
#include "host/tagging/TagTexts.h"
#include "host/terminal/Failure.h"
#include "host/terminal/FormatText.h"
#include "host/terminal/Interrupt.h"
#include "tags/TaggingOptions.h"
#include "tags/clRIFFSUMMARYLISTChunk.h"

#include <algorithm>
#include <new>

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

}  // namespace

void TagEditor::EditCopy(const fs::path& path, const TagChange& change) {
    Replacement replacement(path, context_.console);
    const KeptChunks before(replacement.Original());
    Edit(replacement.Copy(), change);

    InputFile copy(replacement.Copy());
    const KeptChunks after(copy);
    std::string difference = before.DifferenceTo(after);
    if (difference.empty()) difference = before.DifferenceOfBytes(replacement.Original(), after, copy);
    if (!difference.empty()) throw Failure("the edited copy is wrong: " + difference);
    copy.Close();
    replacement.Commit();
}

void TagEditor::EditInPlace(const fs::path& path, const TagChange& change) {
    const Interrupt::Hold hold;
    Interrupt::Check();  // for a signal that came before
    const auto keptChunks = [&] {
        InputFile file(path);
        return KeptChunks(file);
    };
    const KeptChunks before = keptChunks();
    Edit(path, change);
    const std::string difference = before.DifferenceTo(keptChunks());
    if (!difference.empty()) throw Failure("the edited file is wrong: " + difference);
}

// Any difference from the expected result fails the edit before the file is relied on.
void TagEditor::Edit(const fs::path& path, const TagChange& change) {
    // If all tags are removed, damaged ones do not matter.
    const NTag before = ReadTags(path, change.removeAll ? kvOpenAudioInfo : kvOpenTags);
    OwnSettings::Edit edit(settings_);
    const TaggingOptions options = TaggingOptions::Read();
    RefuseAbsent(before, change.remove, options);
    if (!change.dropUnwritable && !change.removeAll) RefuseLosses(path, options);
    const NTag expected = change.Expected(before);
    RefuseDifferences(expected, WrittenAndRead(expected, options), options);
    DecoderInstance decoder(library_, context_.traceDescriptor);
    if (expected.Count() == 0) {
        decoder.DeleteTags(path, {});  // leaves no empty list
    } else if (change.set.Count() > 0) {
        decoder.WriteTags(path, change.set);
    } else {
        decoder.DeleteTags(path, change.remove);
    }
    edit.End();
    RefuseDifferences(expected, ReadTags(path, kvOpenTags), options);
}

NTag TagEditor::ReadTags(const fs::path& path, uint32_t flags) const {
    DecoderInstance decoder(library_, context_.traceDescriptor);
    decoder.Open(path, flags);
    const std::vector<std::string> errors = decoder.Errors();
    if (!errors.empty()) {
        throw Failure(JoinLines(errors) +
                      "\nw64 check tells what is wrong with the file; w64 tags remove --all "
                      "removes damaged tags too");
    }
    return decoder.Tags();
}

}  // namespace w64
