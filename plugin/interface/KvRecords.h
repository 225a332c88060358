#pragma once

#include <cstddef>
#include <cstdint>

// The records that cross the plug-in boundary, in both directions: between a host and this plug-in, and
// between this plug-in and the sub-decoder that it drives. Little-endian, tightly packed: 64-bit members lie
// at offsets that are no multiple of eight, so members are read and written by value, never by reference.
// Owner: the caller owns the record. What a plug-in's pointers lead to is the plug-in's, valid until the next
//        call of the same kind; the caller never frees it.

#pragma pack(push, 1)

// A WAVE format record: the first 18 bytes of a WAVEFORMATEX, or 40 of a WAVEFORMATEXTENSIBLE. Bytes beyond
// the form that was written are left as they were.
struct STKvWaveFormat {
    uint8_t Bytes[40];
};

struct STKvAudioInfo {
    STKvWaveFormat WaveFormat;   // of the audio that DecodeBlock delivers
    uint32_t BitRate;            // bits per second of the stored audio
    int64_t LengthMilliseconds;  // of the decode range
    int64_t LengthBytes;         // of the decode range, in stored bytes
    uint64_t HostValue;          // never written
};

// Flags of STKvOpenDecoder; each asks for one thing.
enum KvOpenFlag : uint32_t {
    kvOpenDecode = 1,       // prepare for decoding; fills the audio information too
    kvOpenPackets = 2,      // the caller feeds packets instead of naming a file
    kvOpenAudioInfo = 4,    // fill the audio information
    kvOpenTags = 8,         // read the tags
    kvOpenProperties = 16,  // build the property report
};

struct STKvOpenDecoder {
    const wchar_t* FileName;  // in, ended by NUL
    uint32_t OpenFlags;       // in
    STKvAudioInfo AudioInfo;  // out
    void* TagData;            // out, a packed tag block
    uint32_t TagDataSize;     // out, bytes
    void* Properties;         // out, a packed tag block with one entry per section
    uint32_t PropertiesSize;  // out, bytes
};

struct STKvAudioBlock {
    void* Data;                 // out (in, for a sub-decoder fed with packets)
    uint32_t DataSize;          // bytes
    STKvWaveFormat WaveFormat;  // of these bytes
    uint32_t BitRate;           // bits per second of the stored audio
    int64_t DurationMilliseconds;
    uint8_t HostBytes[16];         // never written
    int64_t PositionMilliseconds;  // of the start of this block within the decode range
    uint32_t EndOfStream;  // 1: no data follows this block (in, for a sub-decoder: this is the last packet)
};

struct STKvCodecGetSet {
    int32_t Index;
    int32_t Value;       // setting of an option, or bytes of the tag block
    int64_t RangeStart;  // frames
    int64_t RangeEnd;    // frames; -1: to the end
    const wchar_t* Text1;
    const wchar_t* Text2;
    const wchar_t* Text3;
    void* TagData;
};

// Opaque to a decoder; only passed on.
struct STKvEncoderFluid;

#pragma pack(pop)

static_assert(sizeof(STKvAudioInfo) == 68 && offsetof(STKvAudioInfo, LengthMilliseconds) == 44);
static_assert(sizeof(STKvOpenDecoder) == 104 && offsetof(STKvOpenDecoder, TagData) == 80 &&
              offsetof(STKvOpenDecoder, Properties) == 92);
static_assert(sizeof(STKvAudioBlock) == 92 && offsetof(STKvAudioBlock, DurationMilliseconds) == 56 &&
              offsetof(STKvAudioBlock, PositionMilliseconds) == 80);
static_assert(sizeof(STKvCodecGetSet) == 56 && offsetof(STKvCodecGetSet, TagData) == 48);

// The entry points of a decoder plug-in; each is exported under the name of its type without "Kv...Fn".
struct STNStdReport;
extern "C" {
using KvCreateFn = void* (*)(STNStdReport*);
using KvDestroyFn = int32_t (*)(void*);
using KvOpenFn = int32_t (*)(void*, STKvOpenDecoder*);
using KvCloseFn = int32_t (*)(void*, STKvEncoderFluid*);
using KvDecodeBlockFn = int32_t (*)(void*, STKvAudioBlock*);
using KvSetPositionFn = int32_t (*)(void*, int64_t);
using KvGetFn = int32_t (*)(void*, const wchar_t*, STKvCodecGetSet*);
using KvSetFn = int32_t (*)(void*, const wchar_t*, STKvCodecGetSet*);
using KvDeleteATagFn = int32_t (*)(void*, const wchar_t*, const wchar_t*);
using KvSetModulePathFn = void (*)(const wchar_t*);
}
