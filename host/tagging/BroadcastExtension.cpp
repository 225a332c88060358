#include "host/tagging/BroadcastExtension.h"

#include "base/LittleEndian.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace w64 {

namespace {

// Goes through the fields in their order; both directions share it, so that they cannot differ.
template <class Record, class Field>
void ForEachField(Record& record, Field&& field) {
    field.Text(record.description, 256);
    field.Text(record.originator, 32);
    field.Text(record.originatorReference, 32);
    field.Text(record.originationDate, 10);
    field.Text(record.originationTime, 8);
    field.Raw(&record.timeReference, sizeof record.timeReference);
    field.Raw(&record.version, sizeof record.version);
    field.Raw(record.umid.data(), record.umid.size());
    field.Raw(record.loudness.data(), sizeof record.loudness);
    field.Raw(record.reserved.data(), record.reserved.size());
}

class Reader {
public:
    explicit Reader(std::span<const uint8_t> bytes) : rest_(bytes) {}

    void Text(std::string& text, size_t bytes) {
        const auto field = Take(bytes);
        text.assign(field.begin(), std::ranges::find(field, 0));
    }
    void Raw(void* value, size_t bytes) { std::memcpy(value, Take(bytes).data(), bytes); }
    std::span<const uint8_t> Take(size_t bytes) {
        const auto taken = rest_.first(bytes);
        rest_ = rest_.subspan(bytes);
        return taken;
    }
    size_t BytesLeft() const { return rest_.size(); }

private:
    std::span<const uint8_t> rest_;
};

class Writer {
public:
    void Text(const std::string& text, size_t bytes) {
        const size_t used = std::min(text.size(), bytes);
        bytes_.insert(bytes_.end(), text.begin(), text.begin() + static_cast<std::ptrdiff_t>(used));
        bytes_.insert(bytes_.end(), bytes - used, 0);
    }
    void Raw(const void* value, size_t bytes) {
        const auto* data = static_cast<const uint8_t*>(value);
        bytes_.insert(bytes_.end(), data, data + bytes);
    }
    std::vector<uint8_t> Bytes() && { return std::move(bytes_); }

private:
    std::vector<uint8_t> bytes_;
};

}  // namespace

std::optional<BroadcastExtension> BroadcastExtension::Parse(std::span<const uint8_t> chunk) {
    if (chunk.size() < kMinBytes) return std::nullopt;
    BroadcastExtension extension;
    Reader reader(chunk);
    ForEachField(extension, reader);
    reader.Text(extension.codingHistory, reader.BytesLeft());
    return extension;
}

std::vector<uint8_t> BroadcastExtension::ToBytes() const {
    Writer writer;
    ForEachField(*this, writer);
    writer.Text(codingHistory, codingHistory.size());
    return std::move(writer).Bytes();
}

}  // namespace w64
