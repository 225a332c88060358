#include "HostWorkshop.h"
#include "MPEGBytes.h"
#include "SoundFile.h"
#include "host/terminal/FormatText.h"

namespace w64 {

namespace {

using MPEG = HostTest;

Bytes Text(const std::string& text) { return {text.begin(), text.end()}; }

// Of 210 bytes; its size counts 7 bits a byte.
Bytes ID3v2Tag() { return Resized(Text("ID3\4") + Bytes(4) + Bytes{1, 200 - 128}, 210); }

// The data of the chunk at a position, and after it the next position.
Bytes TakeChunk(const Bytes& file, size_t& position) {
    const auto size = static_cast<size_t>(base::Load<uint64_t>(file.data() + position + 16));
    const Bytes data = Slice(file, position + 24, position + size);
    position += (size + 7) / 8 * 8;
    return data;
}

Bytes Wave64(const Bytes& stream, uint16_t blockAlign = 1) {
    Bytes format = Wave64Bytes::FmtBody(85, 2, 44100, 0);
    base::Store<uint32_t>(format.data() + 8, 16000);
    base::Store<uint16_t>(format.data() + 12, blockAlign);
    return Wave64Bytes().Chunk("fmt ", format).Data(stream).File();
}

}  // namespace

TEST_F(MPEG, IsWrappedAsItIsAndDecodesToTheSameSamples) {
    const struct {
        int rate;
        int channels;
        const char* quality;
        std::string kind;
        uint32_t bytesPerSecond;  // 0: varies
        uint16_t blockAlign;
        uint32_t samplesPerMPEGFrame;
    } cases[] = {
        {44100, 2, "128", "mp3", 16000, 1, 1152},
        {44100, 2, "-2", "mp3", 0, 1, 1152},
        {16000, 1, "32", "mp3", 4000, 1, 576},
        {48000, 2, "192", "mp2", 24000, 576, 1152},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.rate << " Hz " << c.quality << " " << c.kind);
        const Bytes stream = Encoded(c.rate, c.channels, c.quality, c.kind);
        const Bytes audio = DecodedAtOnce(stream);
        const size_t frameBytes = 4 * static_cast<size_t>(c.channels);
        const size_t frames = audio.size() / frameBytes;
        shop.Write("song.bin", ID3v2Tag() + stream + Resized(Text("TAGTitle"), 128));

        EXPECT_EQ(shop.Do("w64 encode -f song.bin a.w64 --padding 0 && w64 check -q a.w64").errors, "");
        EXPECT_EQ(shop.Tags("a.w64"), "Genre=Blues, Title=Title");
        const Bytes file = shop.Read("a.w64");
        size_t position = 40;
        const Bytes format = TakeChunk(file, position);
        EXPECT_EQ(base::Load<uint32_t>(TakeChunk(file, position).data()), frames);
        TakeChunk(file, position);  // the tags
        EXPECT_TRUE(TakeChunk(file, position) == stream);

        const auto number = [&](size_t at) { return base::Load<uint16_t>(format.data() + at); };
        const auto bytesPerSecond = base::Load<uint32_t>(format.data() + 8);
        const double average = static_cast<double>(stream.size()) * c.rate / static_cast<double>(frames);
        EXPECT_NEAR(bytesPerSecond, average, 0.02 * average);
        EXPECT_TRUE(c.bytesPerSecond == 0 || bytesPerSecond == c.bytesPerSecond) << bytesPerSecond;
        EXPECT_EQ(number(12), c.blockAlign);
        const std::string encoding = JsonAt(shop.Do("w64 info --json a.w64").output, "/0/encoding");
        if (c.kind == "mp3") {
            EXPECT_EQ(std::tuple(format.size(), number(0), encoding), std::tuple(30u, 85, "MPEG Layer 3"));
            EXPECT_EQ(number(24), c.samplesPerMPEGFrame * bytesPerSecond / static_cast<uint32_t>(c.rate));
            EXPECT_EQ(number(28), c.bytesPerSecond == 0 ? 576 : 0);  // LAME's
        } else {
            EXPECT_EQ(std::tuple(format.size(), number(0), encoding),
                      std::tuple(40u, 80, "MPEG Layer 1 or 2"));
            EXPECT_EQ(number(18), 2);
            EXPECT_EQ(base::Load<uint32_t>(format.data() + 20), 192000u);
        }

        EXPECT_EQ(shop.Do("w64 decode -qf a.w64 && w64 decode a.w64 -o - | cat >pipe.wav &&"
                          "w64 decode a.w64 -qfo part.raw --start 0.25 --end 12000f")
                      .errors,
                  "");
        SoundFile wav(shop.Path() / "a.wav");
        EXPECT_EQ(wav.Kind(), SF_FORMAT_FLOAT);
        EXPECT_TRUE(wav.ReadRaw() == audio);
        EXPECT_TRUE(shop.Read("pipe.wav") == shop.Read("a.wav"));
        EXPECT_EQ(ReadText(shop.Path() / "a.wav").find("PEAK"), std::string::npos);  // none are known
        const size_t start = static_cast<size_t>(c.rate) / 4;
        EXPECT_TRUE(shop.Read("part.raw") == Slice(audio, start * frameBytes, 12000 * frameBytes));
        shop.ExpectRefused({{"decode a.w64 -fo part.raw --start 100", 1,
                             " (" + Grouped(audio.size() / frameBytes) + " frames)\n"}});
    }
}

TEST_F(MPEG, AStreamCutInAFrameKeepsItsWholeFrames) {
    const Bytes whole = Encoded(44100, 2, "128");
    const Bytes stream = Slice(whole, 0, whole.size() - 100);
    shop.Write("a.mp3", stream);
    shop.Write("b.w64", Wave64(stream));
    const Bytes blocks = Wave64(stream, 1152);  // the last one is not whole
    shop.Write("c.w64", blocks);
    EXPECT_HAS("after the MPEG audio: no whole MPEG frame", shop.Do("w64 encode a.mp3 a.w64").errors);
    EXPECT_HAS("w64: b.w64: note: Skipped", shop.Do("w64 decode *.w64 --format raw").errors);
    EXPECT_HAS(", lost 0 bytes", shop.Do("w64 decode --salvage c.w64 -o d.raw").errors);
    for (const char* name : {"a.raw", "b.raw", "c.raw", "d.raw"})
        EXPECT_TRUE(shop.Read(name) == DecodedAtOnce(stream)) << name;

    // Cut off within a block: all packets that are there.
    shop.Write("e.w64", Resized(blocks, blocks.size() - 3000));
    shop.ExpectRefused({{"decode e.w64 -o e.raw", 1, "--salvage keeps what it still holds"}});
    shop.Do("w64 decode --salvage e.w64 -o e.raw");
    const size_t audioAt = (blocks.size() - stream.size()) / 8 * 8;
    EXPECT_TRUE(shop.Read("e.raw") == DecodedAtOnce(Slice(blocks, audioAt, blocks.size() - 3000)));
}

TEST_F(MPEG, IsDecodedWhereAConversionIsAskedForAndRefusedWhereItIsNoSingleStream) {
    shop.Write("two.mp3", Encoded(44100, 2, "128") + Encoded(32000, 2, "128"));
    shop.Write("one.mp3", Encoded(44100, 2, "128"));
    shop.Do("w64 encode one.mp3 16.w64 --bits 16 && w64 encode one.mp3 float.w64 --float");
    EXPECT_EQ(SoundFile(shop.Path() / "16.w64").Kind(), SF_FORMAT_PCM_16);
    EXPECT_EQ(SoundFile(shop.Path() / "float.w64").Kind(), SF_FORMAT_FLOAT);
    shop.Write("text.mp3", Text("no audio at all"));
    shop.Write("pcm.w64", Wave64(Pattern(100'000)));
    shop.Write("byte.w64", Wave64({0xFF}));
    shop.Write("wide.w64", Wave64(Pattern(100'000), 65535));
    shop.ExpectRefused({{"encode two.mp3 a.w64", 1, "changes its rate or channels at "},
                        {"encode text.mp3 a.w64", 1, "w64: text.mp3: is not an audio file"},
                        {"decode pcm.w64", 1, "no MPEG audio found"},
                        {"decode byte.w64", 1, "no MPEG audio found"},
                        {"decode wide.w64", 1, "no MPEG audio found"}});
}

TEST_F(MPEG, ASubDecoderThatIsMissingOrWrongIsNamed) {
    shop.Write("a.w64", Wave64(Encoded(44100, 2, "128")));
    shop.Do("cp \"$(dirname \"$(command -v w64)\")\"/w64* .");
    const std::pair<const char*, const char*> cases[] = {
        {"true", "Error loading external Decoder"},
        {"echo text > mp3.dll", "Error loading external Decoder"},
        {"cp w64.dll mp3.dll", "Error opening external Decoder"},  // has all functions but takes no packets
    };
    for (const auto& [install, error] : cases) {
        const std::string errors = shop.Run(std::string(install) + " && ./w64 decode a.w64").errors;
        EXPECT_HAS(error, errors);
        EXPECT_HAS("MPEG audio is decoded by mp3.dll in the folder of w64", errors);
    }
}

}  // namespace w64
