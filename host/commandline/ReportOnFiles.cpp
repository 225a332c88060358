#include "host/commandline/ReportOnFiles.h"

#include "host/terminal/ForEachFile.h"
#include "host/terminal/StandardOutput.h"

#include <iostream>
#include <nlohmann/json.hpp>

namespace w64 {

bool ReportOnFiles(std::span<const std::string> files, bool asJSON, Console& console,
                   const std::function<void(size_t, Json*)>& describe) {
    const char* separator = "\n";
    const auto print = [&](const Json& json) {
        // File names may not be UTF-8.
        std::cout << separator << json.dump(2, ' ', false, Json::error_handler_t::replace);
        separator = ",\n";
    };
    if (asJSON) std::cout << "[";
    const bool allDone = ForEachFile(files, 1, console, [&](size_t i) {
        if (!asJSON) return describe(i, nullptr);
        Json json = {{"file", files[i]}};
        try {
            describe(i, &json);
        } catch (const std::exception& failure) {
            json["error"] = failure.what();
            print(json);
            throw;
        }
        print(json);
    });
    if (asJSON) std::cout << "\n]\n";
    FlushStandardOutput();
    return allDone;
}

}  // namespace w64
