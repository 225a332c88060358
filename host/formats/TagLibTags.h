#pragma once

#include "base/XFile.h"
#include "host/tagging/Metadata.h"

#include <string>

namespace w64 {

// The tags of files that TagLib edits: ID3 in MP3 and AIFF, Vorbis comments in FLAC, Ogg and Opus. `ending`, as ".flac",
// says of which kind the file is.

// Adds the tags to `metadata`; those that are there already stay as they are.
void ReadTagLibTags(XFile& file, const std::string& ending, Metadata& metadata);

// Replaces all tags. Errors: Failure.
void WriteTagLibTags(XFile& file, const std::string& ending, const NTag& tags);

// The bytes, at most, that the tags take up as Vorbis comments.
size_t BytesAsComments(const NTag& tags);

}  // namespace w64
