#pragma once

#include "Json.h"
#include "Workshop.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <map>

namespace w64 {

using testing::IsSubstring;
using Folder = std::map<std::string, Bytes>;  // what is in files, by name

inline Bytes Resized(Bytes bytes, size_t size) {
    bytes.resize(size);
    return bytes;
}

// Before a command: its read of that number from a WAV file, or one with such a name, fails.
inline std::string WithFailingRead(int number) {
    return "ASAN_OPTIONS=$ASAN_OPTIONS:verify_asan_link_order=0 LD_PRELOAD=" FAILING_READ " FAILING_READ=" +
           std::to_string(number) + " ";
}

// A workshop whose commands find settings of their own, never those of whoever runs the test.
class HostWorkshop : public Workshop {
public:
    struct Refusal {
        std::string arguments;
        int status;
        std::string message;  // or a part of it
    };

    std::filesystem::path Settings() const { return home_.Path() / "settings"; }

    // "LISTPos=1 LISTText=0"
    void Configure(const std::string& options) const {
        Run("for option in " + options + "; do w64 options Wave64$option; done");
    }

    Outcome Run(const std::string& commandLine) const {
        return Workshop::Run("export XCLASS_XREGISTRY_LOCATION='" + Settings().string() + "'; " +
                             commandLine);
    }

    // What is to succeed.
    Outcome Do(const std::string& commandLine) const {
        const Outcome outcome = Run(commandLine);
        EXPECT_EQ(outcome.status, 0) << commandLine << "\n" << outcome.errors;
        return outcome;
    }

    // What is to fail, say why, and leave all files and the settings as they are.
    void ExpectRefused(std::initializer_list<Refusal> refusals) const {
        const Folder before = Contents();
        const std::string settings = ReadText(Settings());
        for (const auto& [arguments, status, message] : refusals) {
            SCOPED_TRACE(arguments);
            const Outcome outcome = Run("w64 " + arguments);
            EXPECT_EQ(outcome.status, status);
            EXPECT_PRED_FORMAT2(IsSubstring, "\nw64: ", "\n" + outcome.errors);
            EXPECT_PRED_FORMAT2(IsSubstring, message, outcome.errors);
            EXPECT_TRUE(Contents() == before);
            EXPECT_EQ(ReadText(Settings()), settings);
        }
    }

    Folder Contents() const {
        Folder contents;
        for (const std::string& name : Files()) {
            contents[name] = std::filesystem::is_regular_file(Path() / name) ? Read(name) : Bytes();
        }
        return contents;
    }

    // As they are shown: "Title=Song, Artist=Somebody".
    std::string Tags(const std::string& name) const {
        const std::string shown = Run("w64 tags -q --json " + name).output;
        std::string tags;
        for (int i = 0;; ++i) {
            const std::string tag = "/0/tags/" + std::to_string(i);
            if (JsonAt(shown, tag).empty()) return tags;
            tags += (i == 0 ? "" : ", ") + JsonAt(shown, tag + "/name") + "=" + JsonAt(shown, tag + "/value");
        }
    }

private:
    TempFolder home_;
};

// A test with a workshop of its own.
class HostTest : public testing::Test {
protected:
    const HostWorkshop shop{};
};

}  // namespace w64
