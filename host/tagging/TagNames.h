#pragma once

#include "base/XStr.h"

#include <string>
#include <vector>

namespace w64 {

// The names of tags that a summary list can store, and what people and other kinds of files call them. One table serves
// both directions, so that a tag that goes out and comes back keeps its name.

// The tag that is meant by a name in any letter case, with or without spaces: one of its own, one that other programs
// and files use ("Date" for Year), or an INFO identifier. Empty if no list can store it.
XStr StoredName(const XStr& name);

// What Vorbis comments, ID3 and the like call a stored tag: "TRACKNUMBER" for "Track".
std::string CommonName(const XStr& stored);

// The same for the "info" chunk of CAF, "track number", and the INFO list of WAV, "ITRK".
std::string CAFName(const XStr& stored);
std::string INFOName(const XStr& stored);

// All that can be stored, in order.
std::vector<std::string> StoredNames();

// The same, a few on each line.
std::string TagNamesInColumns();

}  // namespace w64
