#include "Formats.h"
#include "audio/buffer/XAudioDataStream.h"
#include "audio/buffer/XAudioMaintainBuffer.h"

#include <numeric>

namespace w64 {

namespace {

const XAudioWFX kFormat(2, 44100, 16);

Bytes Counting(size_t size) {
    Bytes bytes(size);
    std::iota(bytes.begin(), bytes.end(), uint8_t{1});
    return bytes;
}

TEST(XAudioBuffer, BorrowsInPlaceAndCopiesOtherwise) {
    Bytes data = Counting(16);
    XAudioBufferNew borrowed(data.data(), 16, kFormat, true);
    const XAudioBufferNew view(true, borrowed);
    const XAudioBufferNew copies[] = {{data.data(), 16, kFormat, false}, {false, borrowed}, borrowed};
    EXPECT_EQ(view.BufferStart(), data.data());
    std::fill(data.begin(), data.end(), uint8_t{0});
    for (const XAudioBufferNew& copy : copies) EXPECT_EQ(Used(copy), Counting(16));
}

TEST(XAudioBuffer, SizesAreRefusedOrCutAndOnlyTheRestIsSilenced) {
    Bytes data = Counting(16);
    XAudioBufferNew buffer(data.data(), 16, XAudioWFX(2, 44100, 8), true);
    EXPECT_FALSE(buffer.SetBufferByteSizeNew(-1, true, true));
    ASSERT_TRUE(buffer.SetBufferByteSizeNew(2, true, true) && buffer.SetBufferByteSizeNew(4, true, true));
    buffer.SetUsedByte(100);
    EXPECT_EQ(Used(buffer), (Bytes{1, 2, 0x80, 0x80}));
    buffer.SetPosByte(100);
    EXPECT_EQ(buffer.PosLeftByte(), 0);
}

TEST(XAudioBuffer, CopiesFramesInAndOut) {
    Bytes data = Counting(16);
    Bytes memory(8, 0);
    XAudioBufferNew buffer(memory.data(), 8, kFormat, true);
    ASSERT_TRUE(buffer.CopyToBuffer(data.data(), 1, 3, 1));  // fits into the borrowed memory
    ASSERT_TRUE(buffer.CopyToBuffer(data.data(), 2, 0, 1));  // does not fit
    ASSERT_TRUE(buffer.CopyToBuffer(data.data(), 1, 0, 4));  // would leave a gap: nothing happens
    EXPECT_EQ(memory, (Bytes{0, 0, 0, 0, 13, 14, 15, 16}));
    EXPECT_EQ(Used(buffer), (Bytes{0, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8}));
    buffer.CopyFromBuffer(data.data(), 2, 1, 1);
    buffer.CopyFromBuffer(data.data(), 2, 0, 2);  // beyond the capacity: nothing happens
    EXPECT_EQ(data, (Bytes{1, 2, 3, 4, 1, 2, 3, 4, 5, 6, 7, 8, 13, 14, 15, 16}));
}

TEST(XAudioBufferNew, OfItselfBeginsAgainAndOwnsWhatItHadBorrowed) {
    Bytes data = Counting(8);
    XAudioBufferNew buffer(data.data(), 8, kFormat, true);
    buffer.SetPosByte(4);
    ASSERT_TRUE(buffer.InitializeBuffer(true, buffer));
    EXPECT_TRUE(buffer.BufferStart() == data.data() && buffer.PosLeftByte() == 8);
    ASSERT_TRUE(buffer.InitializeBuffer(false, buffer));
    EXPECT_NE(buffer.BufferStart(), data.data());
    EXPECT_EQ(Used(buffer), data);
}

TEST(XAudioDataStream, PiecesOfAnySizeGiveTheWhole) {
    Bytes audio = Counting(20000);
    std::mt19937 random(1);
    for (int run = 0; run < 50; ++run) {
        Bytes out;
        XAudioDataStream stream;
        for (size_t added = 0; added < audio.size() || stream.BytesRemaining() > 0;) {
            const size_t begin = added - std::min<size_t>(added, random() % 3);  // already read
            const size_t end = std::min<size_t>(added + random() % 700, audio.size());
            XAudioBufferNew buffer(audio.data() + begin, static_cast<int64_t>(end - begin), kFormat, true);
            buffer.SetPosByte(static_cast<int64_t>(added - begin));
            ASSERT_TRUE(stream.AddData(buffer, random() % 2 == 0));
            added = end;
            const Bytes piece = Used(stream.GetDataFrom(random() % 4 == 0 ? 0xFFFFFFFF : random() % 600));
            out.insert(out.end(), piece.begin(), piece.end());
            ASSERT_EQ(stream.BytesRemaining(), static_cast<int64_t>(added - out.size()));
        }
        ASSERT_EQ(out, audio) << "run " << run;
    }
}

TEST(XAudioDataStream, TakesTheFormatAndBorrowsWithoutCopying) {
    Bytes data = Counting(8);
    XAudioBufferNew buffer(data.data(), 8, kFormat, true);
    XAudioDataStream stream;
    ASSERT_TRUE(stream.AddData(buffer, true));
    EXPECT_EQ(stream.GetDataFrom(4).BufferStart(), data.data());
    ASSERT_TRUE(stream.InPlaceOptimizeBuffer(100));  // the borrowed block may go now
    std::fill(data.begin(), data.end(), uint8_t{0});
    EXPECT_EQ(Used(stream.GetDataFrom(0xFFFFFFFF)), (Bytes{5, 6, 7, 8}));
    buffer.SetBitsPerSample(0, true);
    ASSERT_TRUE(stream.AddData(buffer, false));
    EXPECT_EQ(stream.WFXToString(), kFormat.WFXToString()) << "0 bits are no format to take";
}

TEST(XAudioMaintainBuffer, KeepsTheNewestBytes) {
    const Bytes audio = Counting(200000);
    for (const size_t step : {999U, 70000U, 200000U}) {  // the last is longer than the buffer
        XAudioMaintainBuffer buffer;
        ASSERT_TRUE(buffer.Create(1000, kFormat));
        for (size_t end = step; end - step < audio.size(); end += step) {
            const Bytes part = Slice(audio, end - step, end);
            buffer.AddData(part.data(), std::ssize(part));
            const size_t held = std::min<size_t>(std::min(end, audio.size()), 176400);
            const Bytes newest(buffer.BufferStart(), buffer.BufferStart() + buffer.GetUsedByte());
            ASSERT_TRUE(newest == Slice(audio, std::min(end, audio.size()) - held, end));
        }
    }
}

}  // namespace

}  // namespace w64
