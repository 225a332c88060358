#include "Formats.h"

#include <cstring>
#include <tuple>

namespace w64 {

namespace {

TEST(XAudioWFX, ShortFormsAreCompleted) {
    const std::tuple<unsigned, int, uint16_t, int> cases[] = {
        {14, 2, 4, 16}, {14, 0, 4, 16}, {14, 3, 65535, 43688}, {15, 2, 4, 0}, {16, 2, 4, 24}, {17, 2, 4, 0},
    };
    for (const auto& [size, channels, blockAlign, bits] : cases) {
        tWAVEFORMATEX record = *Format(kTagALaw, channels, 24).wfx();
        record.nBlockAlign = blockAlign;
        EXPECT_EQ(XAudioWFX(&record, size).BitsPerSample(), bits) << size << ", " << channels << " channels";
    }
    EXPECT_EQ(XAudioWFX(Bytes(13, 0xFF).data(), 13).FormatTag(), 0);
}

TEST(XAudioWFX, ExtraBytesNeverReachPastThePayload) {
    for (const int claimed : {2, 3, 65535}) {
        Bytes payload(20, 0xAB);  // exactly 20, so that AddressSanitizer sees a read past them
        tWAVEFORMATEX record = *Format(kTagADPCM, 2, 4).wfx();
        record.cbSize = static_cast<uint16_t>(claimed);
        std::memcpy(payload.data(), &record, sizeof record);
        const XAudioWFX format(payload.data(), 20);
        const int kept = claimed == 2 ? 2 : 0;
        EXPECT_EQ(format.wfx()->cbSize, kept) << claimed;
        EXPECT_EQ(payload[16] + payload[17] * 256, kept) << "in the caller's bytes";
        EXPECT_TRUE(kept ? format.GetExtraData()[1] == 0xAB : !format.GetExtraData());
    }
}

TEST(XAudioWFX, DerivedFieldsOfLinearFormatsFollow) {
    for (const int tag : {kTagPCM, kTagFloat, kTagALaw}) {
        tWAVEFORMATEX record = *Format(tag, 2, 32).wfx();
        record.nAvgBytesPerSec = record.nBlockAlign = 0;
        const XAudioWFX format(&record);
        EXPECT_EQ(format.BlockAlign(), tag != kTagALaw ? 8 : 1) << tag;
        EXPECT_EQ(format.AvgBytesPerSec(), tag != kTagALaw ? 352800U : 1U) << tag;
    }
    EXPECT_EQ(Format(kTagPCM, 65535, 65535).BlockAlign(), 0xC001) << "past 2^31 it is read as negative";
}

TEST(XAudioWFX, EffectiveTagOfSubFormats) {
    for (const uint16_t tag :
         {kTagPCM, kTagFloat, kTagALaw, kTagMuLaw, kTagADPCM, kTagMPEG, kTagMPEGLayer3}) {
        XAudioWFX format = Extensible(SubFormatOfTag(tag), 2, 16);
        const bool known = tag != kTagMPEGLayer3;
        EXPECT_EQ(format.WFXFormatTag(), known ? tag : kTagExtensible);
        EXPECT_EQ(format.ConvertExtensibleToWFX(), known);
        XAudioWFX settable = Extensible(KSDATAFORMAT_SUBTYPE_PCM, 2, 16);
        settable.SetWFXFormatTag(tag);
        EXPECT_EQ(settable.WFXFormatTag(), known && tag != kTagMPEG ? tag : kTagPCM);
    }
}

TEST(XAudioWFX, ExtensibleFieldsFollowWhatChanges) {
    XAudioWFX format = Extensible(KSDATAFORMAT_SUBTYPE_PCM, 2, 16);
    format.SetChannels(2, true);
    EXPECT_EQ(format.wfxex()->dwChannelMask, 0x80000000U);
    format.SetChannels(6, true);
    EXPECT_EQ(format.wfxex()->dwChannelMask, 0U);
    format.SetBitsPerSample(24, true);
    EXPECT_EQ(format.wfxex()->wValidBitsPerSample, 24);
    XAudioWFX silent = Extensible(KSDATAFORMAT_SUBTYPE_PCM, 0, 16);
    EXPECT_TRUE(silent.ChannelAlignSamples(5) == 5 && silent.Channels() == 1);
    EXPECT_EQ(XAudioWFX(2, 44100, 16).ChannelAlignSamples(5), 4);
    EXPECT_EQ(format.WFXToString(),
              L"Format Tag: 65534  Channels: 6  Bits per Sample: 24  Samples Per Second: 44100"
              L"  Bytes Per Second: 793800  Block Align: 18  CB Size: 22  Extensible Sub-Format: 1");
}

TEST(XAudioWFX, ConvertsBetweenPlainAndExtensible) {
    struct {
        WAVEFORMATEXTENSIBLE record = *Extensible(KSDATAFORMAT_SUBTYPE_ADPCM, 2, 4).wfxex();
        uint8_t extra[3] = {7, 8, 9};
    } stored;
    stored.record.Format.cbSize = 25;
    stored.record.Format.nBlockAlign = 1024;
    XAudioWFX format(&stored.record);
    ASSERT_TRUE(format.ConvertExtensibleToWFX());
    EXPECT_EQ(format.wfx()->cbSize, 3);
    EXPECT_EQ(format.BlockAlign(), 1024);
    EXPECT_EQ(std::memcmp(format.GetExtraData(), stored.extra, 3), 0);
    EXPECT_FALSE(format.ConvertWFXToExtensible());  // not linear

    XAudioWFX floats = Format(kTagFloat, 2, 32);
    ASSERT_TRUE(floats.ConvertWFXToExtensible());
    ASSERT_TRUE(floats.ConvertExtensibleToWFX());
    EXPECT_EQ(floats.WFXToString(), Format(kTagFloat, 2, 32).WFXToString());
}

}  // namespace

}  // namespace w64
