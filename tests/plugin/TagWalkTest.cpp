#include "TagEdits.h"
#include "TaggedFile.h"

#include <random>

namespace w64 {

namespace {

class TagWalk : public TaggedFile {
protected:
    int32_t Make(const TagEditCall& call) {
        return call.isDeletion ? Delete(call.tags) : Write(Pack(call.tags));
    }

    std::mt19937 random{43};
    TagEdits edits{[this](size_t limit) { return static_cast<uint32_t>(random() % limit); }};
};

}  // namespace

TEST_F(TagWalk, SafeEditingLosesNothing) {
    for (int walk = 0; walk < 60; ++walk) {
        Tags tags;
        const std::string layout = edits.AnyLayout(tags, walk % 3 != 0);
        Reset(edits.AnyFile(layout));
        const FileChunks foreign = ForeignOf(*SoundChunksOf(Contents()));
        for (int step = 0; step < 8; ++step) {
            const std::string options = edits.AnySafeOptions();
            SCOPED_TRACE(layout + options + "step " + std::to_string(step));
            SetOptions(options);
            const Bytes before = Contents();
            const TagEditCall call = edits.AnyCall(tags, options.find("TagDefault=2") == options.npos);
            ASSERT_EQ(Make(call), 1) << host->capture.Errors();
            const Bytes after = Contents();
            const auto chunks = SoundChunksOf(after);
            ASSERT_TRUE(chunks && ForeignOf(*chunks) == foreign);
            const bool isPadded =
                after.size() % 8 == 0 && base::Load<uint64_t>(after.data() + 16) == after.size();
            ASSERT_TRUE(after == before || isPadded);
            ASSERT_TRUE(Read() == BlockOf(*chunks, tags));
        }
    }
}

// Safely, a damaged file that is still sound loses nothing, and any other stays as it is. By default there is
// at least an answer.
TEST_F(TagWalk, DamageCostsNoAudio) {
    constexpr uint8_t values[] = {0, 1, 3, 8, 0x7F, 0x80, 0xFF};
    int refused = 0;
    for (int round = 0; round < 300; ++round) {
        Tags tags;
        Bytes file = edits.AnyFile(edits.AnyLayout(tags, true) +
                                   (edits.Below(4) == 0 ? edits.AnyList(tags, "wide:") : ""));
        Bytes block = Pack({{L"Title", L"Hello", {1}}, {L"Artist", L"Abba"}});
        for (Bytes* damaged : {&file, &block}) {
            for (uint32_t n = edits.Below(3); n > 0; --n)
                (*damaged)[edits.Below(std::min<size_t>(damaged->size(), 300))] =
                    values[edits.Below(std::size(values))];
            if (edits.Below(8) == 0) damaged->resize(1 + edits.Below(damaged->size()));
        }
        Reset(file);
        const bool safe = round % 2 == 0;
        SetOptions((safe ? "" : "SafeEdit=0 LISTText=0 ") + edits.AnySafeOptions());  // the first counts
        host.emplace().Open(path, kvOpenTags | kvOpenProperties);
        host.reset();
        const int32_t result = edits.Below(3) != 0 ? Write(block) : Delete({});
        ASSERT_TRUE(result == 0 || result == 1);
        if (!safe) continue;  // the file may be of any size
        const Bytes after = Contents();
        const auto before = SoundChunksOf(file), chunks = SoundChunksOf(after);
        const bool areTagsDamaged =
            host->capture.Errors().find("its tags cannot be read in full") != std::string::npos;
        ASSERT_TRUE(result == 1 || !before || areTagsDamaged) << round << host->capture.Errors();
        const bool isKept = result == 1 && before && chunks && ForeignOf(*chunks) == ForeignOf(*before);
        ASSERT_TRUE(isKept || after == file) << round;
        refused += 1 - result;
    }
    EXPECT_TRUE(refused > 24 && refused < 126) << refused;
}

}  // namespace w64
