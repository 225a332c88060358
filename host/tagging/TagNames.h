#pragma once

#include "base/XStr.h"

#include <string>
#include <vector>

namespace w64 {

// The name that a Wave64 file has for a tag, which may be given as other programs call it ("Date", "TRACKNUMBER") or
// by its four-character identifier ("IART"), in any case. Empty if a Wave64 file cannot store it.
XStr StoredName(const XStr& name);

// All names that can be stored, sorted.
std::vector<std::string> StoredNames();

// The same, a few on each line.
std::string TagNamesInColumns();

}  // namespace w64
