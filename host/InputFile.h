#pragma once

#include "base/XFile.h"

#include <string>

// A file that is only read.
// Errors: Failure that says what is in the way.
class InputFile : public XFile {
public:
    explicit InputFile(const std::string& name);
};
