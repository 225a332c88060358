#include "Formats.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <memory>
#include <vector>

namespace {

constexpr int64_t kMost = std::numeric_limits<int64_t>::max();

TEST(XAudioWFX, ShortFormsAreCompleted) {
    const struct {
        unsigned size;
        int channels, blockAlign, storedBits, bits;
    } cases[] = {
        {14, 2, 4, 24, 16}, {14, 0, 4, 24, 16}, {14, 1, 1, 24, 8}, {14, 3, 65535, 0, 43688},
        {15, 2, 4, 24, 0},  {16, 2, 4, 24, 24}, {17, 2, 4, 24, 0}, {18, 2, 4, 24, 24},
    };
    for (const auto& c : cases) {
        tWAVEFORMATEX record = *Format(kTagALaw, c.channels, c.storedBits).wfx();
        record.nBlockAlign = static_cast<uint16_t>(c.blockAlign);
        const XAudioWFX format(&record, c.size);
        EXPECT_EQ(format.BitsPerSample(), c.bits) << c.size << " bytes, " << c.channels << " channels";
        EXPECT_EQ(format.Channels(), c.channels);
        EXPECT_EQ(format.BlockAlign(), c.blockAlign);
    }
    for (const unsigned size : {0U, 13U}) {
        std::vector<uint8_t> bytes(size, 0xFF);
        const XAudioWFX format(bytes.data(), size);
        EXPECT_EQ(format.FormatTag(), 0);
        EXPECT_EQ(format.AvgBytesPerSec(), 1U);
        EXPECT_EQ(format.BlockAlign(), 1);
    }
}

TEST(XAudioWFX, ExtraBytesNeverReachPastThePayload) {
    for (const int claimed : {2, 3, 10, 65535}) {
        std::vector<uint8_t> payload(20, 0xAB);  // exactly 20, so that reading on is noticed
        tWAVEFORMATEX record = *Format(kTagADPCM, 2, 4).wfx();
        record.cbSize = static_cast<uint16_t>(claimed);
        std::memcpy(payload.data(), &record, sizeof record);
        const XAudioWFX format(payload.data(), 20);
        const int kept = claimed == 2 ? 2 : 0;
        EXPECT_EQ(format.wfx()->cbSize, kept) << claimed;
        EXPECT_EQ(payload[16] + payload[17] * 256, kept) << "in the caller's bytes";
        EXPECT_EQ(format.GetExtraData() != nullptr, kept != 0);
        EXPECT_TRUE(!kept || format.GetExtraData()[1] == 0xAB);
    }
}

TEST(XAudioWFX, DerivedFieldsOfLinearFormatsFollow) {
    for (const int tag : {kTagPCM, kTagFloat, kTagALaw}) {
        tWAVEFORMATEX record = *Format(tag, 2, 32).wfx();
        record.nBlockAlign = 0;
        record.nAvgBytesPerSec = 0;
        const XAudioWFX format(&record);
        const bool linear = tag != kTagALaw;
        EXPECT_EQ(format.BlockAlign(), linear ? 8 : 1) << tag;
        EXPECT_EQ(format.AvgBytesPerSec(), linear ? 352800U : 1U) << tag;
    }
    // The product passes 2^31 and is read as negative.
    EXPECT_EQ(Format(kTagPCM, 65535, 65535).BlockAlign(), 0xC001);
    EXPECT_EQ(XAudioWFX(-1, -1, -1).SamplesPerSec(), 0xFFFFFFFFU);
}

TEST(XAudioWFX, EffectiveTagOfSubFormats) {
    for (const uint16_t tag :
         {kTagPCM, kTagFloat, kTagALaw, kTagMuLaw, kTagADPCM, kTagMPEG, kTagMPEGLayer3}) {
        XAudioWFX format = Extensible(SubFormatOfTag(tag), 2, 16);
        const bool known = tag != kTagMPEGLayer3;
        EXPECT_EQ(format.WFXFormatTag(), known ? tag : kTagExtensible);
        XAudioWFX settable = Extensible(KSDATAFORMAT_SUBTYPE_PCM, 2, 16);
        settable.SetWFXFormatTag(tag);
        EXPECT_EQ(settable.WFXFormatTag(), known && tag != kTagMPEG ? tag : kTagPCM);
        EXPECT_EQ(settable.FormatTag(), kTagExtensible);
        EXPECT_EQ(format.ConvertExtensibleToWFX(), known);
        EXPECT_EQ(format.FormatTag(), known ? tag : kTagExtensible);
    }
    XAudioWFX plain(2, 44100, 16);
    plain.SetWFXFormatTag(80);
    EXPECT_EQ(plain.FormatTag(), 80);
}

TEST(XAudioWFX, ExtensibleFieldsFollowWhatChanges) {
    XAudioWFX format = Extensible(KSDATAFORMAT_SUBTYPE_PCM, 2, 16);
    EXPECT_EQ(format.wfxex()->dwChannelMask, 0x80000000U);
    format.SetChannels(2, true);
    EXPECT_EQ(format.wfxex()->dwChannelMask, 0x80000000U);
    format.SetChannels(6, true);
    EXPECT_EQ(format.wfxex()->dwChannelMask, 0U);
    format.SetBitsPerSample(24, true);
    EXPECT_EQ(format.wfxex()->wValidBitsPerSample, 24);
    EXPECT_EQ(format.BlockAlign(), 18);
    EXPECT_EQ(format.AvgBytesPerSec(), 793800U);
    XAudioWFX coded = Extensible(KSDATAFORMAT_SUBTYPE_ALAW, 2, 16);
    coded.SetBitsPerSample(8, false);
    EXPECT_EQ(coded.wfxex()->wValidBitsPerSample, 16);
}

TEST(XAudioWFX, ConvertsBetweenPlainAndExtensible) {
    struct {
        WAVEFORMATEXTENSIBLE record;
        uint8_t extra[3] = {7, 8, 9};
    } stored;
    stored.record = *Extensible(KSDATAFORMAT_SUBTYPE_ADPCM, 2, 4).wfxex();
    stored.record.Format.cbSize = 25;
    stored.record.Format.nBlockAlign = 1024;
    XAudioWFX format(&stored.record);
    ASSERT_TRUE(format.ConvertExtensibleToWFX());
    EXPECT_EQ(format.wfx()->cbSize, 3);
    EXPECT_EQ(format.BlockAlign(), 1024);
    EXPECT_EQ(std::memcmp(format.GetExtraData(), stored.extra, 3), 0);
    EXPECT_FALSE(format.ConvertWFXToExtensible());  // no linear format
    EXPECT_FALSE(format.ConvertExtensibleToWFX());  // no extensible one any more
    format.RemoveAnyExtra();
    EXPECT_EQ(format.GetExtraData(), nullptr);

    XAudioWFX floats = Format(kTagFloat, 2, 32);
    ASSERT_TRUE(floats.ConvertWFXToExtensible());
    EXPECT_TRUE(floats.IsExtensibleGUID(&KSDATAFORMAT_SUBTYPE_IEEE_FLOAT));
    EXPECT_TRUE(floats.ConvertWFXToExtensible());
    ASSERT_TRUE(floats.ConvertExtensibleToWFX());
    EXPECT_EQ(floats.WFXToString(), Format(kTagFloat, 2, 32).WFXToString());
}

TEST(XAudioWFX, CopiesOwnTheirRecordAtAnyAlignment) {
    auto original = std::make_unique<XAudioWFX>(Extensible(KSDATAFORMAT_SUBTYPE_PCM, 2, 16));
    XAudioWFX copy(2, 8000, 8);
    copy = *original;
    const tWAVEFORMATEX* held = copy.wfx();
    copy.SetChannels(6, false);
    copy.Assign(copy);
    EXPECT_EQ(copy.BlockAlign(), 4) << "its own record is left alone";
    copy.Assign(*original);
    EXPECT_EQ(copy.wfx(), held) << "an equal record needs no new memory";
    uint8_t bytes[41];
    std::memcpy(bytes + 1, original->wfxex(), 40);
    original.reset();
    const XAudioWFX odd(bytes + 1, 40);
    EXPECT_EQ(odd.WFXToString(), copy.WFXToString());
    EXPECT_EQ(copy.WFXFormatTag(), kTagPCM);
}

TEST(XAudioWFX, TextForm) {
    EXPECT_EQ(XAudioWFX(2, 44100, 16).WFXToString(),
              L"Format Tag: 1  Channels: 2  Bits per Sample: 16  Samples Per Second: 44100"
              L"  Bytes Per Second: 176400  Block Align: 4  CB Size: 0");
    EXPECT_EQ(Extensible(KSDATAFORMAT_SUBTYPE_IEEE_FLOAT, 1, 32).WFXToString(),
              L"Format Tag: 65534  Channels: 1  Bits per Sample: 32  Samples Per Second: 44100"
              L"  Bytes Per Second: 176400  Block Align: 4  CB Size: 22  Extensible Sub-Format: 3");
}

TEST(XAudioWFX, SizeAndTimeArithmetic) {
    XAudioWFX format(2, 44100, 16);
    EXPECT_EQ(format.CalcmsTime(176400), 1000);
    EXPECT_EQ(format.CalcmsTime(kMost), kMost / 176400);
    EXPECT_EQ(format.CalcBufferSize(1001), 176576);
    EXPECT_EQ(format.CalcBufferSize(kMost), kMost / 1000 / 4 * 4);
    EXPECT_EQ(format.BlockAlignBuffer(70001), 70000);
    EXPECT_EQ(format.ChannelAlignSamples(7), 6);
    EXPECT_EQ(format.SamplesToBytes_RAW(3), 6);
    EXPECT_EQ(format.BytesToSamples_RAW(7), 3);
    EXPECT_EQ(format.SamplesToBytes_DivChan(3), 12);
    EXPECT_EQ(format.SamplesToBytes_DivChan(-kMost), std::numeric_limits<int64_t>::min());
    EXPECT_EQ(format.BytesToSamples_DivChan(15), 3);

    XAudioWFX zero = Format(kTagADPCM, 0, 4);
    zero.SetAvgBytesPerSec(0);
    zero.SetBlockAlign(0);
    EXPECT_EQ(zero.CalcmsTime(5), 5000);
    EXPECT_EQ(zero.BlockAlignBuffer(5), 5);
    EXPECT_EQ(zero.SamplesToBytes_RAW(5), 5);  // less than a byte counts as one
    EXPECT_EQ(zero.SamplesToBytes_DivChan(5), 0);
    EXPECT_EQ(zero.BytesToSamples_DivChan(5), 5);
    EXPECT_EQ(zero.WFXToString(), L"Format Tag: 2  Channels: 1  Bits per Sample: 4  Samples Per Second: 44100"
                                  L"  Bytes Per Second: 1  Block Align: 1  CB Size: 0");
}

}  // namespace
