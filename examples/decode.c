/*
 * A whole host in plain C: decodes a file to raw samples, and prints its format and tags to standard error.
 *
 *     decode PLUGIN FILE [RAW]     PLUGIN: `pkg-config --variable=plugin w64`; RAW: else standard output
 */
#include <w64_decoder.h>

#include <dlfcn.h>
#include <locale.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

typedef struct Decoder {
    KvCreateFn create;
    KvDestroyFn destroy;
    KvOpenFn open;
    KvCloseFn close;
    KvDecodeBlockFn decodeBlock;
} Decoder;

/* Sets a function pointer; C has no conversion from the void* of dlsym. */
static bool find(void* library, const char* name, void* function) {
    void* symbol = library ? dlsym(library, name) : NULL;
    memcpy(function, &symbol, sizeof symbol);
    return symbol != NULL;
}

static bool load(const char* plugin, Decoder* decoder) {
    void* library = dlopen(plugin, RTLD_NOW | RTLD_LOCAL);
    return find(library, kvNameOfCreate, &decoder->create) &&
           find(library, kvNameOfDestroy, &decoder->destroy) && find(library, kvNameOfOpen, &decoder->open) &&
           find(library, kvNameOfClose, &decoder->close) &&
           find(library, kvNameOfDecodeBlock, &decoder->decodeBlock);
}

static uint32_t little(const uint8_t* bytes, int count) {
    uint32_t number = 0;
    while (count-- > 0) number = number << 8 | bytes[count];
    return number;
}

static void printFormat(const STKvAudioInfo* info) {
    const uint8_t* format = info->WaveFormat.Bytes;
    fprintf(stderr, "%u Hz, %u channels, %u bits, %.3f s\n", little(format + 4, 4), little(format + 2, 2),
            little(format + 14, 2), (double)info->LengthMilliseconds / 1000);
}

/* Prints a text of 16-bit units and returns the position after it. */
static const uint8_t* printText(const uint8_t* text, const uint8_t* end) {
    for (; end - text >= 2; text += 2) {
        const wchar_t character = (wchar_t)little(text, 2);
        if (character == 0) return text + 2;
        fprintf(stderr, "%lc", (wint_t)character);
    }
    return end;
}

/* Sizes are checked, as with any data that comes from a file. */
static void printTags(const uint8_t* block, uint32_t size) {
    const uint8_t* end = block + size;
    const uint8_t* tag = size < 4 ? end : block + 4;
    while (end - tag >= 4) {
        const uint32_t bytes = little(tag, 4);
        if (bytes < 8 || bytes > (size_t)(end - tag)) return;
        const uint8_t* next = tag + bytes;
        if (tag[4] != '_') { /* else it is binary */
            const uint8_t* value = printText(tag + 4, next);
            fputs(": ", stderr);
            printText(value, next);
            fputc('\n', stderr);
        }
        tag = next;
    }
}

static bool decode(const Decoder* decoder, void* instance, FILE* raw) {
    for (STKvAudioBlock block = {0}; !block.EndOfStream;) {
        memset(&block, 0, sizeof block);
        if (decoder->decodeBlock(instance, &block) != 1) return false;
        if (fwrite(block.Data ? block.Data : "", 1, block.DataSize, raw) != block.DataSize) return false;
    }
    return fflush(raw) == 0;
}

static bool decodeFile(const Decoder* decoder, const wchar_t* name, FILE* raw) {
    STNStdReport report = {.Error = 2}; /* errors go to standard error */
    void* instance = decoder->create(&report);
    STKvOpenDecoder file = {.FileName = name, .OpenFlags = kvOpenDecode | kvOpenTags};
    bool done = decoder->open(instance, &file) == 1;
    if (done) {
        printFormat(&file.AudioInfo);
        if (file.TagData) printTags(file.TagData, file.TagDataSize);
        done = decode(decoder, instance, raw);
    }
    char fluid[256] = {0};
    decoder->close(instance, (STKvEncoderFluid*)(void*)fluid);
    decoder->destroy(instance);
    return done;
}

static wchar_t* widen(const char* text) {
    const size_t length = strlen(text) + 1;
    wchar_t* wide = calloc(length, sizeof *wide);
    if (wide && mbstowcs(wide, text, length) != (size_t)-1) return wide;
    free(wide);
    return NULL;
}

int main(int argc, char** argv) {
    setlocale(LC_CTYPE, ""); /* of the file names */
    if (argc < 3 || argc > 4) {
        fputs("usage: decode PLUGIN FILE [RAW]\n", stderr);
        return 2;
    }
    Decoder decoder;
    if (!load(argv[1], &decoder)) {
        fprintf(stderr, "decode: %s\n", dlerror());
        return 1;
    }
    wchar_t* name = widen(argv[2]);
    FILE* raw = argc == 4 ? fopen(argv[3], "wb") : stdout;
    if (!name || !raw) {
        perror("decode");
        return 1;
    }
    const bool done = decodeFile(&decoder, name, raw);
    if (argc == 4 && fclose(raw) != 0) return 1;
    free(name);
    return done ? 0 : 1;
}
