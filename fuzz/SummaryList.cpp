// A summary list of any bytes. What is read of it can be written, and reads the same again.

#include "Input.h"
#include "tags/clRIFFSUMMARYLISTChunk.h"

namespace w64 {

namespace {

using List = clRIFFSUMMARYLISTChunk;

NTag Read(const Bytes& list, int albumOption, LISTText& form) {
    NTag tags;
    List::InitFrom(list.data(), static_cast<unsigned>(list.size()), tags, {}, albumOption, form);
    return tags;
}

// The form of a list is told by its texts. Control characters, and those in planes without any, can mislead.
bool TellForm(const NTag& tags) {
    for (int i = 0; i < tags.Count(); ++i) {
        const auto isPlain = [](wchar_t c) { return c >= L' ' && (c < 0xD800 || c > 0xDFFF); };
        if (!std::ranges::all_of(tags[i].Value, isPlain)) return false;
    }
    return true;
}

// Of a name that no identifier has, and an empty value, nothing is written.
void RequireSame(const NTag& read, const NTag& written) {
    int i = 0;
    for (int from = 0; from < written.Count(); ++from) {
        if (!List::HasIdentifier(written[from].Name) || written[from].Value.empty()) continue;
        Require(i < read.Count() && read[i].Name == written[from].Name,
                "names are read as they were written");
        Require(read[i++].Value == written[from].Value, "values are read as they were written");
    }
    Require(i == read.Count(), "nothing is read that was not written");
}

}  // namespace

}  // namespace w64

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace w64;
    Input in(data, size);
    const int album = in.Byte() % 2;
    const int track = in.Byte() % 2;
    const auto text = LISTText{in.Byte() % 3u};
    const Bytes list = in.Rest();
    const auto bytes = static_cast<unsigned>(list.size());
    List::IsWhole(list.data(), bytes);
    List::HiddenParts(list.data(), bytes, album);
    LISTText form = text;
    const NTag tags = Read(list, album, form);
    XMem written;
    Require(List::TagsToLIST(written, tags, {}, album, track, form), "tags that were read can be written");
    Require(List::IsWhole(written.Data(), static_cast<unsigned>(written.Size())), "a new list is whole");
    if (form == LISTText::Half || !TellForm(tags)) return 0;
    const Bytes again(written.Data(), written.Data() + written.Size());
    RequireSame(Read(again, album, form), tags);
    return 0;
}
