#pragma once

#include "Expect.h"
#include "Json.h"
#include "Wave64Bytes.h"
#include "Workshop.h"

#include <initializer_list>
#include <map>

namespace w64 {

using Folder = std::map<std::string, Bytes>;  // what is in files, by name

// Before a command, the faults that FaultInjector.cpp is to make.
inline std::string WithFaults(const std::string& plan) {
    return "ASAN_OPTIONS=$ASAN_OPTIONS:verify_asan_link_order=0 LD_PRELOAD=" W64_FAULTS " " + plan + " ";
}

// Runs a shell command before a change of that number, from 1 on, to a Wave64 file.
inline std::string Meanwhile(const std::string& command, int number) {
    return WithFaults("FAULT_CALLS='write truncate sync rename' FAULT_FILES='*.@(w64|part)' FAULT_AT=" +
                      std::to_string(number) + " FAULT='" + command + "'");
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
            EXPECT_HAS("\nw64: ", "\n" + outcome.errors);
            EXPECT_HAS(message, outcome.errors);
            EXPECT_TRUE(Contents() == before);
            EXPECT_EQ(ReadText(Settings()), settings);
        }
    }

    Folder Contents() const {
        Folder contents;
        for (const std::string& name : Files())
            contents[name] = std::filesystem::is_regular_file(Path() / name) ? Read(name) : Bytes();
        return contents;
    }

    void Fill(const Folder& contents) const {
        for (const std::string& name : Files()) std::filesystem::remove_all(Path() / name);
        for (const auto& [name, bytes] : contents) Write(name, bytes);
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
