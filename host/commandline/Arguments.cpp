#include "host/commandline/Arguments.h"

#include "host/convert/ConversionLimits.h"

#include <algorithm>
#include <thread>

namespace w64 {

namespace {

constexpr unsigned kMaxPadding = 1 << 24;

std::string WrongPadding(const std::string& text) {
    unsigned bytes = 0;
    const bool isNumber = CLI::detail::lexical_cast(text, bytes);
    const bool isRight = isNumber && bytes % 8 == 0 && (bytes == 0 || bytes >= 32) && bytes <= kMaxPadding;
    return isRight ? "" : "'" + text + "' is neither 0 nor a multiple of 8 from 32 to 16777216";
}

}  // namespace

void AddFiles(CLI::App* command, std::vector<std::string>& files) {
    command->add_option("FILE", files, "Wave64 files")->required()->type_name("");
}

void AddAudioFiles(CLI::App* command, std::vector<std::string>& files) {
    command->add_option("FILE", files, "Audio files: Wave64, WAV, AIFF, FLAC ...")->required()->type_name("");
}

void AddJobs(CLI::App* command, unsigned& jobs, const std::string& help) {
    jobs = std::max(std::thread::hardware_concurrency(), 1u);
    command->add_option("-j,--jobs", jobs, help)
        ->check(CLI::Range(1u, 1024u).description(""))
        ->type_name("N")
        ->capture_default_str();
}

void AddJSON(CLI::App* command, bool& json) {
    command->add_flag("--json", json, "Write a JSON array with an object per file");
}

void AddForce(CLI::App* command, bool& force) {
    command->add_flag("-f,--force", force, "Replace existing files");
}

void AddPadding(CLI::App* command, unsigned& bytes) {
    command->add_option("--padding", bytes, "Bytes to leave before the audio for tags, 0 for none")
        ->check(WrongPadding)
        ->type_name("N")
        ->capture_default_str();
}

TimePoint ParsePlace(const std::string& text) {
    if (const auto place = TimePoint::Parse(text)) return *place;
    throw CLI::ValidationError("'" + text + "' is neither a time (90, 1:30.5) nor a frame (12345f)");
}

CLI::Option* AddPlace(CLI::App* command, const char* name, std::optional<TimePoint>& place,
                      const char* help) {
    return command->add_option_function<std::string>(
        name, [&place](const std::string& text) { place = ParsePlace(text); }, help);
}

void AddRange(CLI::App* command, std::optional<TimePoint>& start, std::optional<TimePoint>& end) {
    AddPlace(command, "--start", start, "Where to start")->type_name("START");
    AddPlace(command, "--end", end, "Where to stop")->type_name("END");
}

void AddConversion(CLI::App* command, ConversionOptions& options) {
    const auto add = [command](const char* name, auto& value, const char* help, const CLI::Validator& check) {
        command->add_option(name, value, help)->check(check)->type_name("N")->group("Conversion");
    };
    add("--rate", options.rate, "Frames per second, 1 to 10000000", CLI::Range(1u, kMaxRate).description(""));
    add("--channels", options.channels, "1 to 8", CLI::Range(1u, 8u).description(""));
    add("--bits", options.bits, "8, 16, 24 or 32 for integers; 32 or 64 with --float",
        CLI::IsMember({8u, 16u, 24u, 32u, 64u}).description(""));
    command->add_flag("--float", options.isFloat, "Floating-point samples, 32-bit unless --bits is given")
        ->group("Conversion");
    command->add_flag("--dither", options.dither, "Dither when reducing to 16 or 24 bits")
        ->group("Conversion");
}

void SetFooter(CLI::App* command, const std::string& text) {
    command->footer(text + "-q, --trace and --plugin work here too; see w64 --help.\n");
}

}  // namespace w64
