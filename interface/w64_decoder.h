/*
 * w64_decoder.h: the boundary between a host and a decoder plug-in, for C11 and C++.
 *
 * A plug-in is a shared library that exports the functions below by their plain names; a host finds them
 * with dlopen and dlsym. The order of calls for one file:
 *
 *     Create, Get and Set("Set Decode Range") or neither, Open, DecodeBlock until EndOfStream is 1 with
 *     SetPosition in between, Close, Destroy
 *
 * Set("IDTags") writes tags and DeleteATag deletes them; neither needs an Open.
 *
 * Results  1 is success, 0 failure; why it failed is a line on the error channel (STNStdReport). A null
 *          handle gives 0 and touches nothing. No exception comes out of a function but Create's
 *          std::bad_alloc.
 * Files    One instance serves one file: what it learnt of the first one's format stays in force.
 * Threads  An instance is used by one thread at a time; instances are independent of each other.
 * Records  Little-endian and tightly packed: 64-bit members lie at offsets that are no multiple of eight,
 *          so read and write them by value and take no pointer to them. The caller owns each record and
 *          zeroes it before it fills it; [in] is what the host sets, [out] what the plug-in does.
 * Memory   What a plug-in's pointers lead to belongs to the instance; the host reads it and never frees it.
 *          Its lifetime stands at each field. What a host's pointers lead to need live only as long as the
 *          call.
 * Texts    wchar_t holds one Unicode character in 32 bits on every platform; a file name goes to the system
 *          as UTF-8.
 */
#ifndef W64_DECODER_H
#define W64_DECODER_H

#include <assert.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

static_assert(sizeof(wchar_t) == 4, "texts are UTF-32");
static_assert(sizeof(void*) == 8, "records are those of 64-bit systems");

/*
 * Where an instance reports to: three file descriptors, each in a pointer-sized value. 0 and -1 both mean
 * that a channel has no output. Lines are UTF-8 and end in "\r\n". The record is copied by Create; the host
 * closes the descriptors after Destroy, and ignores SIGPIPE where one is a pipe whose reader may go away.
 */
typedef struct STNStdReport {
    intptr_t Error;       /* [in] what went wrong */
    intptr_t Information; /* [in] what is worth mentioning */
    intptr_t Debug;       /* [in] a trace of calls, which the other two are copied to */
} STNStdReport;

#pragma pack(push, 1)

/*
 * A WAVE format record: the first 18 bytes of a WAVEFORMATEX, or 40 of a WAVEFORMATEXTENSIBLE. Bytes beyond
 * the form that was written are left as they were. Offset and width of the members of a WAVEFORMATEX:
 *
 *      0 2  format tag: 1 integers, 3 floats, 0xFFFE extensible, 80 and 85 MPEG audio
 *      2 2  channels                   12 2  block align, bytes of a frame
 *      4 4  frames per second          14 2  bits per sample
 *      8 4  average bytes per second   16 2  bytes that follow, 22 when extensible
 *
 * and what an extensible record has more: 18 2 valid bits, 20 4 channel mask, 24 16 GUID, whose first two
 * bytes are the format tag.
 */
typedef struct STKvWaveFormat {
    uint8_t Bytes[40];
} STKvWaveFormat;

/*
 * With kvOpenDecode, WaveFormat is what DecodeBlock delivers. Without, it is what decoding would announce, in
 * its plain form: integers and floats as they are stored, without extra bytes; anything else, decodable or not,
 * as integers of the stored channels, rate and bits (16 where less than 8 are stored). MPEG audio may come out
 * as something else, its decoder has not been asked yet.
 */
typedef struct STKvAudioInfo {
    STKvWaveFormat WaveFormat;  /* [out] */
    uint32_t BitRate;           /* [out] bits per second of the stored audio */
    int64_t LengthMilliseconds; /* [out] of the decode range */
    int64_t LengthBytes;        /* [out] of the decode range, in stored bytes */
    uint64_t HostValue;         /* the host's own, never touched */
} STKvAudioInfo;

/* Bits of STKvOpenDecoder.OpenFlags, each tested by itself; with none of them, Open only checks the file. */
enum KvOpenFlag {
    kvOpenDecode = 1,     /* prepare for DecodeBlock; fills AudioInfo too */
    kvOpenPackets = 2,    /* the host feeds packets and names no file; the Wave64 decoder refuses */
    kvOpenAudioInfo = 4,  /* fill AudioInfo */
    kvOpenTags = 8,       /* read the tags */
    kvOpenProperties = 16 /* build the property report */
};

/*
 * The argument of Open. Tags or properties that cannot be had leave their fields as they were and fail
 * nothing. Both are packed tag blocks, valid until the next Open on the instance, or Destroy:
 *
 *     4 bytes  number of tags, then for each tag
 *     4 bytes      size of this tag, these 4 bytes included
 *     name         UTF-16 units (2 bytes), ended by a zero unit
 *     value        UTF-16 units (2 bytes), ended by a zero unit; empty where the tag is binary
 *     data         the rest of this tag, binary; nothing for a text
 *
 * Nothing is aligned. Names may repeat, and the case of A to Z does not matter in them. A name that begins
 * with "_" is no ordinary text: "_riff_1", "_riff_2" ... are the file's other chunks, a four-character code
 * and the chunk's data. By default only half of each value is stored; values are whole once the user's
 * setting Wave64LISTText is 1 or 2 (w64 options "LIST Text=16-bit").
 *
 * The block of Properties has one tag for each section of kvGetPropertyElements that applies to the file,
 * with the section's text as its value.
 */
typedef struct STKvOpenDecoder {
    const wchar_t* FileName; /* [in] ended by NUL */
    uint32_t OpenFlags;      /* [in] */
    STKvAudioInfo AudioInfo; /* [out] */
    void* TagData;           /* [out] */
    uint32_t TagDataSize;    /* [out] bytes */
    void* Properties;        /* [out] */
    uint32_t PropertiesSize; /* [out] bytes */
} STKvOpenDecoder;

/*
 * The argument of DecodeBlock. The last block that carries data already has EndOfStream 1. When no data is
 * left a call says EndOfStream again and leaves the fields of the data as they were, so zero the record
 * before each call.
 *
 * A plug-in that was opened with kvOpenPackets gets the next packet in Data and DataSize, and 1 in
 * EndOfStream when it is the last one; it gives back the audio in the same fields, DataSize 0 while it
 * needs more packets.
 */
typedef struct STKvAudioBlock {
    void* Data;                   /* [out] whole frames, valid until the next call on the instance */
    uint32_t DataSize;            /* [out] bytes */
    STKvWaveFormat WaveFormat;    /* [out] of these bytes */
    uint32_t BitRate;             /* [out] bits per second of the stored audio */
    int64_t DurationMilliseconds; /* [out] of these bytes */
    uint8_t HostBytes[16];        /* the host's own, never touched */
    int64_t PositionMilliseconds; /* [out] of the start of this block within the decode range */
    uint32_t EndOfStream;         /* [out] 1: no data follows this block */
} STKvAudioBlock;

/* The argument of Get and Set; each key uses some fields. Texts of Get are valid until the next Get. */
typedef struct STKvCodecGetSet {
    int32_t Index;        /* [in] entry of a list, from 0 */
    int32_t Value;        /* [in] setting of an option, or bytes of TagData */
    int64_t RangeStart;   /* [in] frames from the start of the audio */
    int64_t RangeEnd;     /* [in] frames from the start of the audio, exclusive; -1: to the end */
    const wchar_t* Text1; /* [out] of Get, [in] of Set */
    const wchar_t* Text2; /* [out] */
    const wchar_t* Text3; /* [out] */
    void* TagData;        /* [in] a packed tag block as kvOpenTags gives it, left unchanged */
} STKvCodecGetSet;

/* Opaque; a decoder only passes it on. A host gives Close the address of some zeroed bytes, or null. */
typedef struct STKvEncoderFluid STKvEncoderFluid;

#pragma pack(pop)

static_assert(sizeof(STNStdReport) == 24, "");
static_assert(sizeof(STKvWaveFormat) == 40, "");

static_assert(offsetof(STKvAudioInfo, WaveFormat) == 0, "");
static_assert(offsetof(STKvAudioInfo, BitRate) == 40, "");
static_assert(offsetof(STKvAudioInfo, LengthMilliseconds) == 44, "");
static_assert(offsetof(STKvAudioInfo, LengthBytes) == 52, "");
static_assert(offsetof(STKvAudioInfo, HostValue) == 60, "");
static_assert(sizeof(STKvAudioInfo) == 68, "");

static_assert(offsetof(STKvOpenDecoder, FileName) == 0, "");
static_assert(offsetof(STKvOpenDecoder, OpenFlags) == 8, "");
static_assert(offsetof(STKvOpenDecoder, AudioInfo) == 12, "");
static_assert(offsetof(STKvOpenDecoder, TagData) == 80, "");
static_assert(offsetof(STKvOpenDecoder, TagDataSize) == 88, "");
static_assert(offsetof(STKvOpenDecoder, Properties) == 92, "");
static_assert(offsetof(STKvOpenDecoder, PropertiesSize) == 100, "");
static_assert(sizeof(STKvOpenDecoder) == 104, "");

static_assert(offsetof(STKvAudioBlock, Data) == 0, "");
static_assert(offsetof(STKvAudioBlock, DataSize) == 8, "");
static_assert(offsetof(STKvAudioBlock, WaveFormat) == 12, "");
static_assert(offsetof(STKvAudioBlock, BitRate) == 52, "");
static_assert(offsetof(STKvAudioBlock, DurationMilliseconds) == 56, "");
static_assert(offsetof(STKvAudioBlock, HostBytes) == 64, "");
static_assert(offsetof(STKvAudioBlock, PositionMilliseconds) == 80, "");
static_assert(offsetof(STKvAudioBlock, EndOfStream) == 88, "");
static_assert(sizeof(STKvAudioBlock) == 92, "");

static_assert(offsetof(STKvCodecGetSet, Index) == 0, "");
static_assert(offsetof(STKvCodecGetSet, Value) == 4, "");
static_assert(offsetof(STKvCodecGetSet, RangeStart) == 8, "");
static_assert(offsetof(STKvCodecGetSet, RangeEnd) == 16, "");
static_assert(offsetof(STKvCodecGetSet, Text1) == 24, "");
static_assert(offsetof(STKvCodecGetSet, Text2) == 32, "");
static_assert(offsetof(STKvCodecGetSet, Text3) == 40, "");
static_assert(offsetof(STKvCodecGetSet, TagData) == 48, "");
static_assert(sizeof(STKvCodecGetSet) == 56, "");

/* Keys of Get, compared exactly; others give 0 and touch nothing. They work without an open file. */

/* Index in; Text1 the extension (".w64"), Text2 the name of the format; 0 past the last one. */
static const wchar_t kvGetDecodes[] = L"Decodes";

/* Text1 the name of the decoder. */
static const wchar_t kvGetDescription[] = L"Decoder Description";

/* Text1 the names of the sections of the property report, '\r' between them. */
static const wchar_t kvGetPropertyElements[] = L"Property Elements";

/* Text1 those that a host shows unless told otherwise, the same way. */
static const wchar_t kvGetDefaultProperties[] = L"Default Property Elements";

/*
 * Index in, an option of the tag writer, and Value in, one of its settings; Text1 the option's title, Text2
 * the settings key that the user's choice is kept under, Text3 the setting in words; 0 past the last one.
 */
static const wchar_t kvGetTagOptions[] = L"ID Tag Options";

/* Keys of Set; others give 0. */

/*
 * RangeStart and RangeEnd: what later Opens decode, cut to what there is. MPEG audio may end within a block:
 * a RangeEnd of -1 leaves that part of a block out, one beyond it (INT64_MAX) has it decoded.
 */
static const wchar_t kvSetDecodeRange[] = L"Set Decode Range";

/* Text1 a file name, TagData and Value a packed tag block and its bytes: writes these tags into the file. */
static const wchar_t kvSetTags[] = L"IDTags";

/*
 * The functions, and below them the names that they are exported under. A handle is what Create returned.
 * Positions are frames from the start of the decode range (MPEG audio: units of the stored block align). The
 * names of DeleteATag each end in NUL and an empty one ends the list; null or an empty list deletes all tags.
 */
typedef void* (*KvCreateFn)(STNStdReport* report);
typedef int32_t (*KvDestroyFn)(void* handle); /* 1, also for null */
typedef int32_t (*KvOpenFn)(void* handle, STKvOpenDecoder* open);
typedef int32_t (*KvCloseFn)(void* handle, STKvEncoderFluid* fluid); /* safe in every state */
typedef int32_t (*KvDecodeBlockFn)(void* handle, STKvAudioBlock* block);
typedef int32_t (*KvSetPositionFn)(void* handle, int64_t frame);
typedef int32_t (*KvGetFn)(void* handle, const wchar_t* key, STKvCodecGetSet* record);
typedef int32_t (*KvSetFn)(void* handle, const wchar_t* key, STKvCodecGetSet* record);
typedef int32_t (*KvDeleteATagFn)(void* handle, const wchar_t* fileName, const wchar_t* names);

/* Optional, and called once after loading: tells a plug-in the path of its own file. */
typedef void (*KvSetModulePathFn)(const wchar_t* path);

static const char kvNameOfCreate[] = "Create";
static const char kvNameOfDestroy[] = "Destroy";
static const char kvNameOfOpen[] = "Open";
static const char kvNameOfClose[] = "Close";
static const char kvNameOfDecodeBlock[] = "DecodeBlock";
static const char kvNameOfSetPosition[] = "SetPosition";
static const char kvNameOfGet[] = "Get";
static const char kvNameOfSet[] = "Set";
static const char kvNameOfDeleteATag[] = "DeleteATag";
static const char kvNameOfSetModulePath[] = "SetModulePath";

/*
 * The Wave64 decoder also exports a variable of type void*, a place for the host's handle of the module; it
 * may stay null. For MPEG audio in Wave64 the decoder loads a second plug-in, "mp3.dll", from the folder of
 * the running program: a host that wants it puts a copy or a link there.
 */
static const char kvNameOfInstance[] = "gInstance";

#ifdef __cplusplus
}
#endif

#endif
