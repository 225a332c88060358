#pragma once

#include "tags/TaggingOptions.h"

#include <cstdint>
#include <cstdio>
#include <memory>

// Errors: Failure when there is a settings file of the user that cannot be read.
void RequireReadableSettings();

// The settings that the decoder finds while this program runs: the user's tagging options, with safe editing
// on. They live in an unnamed file of this program; the user's own settings are only read.
// One object in a program, made before anything is asked of the decoder.
class OwnSettings {
public:
    OwnSettings();

    // How the decoder writes a new list: as the user has chosen, else in 16-bit characters. While nothing is
    // edited it reads lists of every form.
    void BeginEdit();
    void EndEdit();

    // The user has chosen the form that keeps half of each value.
    bool HalvesValues() const { return listText_ == static_cast<uint32_t>(LISTText::Half); }

private:
    static void Set(const wchar_t* name, uint32_t value);

    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::unique_ptr<std::FILE, CloseFile> file_;
    uint32_t listText_;
};
