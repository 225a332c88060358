#pragma once

#include "host/files/Descriptor.h"
#include "settings/XJSON.h"
#include "tags/TaggingOptions.h"

#include <cstdint>
#include <memory>

namespace w64 {

// Errors: Failure when there is a settings file of the user that cannot be read.
void RequireReadableSettings();

// The settings that the decoder finds while this program runs: the user's tagging options, with safe editing
// on. They live in memory; the user's own settings are only read.
// One object in a program, made before anything is asked of the decoder.
class OwnSettings {
public:
    OwnSettings();

    // How the decoder writes a new list: as the user has chosen, else in 16-bit characters. While nothing is
    // edited it reads lists of every form.
    void BeginEdit() { Offer(listText_); }
    void EndEdit() { Offer(static_cast<uint32_t>(LISTText::UTF16)); }

private:
    void Offer(uint32_t listText);

    Descriptor file_;
    std::unique_ptr<XJSON::Object> root_;  // what is written to it
    uint32_t listText_ = 0;                // as the user has chosen
};

}  // namespace w64
