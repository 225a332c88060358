#pragma once

#include "Bytes.h"

#include <optional>
#include <string>

namespace w64 {

// A Wave64 file in memory, put together without any of the code under test: identifiers are spelt out as a
// hex dump of such a file shows them.
class Wave64Bytes {
public:
    // `sizeField` lies about the size when given.
    Wave64Bytes& Chunk(std::string_view code, const Bytes& data, std::optional<uint64_t> sizeField = {}) {
        const Bytes tail = {0xF3, 0xAC, 0xD3, 0x11, 0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A};
        return Chunk(Bytes(code.begin(), code.end()) + tail, data, sizeField);
    }

    // A count and that many entries.
    Wave64Bytes& SummaryList(const Bytes& data, std::optional<uint64_t> sizeField = {}) {
        const Bytes guid = {0xBC, 0x94, 0x5F, 0x92, 0x5A, 0x52, 0xD2, 0x11,
                            0x86, 0xDC, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A};
        return Chunk(guid, data, sizeField);
    }

    // Of a code each, without data.
    Wave64Bytes& EmptyChunks(int count) {
        const Bytes levl = Wave64Bytes().Chunk("levl", {}).File();
        bytes_.reserve(bytes_.size() + 24 * static_cast<size_t>(count));
        for (; count > 0; --count) bytes_.insert(bytes_.end(), levl.begin() + 40, levl.end());
        return *this;
    }

    Wave64Bytes& Fmt(uint16_t tag, uint16_t channels, uint32_t rate, uint16_t bits) {
        return Chunk("fmt ", FmtBody(tag, channels, rate, bits));
    }

    Wave64Bytes& Data(const Bytes& audio, std::optional<uint64_t> sizeField = {}) {
        return Chunk("data", audio, sizeField);
    }

    // The whole file, its outer size field right unless another value is wanted.
    Bytes File(std::optional<uint64_t> sizeField = {}) const {
        Bytes file = bytes_;
        base::Store<uint64_t>(file.data() + 16, sizeField.value_or(file.size()));
        return file;
    }

    // 18 bytes without extra ones.
    static Bytes FmtBody(uint16_t tag, uint16_t channels, uint32_t rate, uint16_t bits) {
        const auto blockAlign = static_cast<uint16_t>(uint32_t{channels} * bits / 8);
        Bytes body;
        Append(body, tag);
        Append(body, channels);
        Append(body, rate);
        Append(body, rate * blockAlign);
        Append(body, blockAlign);
        Append(body, bits);
        return body + Bytes(2);
    }

    // 40 bytes, the sub-format of `tag`.
    static Bytes ExtensibleBody(uint16_t tag, uint16_t channels, uint32_t rate, uint16_t bits,
                                uint32_t mask) {
        Bytes body = FmtBody(0xFFFE, channels, rate, bits);
        base::Store<uint16_t>(body.data() + 16, 22);
        Append(body, bits);
        Append(body, mask);
        Append(body, tag);
        return body + Bytes{0, 0, 0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
    }

private:
    Wave64Bytes& Chunk(const Bytes& guid, const Bytes& data, std::optional<uint64_t> sizeField) {
        bytes_.insert(bytes_.end(), guid.begin(), guid.end());
        Append<uint64_t>(bytes_, sizeField.value_or(24 + data.size()));
        bytes_.insert(bytes_.end(), data.begin(), data.end());
        bytes_.resize((bytes_.size() + 7) / 8 * 8);
        return *this;
    }

    // The outer header, its size field still empty.
    Bytes bytes_ = {'r',  'i',  'f',  'f',  0x2E, 0x91, 0xCF, 0x11,  //
                    0xA5, 0xD6, 0x28, 0xDB, 0x04, 0xC1, 0,    0,     //
                    0,    0,    0,    0,    0,    0,    0,    0,     //
                    'w',  'a',  'v',  'e',  0xF3, 0xAC, 0xD3, 0x11,  //
                    0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A};
};

}  // namespace w64
