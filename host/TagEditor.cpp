#include "host/TagEditor.h"

#include "host/DecoderInstance.h"
#include "host/Failure.h"
#include "host/Replacement.h"
#include "host/TagTexts.h"
#include "tags/TaggingOptions.h"

namespace fs = std::filesystem;

namespace {

void OpenForReading(XFile& file, const fs::path& path) {
    if (!file.Open(FromUTF8(path.native()), XFile::Access::Read)) {
        throw Failure("cannot open the file, check no other program has it open");
    }
}

std::string Listed(const std::vector<std::string>& texts) {
    std::string list;
    for (const std::string& text : texts) list += (list.empty() ? "" : ", ") + text;
    return list;
}

void RefuseAbsent(const NTag& tags, const std::vector<XStr>& names) {
    for (const XStr& name : names) {
        const STInternalTag* tag = tags.FindElement(name.c_str());
        if (tag && !tag->Value.empty()) continue;  // a raw chunk is no tag to remove
        throw Failure("has no tag '" + ToPrintable(name) + "'");
    }
}

}  // namespace

void TagEditor::EditCopy(const fs::path& path, const TagChange& change) {
    Replacement replacement(path, context_.console);
    Edit(replacement.Copy(), change);

    XFile copy;
    OpenForReading(copy, replacement.Copy());
    const KeptChunks before(replacement.Original());
    const KeptChunks after(copy);
    std::string difference = before.DifferenceTo(after);
    if (difference.empty()) difference = before.DifferenceOfBytes(replacement.Original(), after, copy);
    if (!difference.empty()) throw Failure("the edited copy is wrong, " + difference);
    copy.Close();
    replacement.Commit();
}

void TagEditor::EditInPlace(const fs::path& path, const TagChange& change) {
    XFile file;
    OpenForReading(file, path);
    const KeptChunks before(file);
    file.Close();
    Edit(path, change);
    OpenForReading(file, path);
    const std::string difference = before.DifferenceTo(KeptChunks(file));
    if (!difference.empty()) throw Failure("the edited file is wrong, " + difference);
}

// Whatever is not as it ought to be ends the edit before anybody relies on it.
void TagEditor::Edit(const fs::path& path, const TagChange& change) {
    const NTag before = ReadTags(path);
    RefuseAbsent(before, change.remove);
    if (!change.dropUnwritable && !change.removeAll) RefuseLosses(path);
    const NTag expected = change.Expected(before);
    settings_.BeginEdit();
    DecoderInstance decoder(library_, context_.traceDescriptor);
    if (expected.Count() == 0) {
        decoder.DeleteTags(path, {});  // no empty list stays behind
    } else if (change.set.Count() > 0) {
        decoder.WriteTags(path, change.set);
    } else {
        decoder.DeleteTags(path, change.remove);
    }
    settings_.EndEdit();
    const std::vector<std::string> differences = DifferencesOfTags(expected, ReadTags(path));
    if (differences.empty()) return;
    std::string why;
    if (settings_.HalvesValues()) why = "; LIST Text halves values, see w64 options";
    if (!TaggingOptions::Read().createsLists) why = "; Tag Creation is (none), see w64 options";
    throw Failure("the tags do not read back as they should: " + Listed(differences) + why);
}

NTag TagEditor::ReadTags(const fs::path& path) const {
    DecoderInstance decoder(library_, context_.traceDescriptor);
    decoder.Open(path, kvOpenTags);
    const std::vector<std::string> errors = decoder.Errors();
    if (!errors.empty()) throw Failure(JoinLines(errors) + "\nw64 check tells what is wrong with the file");
    return decoder.Tags();
}

void TagEditor::RefuseLosses(const fs::path& path) const {
    XFile file;
    OpenForReading(file, path);
    const std::vector<std::string> lost = UnwritableEntries(file);
    if (lost.empty()) return;
    throw Failure("some tags cannot be written again and would be lost: " + Listed(lost) +
                  "; --force edits all the same");
}
