#pragma once

#include "Bytes.h"

#include <optional>
#include <string>

// A Wave64 file in memory, put together without any of the code under test: identifiers are spelt out as a
// hex dump of such a file shows them.
class Wave64Bytes {
public:
    Wave64Bytes() {
        bytes_ = Guid("riff", "2E91CF11A5D628DB04C10000");
        Append<uint64_t>(bytes_, 0);
        const Bytes wave = Guid("wave", "F3ACD3118CD100C04F8EDB8A");
        bytes_.insert(bytes_.end(), wave.begin(), wave.end());
    }

    // `sizeField` lies about the size when given.
    Wave64Bytes& Chunk(std::string_view code, const Bytes& data, std::optional<uint64_t> sizeField = {}) {
        return Chunk(Guid(code, "F3ACD3118CD100C04F8EDB8A"), data, sizeField);
    }

    // A count and that many entries.
    Wave64Bytes& SummaryList(const Bytes& data, std::optional<uint64_t> sizeField = {}) {
        return Chunk(Hex("BC945F925A52D21186DC00C04F8EDB8A"), data, sizeField);
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
        Store<uint64_t>(file.data() + 16, sizeField.value_or(file.size()));
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
        Append<uint16_t>(body, 0);
        return body;
    }

    // 40 bytes, the sub-format of `tag`.
    static Bytes ExtensibleBody(uint16_t tag, uint16_t channels, uint32_t rate, uint16_t bits,
                                uint32_t mask) {
        Bytes body = FmtBody(0xFFFE, channels, rate, bits);
        Store<uint16_t>(body.data() + 16, 22);
        Append(body, bits);
        Append(body, mask);
        Append(body, tag);
        const Bytes tail = Hex("000000001000800000AA00389B71");
        body.insert(body.end(), tail.begin(), tail.end());
        return body;
    }

private:
    Wave64Bytes& Chunk(const Bytes& guid, const Bytes& data, std::optional<uint64_t> sizeField) {
        bytes_.insert(bytes_.end(), guid.begin(), guid.end());
        Append<uint64_t>(bytes_, sizeField.value_or(24 + data.size()));
        bytes_.insert(bytes_.end(), data.begin(), data.end());
        bytes_.resize((bytes_.size() + 7) / 8 * 8);
        return *this;
    }

    static Bytes Hex(std::string_view digits) {
        Bytes bytes;
        for (size_t i = 0; i + 1 < digits.size(); i += 2) {
            bytes.push_back(static_cast<uint8_t>(std::stoi(std::string(digits.substr(i, 2)), nullptr, 16)));
        }
        return bytes;
    }

    static Bytes Guid(std::string_view code, std::string_view tail) {
        Bytes guid(code.begin(), code.end());
        const Bytes rest = Hex(tail);
        guid.insert(guid.end(), rest.begin(), rest.end());
        return guid;
    }

    Bytes bytes_;
};
