#include "host/formats/TagLibTags.h"

#include "host/files/InputFile.h"
#include "host/tagging/TagNames.h"
#include "host/tagging/TagTexts.h"
#include "host/terminal/Failure.h"

#include <algorithm>
#include <apetag.h>
#include <fileref.h>
#include <id3v1tag.h>
#include <id3v2tag.h>
#include <mpegfile.h>
#include <taglib.h>
#include <tiostream.h>
#include <tpropertymap.h>

namespace w64 {

namespace {

#if TAGLIB_MAJOR_VERSION >= 2
using TagLibOffset = TagLib::offset_t;
using TagLibStart = TagLib::offset_t;
using TagLibLength = size_t;
#else
using TagLibOffset = long;
using TagLibStart = unsigned long;
using TagLibLength = unsigned long;
#endif

// A file as TagLib works on it. Unlike TagLib's own, it keeps the error of a call that fails.
class TagLibStream : public TagLib::IOStream {
public:
    // TagLib begins to read where the file is.
    TagLibStream(XFile& file, std::string name) : file_(file), name_(std::move(name)) { seek(0, Beginning); }

    TagLib::FileName name() const override { return name_.c_str(); }

    TagLib::ByteVector readBlock(TagLibLength length) override {
        const int64_t left = std::max<int64_t>(file_.Size() - file_.GetPosition(), 0);
        const auto bytes = std::min<size_t>(length, static_cast<size_t>(left));
        TagLib::ByteVector block(static_cast<unsigned>(std::min<size_t>(bytes, UINT32_MAX)));
        block.resize(static_cast<unsigned>(file_.Read(block.data(), block.size())));
        return block;
    }

    void writeBlock(const TagLib::ByteVector& data) override {
        static_cast<void>(file_.Write(data.data(), data.size()));
    }

    void insert(const TagLib::ByteVector& data, TagLibStart start, TagLibLength replace) override {
        const auto position = static_cast<int64_t>(start);
        const int64_t delta = static_cast<int64_t>(data.size()) - static_cast<int64_t>(replace);
        const int64_t moved = std::min(position + static_cast<int64_t>(replace), file_.Size());
        static_cast<void>(file_.Shuffle(moved, delta, false) && file_.SetPosition(position) &&
                          file_.Write(data.data(), data.size()));
    }

    void removeBlock(TagLibStart start, TagLibLength length) override { insert({}, start, length); }

    bool readOnly() const override { return false; }
    bool isOpen() const override { return true; }

    void seek(TagLibOffset offset, Position from) final {
        const int64_t base = from == Beginning ? 0 : from == Current ? file_.GetPosition() : file_.Size();
        static_cast<void>(file_.SetPosition(base + offset));
    }

    TagLibOffset tell() const override { return file_.GetPosition(); }
    TagLibOffset length() override { return file_.Size(); }
    void truncate(TagLibOffset length) override { static_cast<void>(file_.SetFileSize(length)); }

private:
    XFile& file_;
    std::string name_;
};

// The numbers and dates of ID3 are in Latin-1; other texts go under names that it has no meaning for.
std::string KeyFor(const STInternalTag& tag) {
    const bool isASCII = std::ranges::all_of(tag.Value, [](wchar_t c) { return c < 0x80; });
    const bool isNumber = EqualNoCase(tag.Name, L"Track") || EqualNoCase(tag.Name, L"Year");
    return isNumber && !isASCII ? ToUTF8(tag.Name) : CommonName(tag.Name);
}

TagLib::PropertyMap PropertiesFor(const NTag& tags) {
    TagLib::PropertyMap properties;
    for (int i = 0; i < tags.Count(); ++i) {
        const TagLib::String value(ToPrintable(tags[i].Value), TagLib::String::UTF8);
        properties.insert(KeyFor(tags[i]), TagLib::StringList(value));
    }
    return properties;
}

// Those that are missing. A name may have several values.
void AddProperties(const TagLib::PropertyMap& properties, Metadata& metadata) {
    Metadata found;
    for (const auto& [name, values] : properties) {
        for (const TagLib::String& value : values) {
            // Text that is not in the encoding of its tag is empty here.
            if (value.isEmpty()) AddOnce(found.otherTags, name.to8Bit(true));
            found.Add(name.to8Bit(true), value.to8Bit(true));
        }
    }
    for (int i = 0; i < found.tags.Count(); ++i) {
        metadata.AddMissing(ToUTF8(found.tags[i].Name), ToPrintable(found.tags[i].Value));
    }
    for (const std::string& name : found.otherTags) AddOnce(metadata.otherTags, name);
    for (const TagLib::String& name : properties.unsupportedData()) {
        AddOnce(metadata.otherTags, name.to8Bit(true));
    }
}

}  // namespace

void ReadTagLibTags(XFile& file, const std::string& ending, Metadata& metadata) {
    TagLibStream stream(file, ending);
    const TagLib::FileRef tagged(&stream, false);
    RequireNoError(file);
    if (tagged.isNull() || !tagged.file()->isValid()) return;
    // An MPEG file may have tags of several kinds, the most able one first.
    if (auto* mpeg = dynamic_cast<TagLib::MPEG::File*>(tagged.file())) {
        if (mpeg->hasID3v2Tag()) AddProperties(mpeg->ID3v2Tag()->properties(), metadata);
        if (mpeg->hasAPETag()) AddProperties(mpeg->APETag()->properties(), metadata);
        if (mpeg->hasID3v1Tag()) AddProperties(mpeg->ID3v1Tag()->properties(), metadata);
    } else {
        AddProperties(tagged.file()->properties(), metadata);
    }
}

void WriteTagLibTags(XFile& file, const std::string& ending, const NTag& tags) {
    TagLibStream stream(file, ending);
    TagLib::FileRef tagged(&stream, false);
    RequireNoError(file);
    if (tagged.isNull() || !tagged.file()->isValid()) throw Failure("cannot add the tags");
    const TagLib::PropertyMap refused = tagged.file()->setProperties(PropertiesFor(tags));
    const bool isSaved = refused.isEmpty() && tagged.save();
    RequireNoError(file, "cannot write");
    if (!isSaved) throw Failure("cannot add the tags");
}

size_t BytesAsComments(const NTag& tags) {
    constexpr size_t kOverhead = 5;  // a size and "="
    size_t bytes = 0;
    for (int i = 0; i < tags.Count(); ++i) {
        bytes += kOverhead + CommonName(tags[i].Name).size() + ToPrintable(tags[i].Value).size();
    }
    return bytes;
}

}  // namespace w64
