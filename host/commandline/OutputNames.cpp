#include "host/commandline/OutputNames.h"

#include "host/terminal/Failure.h"

#include <map>

namespace w64 {

namespace fs = std::filesystem;

namespace {

bool IsFolder(const std::string& name) {
    std::error_code error;
    return fs::is_directory(name, error);
}

fs::path OutputName(const std::string& input, const std::string& output, std::string_view ending) {
    fs::path besideInput = fs::path(input).replace_extension(ending);
    if (output.empty()) return besideInput;
    return IsFolder(output) ? output / besideInput.filename() : fs::path(output);
}

void CheckOutput(size_t inputs, const std::string& output) {
    if (!NamesAFile(output)) return;
    if (inputs > 1) {
        throw UsageError("several files need a folder to go into; '" + output + "' is not a folder");
    }
    if (output.ends_with('/')) throw UsageError("there is no folder '" + output + "'");
}

}  // namespace

std::vector<fs::path> OutputNames(std::span<const std::string> inputs, const std::string& output,
                                  std::string_view ending) {
    CheckOutput(inputs.size(), output);
    std::vector<fs::path> names;
    std::map<fs::path, std::string> inputOf;
    for (const std::string& input : inputs) {
        names.push_back(OutputName(input, output, ending));
        const auto [first, isFree] = inputOf.emplace(names.back().lexically_normal(), input);
        if (!isFree) {
            throw UsageError("'" + first->second + "' and '" + input + "' would both become '" +
                             names.back().native() + "'");
        }
    }
    return names;
}

bool NamesAFile(const std::string& output) { return !output.empty() && !IsFolder(output); }

void RefuseReversed(const std::optional<TimePoint>& start, const std::optional<TimePoint>& end) {
    constexpr uint32_t kAnyRate = 1'000'000'000;
    if (!start || !end || start->IsTime() != end->IsTime()) return;
    if (start->Frame(kAnyRate) > end->Frame(kAnyRate)) throw UsageError("--start is after --end");
}

}  // namespace w64
