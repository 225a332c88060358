#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace w64 {

// Explains what is wrong with a command line, and suggests the name that was probably meant.
std::string Explanation(const CLI::App& app, const CLI::Error& error);

// "w64 tags set"
std::string TitleOf(const CLI::App& command);

std::string NoCommand(const std::string& name, const CLI::App& app);

// A first file that is not there may be a mistyped command; else empty.
std::string MistypedCommand(const CLI::App& app);

}  // namespace w64
