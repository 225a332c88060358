// Edits of the tags of a small file, checked against a model after each.

#include "Instance.h"
#include "MemoryFile.h"
#include "TagEdits.h"

namespace w64 {

namespace {

class Editor {
public:
    explicit Editor(Input& in) : in_(in), edits_([&in](size_t limit) { return in.Below(limit); }) {
        ::setenv("XCLASS_XREGISTRY_LOCATION", settings_.Path().c_str(), 1);
    }

    // Nothing is lost, and the tags are those of the model.
    void RunSafely() {
        Tags tags;
        file_.Write(edits_.AnyFile(edits_.AnyLayout(tags, edits_.Below(3) != 0)));
        const FileChunks foreign = ForeignOf(*SoundChunksOf(file_.Read()));
        for (int steps = 0; steps < kMaxSteps && !in_.IsUsedUp(); ++steps) {
            const std::string options = edits_.AnySafeOptions();
            const bool createsLists = options.find("TagDefault=2") == options.npos;
            SetOptions(options);
            Require(Make(edits_.AnyCall(tags, createsLists)) == 1, "a sound file can be edited");
            const auto chunks = SoundChunksOf(file_.Read());
            Require(chunks && ForeignOf(*chunks) == foreign, "a safe edit keeps all other chunks");
            Require(ReadTags() == BlockOf(*chunks, tags), "the tags are what was written");
        }
    }

    // A damaged file that is still sound is edited safely, and any other stays as it is.
    void RunDamaged() {
        Tags tags;
        Bytes file = edits_.AnyFile(edits_.AnyLayout(tags, true));
        for (uint32_t left = edits_.Below(4); left > 0; --left) file[edits_.Below(file.size())] = AnyDamage();
        if (edits_.Below(4) == 1) file.resize(1 + edits_.Below(file.size()));
        file_.Write(file);
        for (int steps = 0; steps < kMaxSteps && !in_.IsUsedUp(); ++steps) {
            SetOptions(edits_.AnySafeOptions());
            const Bytes before = file_.Read();
            const bool isDone = Make(edits_.AnyCall(tags, true)) == 1;
            const Bytes after = file_.Read();
            ReadTags();
            const auto old = SoundChunksOf(before), edited = SoundChunksOf(after);
            const bool isKept = isDone && old && edited && ForeignOf(*old) == ForeignOf(*edited);
            Require(isKept || after == before, "a damaged file loses nothing by a safe edit");
        }
    }

    // By the exact rules, a list after all else, where it is the last chunk, is edited as well as by the safe ones.
    void RunExactlyAtTheEnd() {
        Tags tags;
        const bool isHalf = edits_.Below(2) == 0;
        std::string layout = edits_.AnyLayout(tags, false) + "abcd:9 ";  // an empty one there is not seen
        if (edits_.Below(2) == 0)
            layout += edits_.AnyList(tags, isHalf ? "half:" : edits_.AnyOf({"wide:", "utf16:"}));
        file_.Write(edits_.AnyFile(layout));
        const FileChunks foreign = ForeignOf(*SoundChunksOf(file_.Read()));
        const std::string text = isHalf ? "LISTText=0 " : edits_.AnyOf({"LISTText=1 ", "LISTText=2 "});
        for (int steps = 0; steps < kMaxSteps && !in_.IsUsedUp(); ++steps) {
            SetOptions("SafeEdit=0 " + text + edits_.AnyOf({"", "LISTTrack=1 "}) +
                       edits_.AnyOf({"", "LISTPadding=1 ", "LISTPadding=2 "}));
            const bool hadTags = !tags.empty();
            const TagEditCall call = edits_.AnyCall(tags, true);
            const bool removesNone = call.isDeletion && call.tags.empty() && !hadTags;
            Require(Make(call) == (removesNone ? 0 : 1),
                    "an edit succeeds, but for the removal of a list that is not there");
            for (PackedTag& tag : tags) {
                if (isHalf) tag.value = removesNone ? tag.value : FirstHalf(tag.value);
            }
            const auto chunks = SoundChunksOf(file_.Read());
            Require(chunks && ForeignOf(*chunks) == foreign,
                    "an exact edit at the end keeps all other chunks");
            Require(ReadTags() == BlockOf(*chunks, tags), "the tags are what was written");
        }
    }

    // Nor do the exact rules anywhere change what comes before the first list or padding, and the audio.
    void RunExactly() {
        Tags tags;
        file_.Write(edits_.AnyFile(edits_.AnyLayout(tags, edits_.Below(3) != 0)));
        for (int steps = 0; steps < kMaxSteps && !in_.IsUsedUp(); ++steps) {
            SetOptions("SafeEdit=0 LISTText=" + std::to_string(edits_.Below(3)) +
                       edits_.AnyOf({" ", " LISTPos=1 "}) +
                       edits_.AnyOf({"", "LISTPadding=1 ", "LISTPadding=2 "}) +
                       edits_.AnyOf({"", "LISTPaddingSize=1 ", "LISTPaddingSize=4 "}));
            const Bytes before = Beginning(file_.Read());
            Make(edits_.AnyCall(tags, true));
            const Bytes after = file_.Read();
            Require(WithoutSize(Slice(after, 0, before.size())) == before,
                    "an exact edit keeps what comes before all that it may touch");
            ReadTags();
            if (!SoundChunksOf(after)) return;
        }
    }

private:
    static constexpr int kMaxSteps = 12;

    void SetOptions(const std::string& options) {
        const std::string text = SettingsOf(options);
        settings_.Write(text.data(), text.size());
    }

    int32_t Make(const TagEditCall& call) {
        Instance instance;
        std::wstring names;
        for (const PackedTag& tag : call.tags) names += tag.name + L'\0';
        return call.isDeletion ? instance.DeleteTags(file_.Name(), names)
                               : instance.WriteTags(file_.Name(), Pack(call.tags));
    }

    Bytes ReadTags() {
        Instance instance;
        instance.Open(file_.Name(), kvOpenTags);
        const auto* block = static_cast<const uint8_t*>(instance.open.TagData);
        return {block, block + instance.open.TagDataSize};
    }

    uint8_t AnyDamage() { return edits_.AnyOf<uint8_t>({0, 1, 3, 8, 0x17, 0x7F, 0x80, 0xFF}); }

    static Bytes WithoutSize(Bytes file) {
        if (file.size() >= 24) std::fill_n(file.begin() + 16, 8, uint8_t{0});
        return file;
    }

    static Bytes Beginning(const Bytes& file) {
        size_t end = 40;
        const auto chunks = SoundChunksOf(file);
        for (const FileChunk& chunk : chunks.value_or(FileChunks())) {
            if (chunk.IsList() || chunk.IsPadding() || chunk.Code() == "data") break;
            end += (chunk.header.size() + chunk.data.size() + 7) / 8 * 8;
        }
        return WithoutSize(Slice(file, 0, end));
    }

    Input& in_;
    TagEdits edits_;
    MemoryFile file_, settings_;
};

}  // namespace

}  // namespace w64

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    w64::LimitFiles(1 << 18);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace w64;
    Input in(data, size);
    const uint8_t rules = in.Byte() % 4;
    Editor editor(in);
    if (rules == 0) {
        editor.RunExactly();
    } else if (rules == 1) {
        editor.RunExactlyAtTheEnd();
    } else if (rules == 2) {
        editor.RunDamaged();
    } else {
        editor.RunSafely();
    }
    return 0;
}
