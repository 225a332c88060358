#include "Formats.h"
#include "audio/XAudioDataStream.h"
#include "audio/XAudioMaintainBuffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

Bytes Counting(size_t size) {
    Bytes bytes(size);
    std::iota(bytes.begin(), bytes.end(), uint8_t{1});
    return bytes;
}

Bytes Used(const XAudioBufferNew& buffer) {
    return {buffer.BufferStart(), buffer.BufferStart() + buffer.GetUsedByte()};
}

class XAudioBuffer : public testing::Test {
protected:
    XAudioWFX format{2, 44100, 16};
    Bytes data = Counting(16);
};

TEST_F(XAudioBuffer, BorrowsInPlaceAndCopiesOtherwise) {
    XAudioBufferNew borrowed(data.data(), 16, format, true);
    XAudioBufferNew copied(data.data(), 16, format, false);
    XAudioBufferNew view(true, borrowed);
    const XAudioBufferNew copyOfBorrowed(borrowed);
    EXPECT_EQ(borrowed.BufferStart(), data.data());
    EXPECT_EQ(view.BufferStart(), data.data());
    EXPECT_NE(copied.BufferStart(), data.data());
    const Bytes before = data;
    std::fill(data.begin(), data.end(), uint8_t{0});
    EXPECT_EQ(Used(view), data);
    EXPECT_EQ(Used(copied), before);
    EXPECT_EQ(Used(copyOfBorrowed), before);
    EXPECT_EQ(copied.GetUsedSample(), 4);
}

TEST_F(XAudioBuffer, SizingReusesMemoryAndSilencesOnlyWhenAsked) {
    XAudioBufferNew buffer(data.data(), 16, format, false);
    const uint8_t* memory = buffer.BufferStart();
    ASSERT_TRUE(buffer.SetBufferByteSizeNew(8, false, false));
    EXPECT_EQ(buffer.BufferStart(), memory);
    EXPECT_EQ(buffer.GetUsedByte(), 0);
    EXPECT_EQ(memory[7], 8);
    ASSERT_TRUE(buffer.InitializeBuffer(data.data(), 16, format, false, true));
    ASSERT_TRUE(buffer.SetBufferByteSizeNew(12, true, true));
    EXPECT_EQ(Used(buffer), Bytes(data.begin(), data.begin() + 12));
    ASSERT_TRUE(buffer.SetBufferSize(4, Format(kTagPCM, 2, 8), true, false));
    EXPECT_EQ(buffer.TotalSamples(), 4);
    EXPECT_EQ(buffer.BufferStart()[7], 0x80);
    buffer.SetBitsPerSample(16, true);
    buffer.SilenceBuffer();
    EXPECT_EQ(buffer.BufferStart()[7], 0);
}

TEST_F(XAudioBuffer, SizesOutsideTheMemoryAreRefusedOrCut) {
    XAudioBufferNew buffer(data.data(), 16, format, true);
    EXPECT_FALSE(buffer.SetBufferByteSizeNew(-1, true, true));
    buffer.SetUsedByte(100);
    EXPECT_EQ(buffer.GetUsedByte(), 16);
    buffer.SetPosByte(100);
    EXPECT_EQ(buffer.PosLeftByte(), 0);
    buffer.SetUsedSample(-1);
    EXPECT_EQ(buffer.GetUsedByte(), 0);
    EXPECT_EQ(buffer.GetPosByte(), 0);
    EXPECT_FALSE(XAudioBufferNew(data.data(), -4, format, true).IsBufferValid());
    EXPECT_FALSE(XAudioBufferNew(-4, format, true).IsBufferValid());
}

TEST_F(XAudioBuffer, CopiesFramesInAndOut) {
    Bytes memory(8, 0);
    XAudioBufferNew buffer(memory.data(), 8, format, true);
    ASSERT_TRUE(buffer.CopyToBuffer(data.data(), 1, 3, 1));  // fits, so it goes into the lender's memory
    EXPECT_EQ(memory, (Bytes{0, 0, 0, 0, 13, 14, 15, 16}));
    ASSERT_TRUE(buffer.CopyToBuffer(data.data(), 2, 0, 1));  // does not fit
    EXPECT_NE(buffer.BufferStart(), memory.data());
    EXPECT_EQ(Used(buffer), (Bytes{0, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(memory[4], 13);

    const Bytes before = Used(buffer);
    for (const int64_t dstOffset : {int64_t{4}, int64_t{-1}}) {
        EXPECT_TRUE(buffer.CopyToBuffer(data.data(), 1, 0, dstOffset));
    }
    EXPECT_TRUE(buffer.CopyToBuffer(nullptr, 1, 0, 0));
    EXPECT_TRUE(buffer.CopyToBuffer(data.data(), -1, 0, 1));
    EXPECT_EQ(Used(buffer), before);

    buffer.CopyFromBuffer(data.data(), 2, 1, 1);
    EXPECT_EQ(data, (Bytes{1, 2, 3, 4, 1, 2, 3, 4, 5, 6, 7, 8, 13, 14, 15, 16}));
    for (const int64_t srcOffset : {int64_t{2}, int64_t{-1}, INT64_MAX}) {
        buffer.CopyFromBuffer(data.data(), 2, 0, srcOffset);
    }
    EXPECT_EQ(data[0], 1);
}

TEST(XAudioDataStream, PiecesOfAnySizeGiveTheWhole) {
    const Bytes audio = Counting(20000);
    std::mt19937 random(1);
    for (int run = 0; run < 50; ++run) {
        Bytes source = audio;  // borrowed from in turn
        Bytes out;
        XAudioDataStream stream;
        for (size_t added = 0; added < source.size() || stream.BytesRemaining() > 0;) {
            const size_t skipped = random() % 3;
            const size_t begin = added < skipped ? added : added - skipped;  // already read from the buffer
            const size_t end = std::min<size_t>(added + random() % 700, source.size());
            XAudioBufferNew buffer(source.data() + begin, static_cast<int64_t>(end - begin),
                                   XAudioWFX(1, 8000, 8), true);
            buffer.SetPosByte(static_cast<int64_t>(added - begin));
            const int64_t before = stream.BytesRemaining();
            ASSERT_TRUE(stream.AddData(buffer, random() % 2 == 0));
            ASSERT_EQ(stream.BytesRemaining(), before + static_cast<int64_t>(end - added));
            added = end;
            const XAudioBufferNew& view = stream.GetDataFrom(random() % 4 == 0 ? 0xFFFFFFFF : random() % 600);
            const Bytes piece = Used(view);
            out.insert(out.end(), piece.begin(), piece.end());
        }
        ASSERT_EQ(out, audio) << "run " << run;
    }
}

TEST(XAudioDataStream, TakesTheFormatAndBorrowsWithoutCopying) {
    Bytes data = Counting(8);
    XAudioBufferNew buffer(data.data(), 8, XAudioWFX(2, 8000, 16), true);
    XAudioDataStream stream;
    ASSERT_TRUE(stream.AddData(buffer, true));
    const XAudioBufferNew& view = stream.GetDataFrom(4);
    EXPECT_EQ(view.BufferStart(), data.data());
    EXPECT_EQ(view.SamplesPerSec(), 8000U);
    ASSERT_TRUE(stream.InPlaceOptimizeBuffer(100));  // from here on the lender may go
    std::fill(data.begin(), data.end(), uint8_t{0});
    EXPECT_EQ(Used(stream.GetDataFrom(-1)), Bytes());
    EXPECT_EQ(Used(stream.GetDataFrom(0xFFFFFFFF)), (Bytes{5, 6, 7, 8}));
    EXPECT_EQ(stream.BytesRemaining(), 0);
    ASSERT_TRUE(stream.AddData(buffer, false));
    buffer.SetBitsPerSample(0, false);
    buffer.SetSamplesPerSec(1, false);
    ASSERT_TRUE(stream.AddData(buffer, false));
    EXPECT_EQ(stream.SamplesPerSec(), 8000U);
    stream.Clear();
    EXPECT_EQ(stream.BytesRemaining(), 0);
}

TEST(XAudioMaintainBuffer, KeepsTheNewestBytes) {
    const Bytes audio = Counting(200000);
    std::mt19937 random(2);
    for (const unsigned longest : {1000U, 70000U, 200000U}) {
        XAudioMaintainBuffer buffer;
        ASSERT_TRUE(buffer.Create(1000, XAudioWFX(2, 44100, 16)));
        buffer.AddData(nullptr, 5);
        buffer.AddData(audio.data(), -5);
        for (size_t added = 0; added < audio.size();) {
            const size_t bytes =
                std::min<size_t>(longest == 200000 ? longest : random() % longest, audio.size() - added);
            buffer.AddData(audio.data() + added, static_cast<int64_t>(bytes));
            added += bytes;
            const size_t held = std::min<size_t>(added, 176400);
            ASSERT_EQ(buffer.GetUsedByte(), static_cast<int64_t>(held));
            ASSERT_TRUE(std::equal(buffer.BufferStart(), buffer.BufferStart() + held,
                                   audio.begin() + static_cast<ptrdiff_t>(added - held)));
        }
    }
    XAudioMaintainBuffer none;
    EXPECT_FALSE(none.Create(-1000, XAudioWFX(2, 44100, 16)));
}

}  // namespace
