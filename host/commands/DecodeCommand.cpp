#include "base/Saturating.h"
#include "host/commandline/Arguments.h"
#include "host/commandline/CommandLine.h"
#include "host/commandline/Folders.h"
#include "host/commandline/OutputNames.h"
#include "host/commandline/StreamInput.h"
#include "host/commands/Commands.h"
#include "host/commands/ConversionJobs.h"
#include "host/convert/Conversion.h"
#include "host/decoder/DecoderInstance.h"
#include "host/decoder/SubDecoder.h"
#include "host/files/FlushAhead.h"
#include "host/files/InputFile.h"
#include "host/files/OutputFile.h"
#include "host/formats/Verification.h"
#include "host/layout/DecoderNotes.h"
#include "host/layout/Salvage.h"
#include "host/layout/Wave64File.h"
#include "host/terminal/Failure.h"
#include "host/terminal/FormatText.h"
#include "host/terminal/Interrupt.h"
#include "host/terminal/Progress.h"

#include <algorithm>
#include <unistd.h>

namespace w64 {

namespace fs = std::filesystem;

namespace {

constexpr const char* kSubDecoderHint =
    "MPEG audio is decoded by mp3.dll in the folder of w64; both come from the same build or package";

constexpr const char* kAboutOutputs =
    "Tags go into every kind of file but raw samples, the broadcast extension (bext)\n"
    "into WAV. A note names what is left behind. Ogg Vorbis, Opus and MP3 are lossy;\n"
    "--verify is for the others.\n\n";

// Of decoded audio.
struct ByteRange {
    int64_t start = 0;
    int64_t end = INT64_MAX;

    // The part of `audio`, which begins at `position`, that is in the range.
    std::span<const uint8_t> PartOf(std::span<const uint8_t> audio, int64_t position) const {
        const auto size = static_cast<int64_t>(audio.size());
        const int64_t from = std::clamp<int64_t>(start - position, 0, size);
        const int64_t to = std::clamp(end - position, from, size);
        return audio.subspan(static_cast<size_t>(from), static_cast<size_t>(to - from));
    }
};

struct DecodeRange {
    int64_t start = 0;
    int64_t end = -1;  // to the end

    void LimitTo(int64_t frames) {
        end = end < 0 ? frames : std::min(end, frames);
        start = std::min(start, end);
    }

    ByteRange InBytes(int64_t frameBytes) const {
        return {SaturatingMultiply(start, frameBytes),
                end < 0 ? INT64_MAX : SaturatingMultiply(end, frameBytes)};
    }
};

DecodeRange RangeOf(const DecodeOptions& options, uint32_t framesPerSecond) {
    DecodeRange range;
    if (options.start) range.start = options.start->Frame(framesPerSecond);
    if (options.end) range.end = options.end->Frame(framesPerSecond);
    if (options.end && range.start > range.end) throw Failure("--start is after --end");
    return range;
}

void RequireStartWithin(int64_t start, int64_t frames, uint32_t framesPerSecond) {
    if (start == 0 || start < frames) return;
    throw Failure("--start is at or past the end: the audio lasts " +
                  FormatDuration(SaturatingMultiply(frames, 1000) / framesPerSecond) + " (" +
                  Counted(frames, "frame") + ")");
}

bool IsMPEG(const std::optional<XAudioWFX>& stored) {
    return stored && (stored->FormatTag() == kTagMPEG || stored->FormatTag() == kTagMPEGLayer3);
}

// Bytes of audio to come; unknown for compressed audio.
std::optional<int64_t> ExpectedBytes(const DecoderInstance& decoder, const std::optional<XAudioWFX>& stored,
                                     const Conversion& conversion) {
    if (!stored || !IsLinear(stored->WFXFormatTag())) return std::nullopt;
    return conversion.ExpectedBytes(XAudioWFX(*stored).BlockAlignBuffer(decoder.Info().LengthBytes));
}

int64_t SizeOf(const std::string& file) {
    std::error_code error;
    const auto size = fs::file_size(file, error);
    return error ? 0 : static_cast<int64_t>(size);
}

// The decoding of one file.
class FileDecoding {
public:
    FileDecoding(const ConversionJob& job, const DecodeOptions& options, CommandContext context,
                 const PluginLibrary& library, Progress& progress)
        : job_(job), options_(options), context_(context), library_(library),
          progress_(progress, SizeOf(job.input)) {}

    void Run(WorkSlot& slot) {
        RequireReadable(job_.input);
        if (job_.IsStream()) {
            XFile stream;
            stream.Open(reinterpret_cast<void*>(intptr_t{STDOUT_FILENO}));
            DecodeInto({.file = stream, .seekable = false});
            PassOnRemarks();
            return;
        }
        RefuseToReplaceInput(job_.input, job_.output);
        OutputFile output(job_.output, options_.force);
        DecodeInto({.file = output.File(), .seekable = true});
        if (verification_) Verify(output.Close());
        slot.unlock();
        output.Commit();
        PassOnRemarks();
        context_.console.Summary(job_.output.native(), progress_.Outcome());
    }

private:
    struct Stored {
        std::optional<XAudioWFX> format;
        std::optional<int64_t> frames;
    };

    // The list of chunks, which may be long, is gone when the decoder makes its own.
    static Stored LookAt(const fs::path& path) {
        Wave64File file(path);
        return {file.Format(), file.Frames()};
    }

    void DecodeInto(SinkTarget target) {
        const auto salvage = options_.salvage ? PlanSalvage(job_.input, CopyFolder()) : std::nullopt;
        const fs::path source = salvage ? salvage->source : fs::path(job_.input);
        const auto [stored, announced] = LookAt(source);
        Metadata metadata = options_.noTags ? Metadata() : Wave64File(job_.input).ReadMetadata();
        const DecodeRange asked = RangeOf(options_, stored ? stored->SamplesPerSec() : 1);
        // The decoder counts stored blocks, which hold no fixed number of frames of MPEG audio.
        DecodeRange range = IsMPEG(stored) ? DecodeRange{0, DecoderInstance::kPastTheEnd} : asked;
        if (salvage && salvage->isToStop) range.LimitTo(salvage->frames);

        bool opened = false;
        try {
            DecoderInstance decoder(library_, context_.traceDescriptor);
            if (range.start != 0 || range.end >= 0) decoder.SetDecodeRange(range.start, range.end);
            decoder.Open(source, kvOpenDecode | kvOpenAudioInfo);
            opened = true;
            if (!salvage) RefuseDamage(decoder);
            RefuseNonsense(decoder.Format());
            if (announced) {
                RequireStartWithin(asked.start, salvage ? salvage->frames : *announced,
                                   stored->SamplesPerSec());
            }
            Conversion conversion(decoder.Format(), options_.conversion, job_.threads);
            const XAudioWFX& format = conversion.Target();
            metadata.MoveStart(asked.start, decoder.Format().SamplesPerSec(), format.SamplesPerSec());
            if (options_.verify) verification_.emplace(job_.output, format);
            const auto sink =
                MakeSink(job_.type, target, {format, ExpectedBytes(decoder, stored, conversion), metadata});
            const int frameBytes = decoder.Format().BlockAlign();
            CopyAudio(decoder, IsMPEG(stored) ? asked.InBytes(frameBytes) : ByteRange{}, conversion, *sink,
                      FlushAhead(target.file));
            sink->Finish();
            PassOnNotes(decoder, job_.input, context_.console);
        } catch (const DecoderFailure& failure) {
            if (IsMPEG(stored) && !HasSubDecoder()) {
                throw Failure(std::string(failure.what()) + "\n" + kSubDecoderHint);
            }
            const bool isDamaged = opened || HidesAudio(source) ||
                                   (Wave64File(source).MissingBytes() > 0 && MillisecondsOfAudio(source));
            if (options_.salvage || !isDamaged) throw Failure(WithDamage(failure.what(), job_.input));
            const std::string damage = DescribeDamage(source);
            throw Failure(std::string(failure.what()) + "\n" +
                          (damage.empty() ? "the file is damaged" : damage) +
                          "; --salvage keeps what it still holds");
        }
        if (salvage) remarks_.push_back(Describe(*salvage, !IsMPEG(stored)));
        const auto left =
            options_.noTags ? std::vector<std::string>() : metadata.LeftBehind(StorableIn(job_.type));
        if (!left.empty()) remarks_.push_back("not carried over: " + Joined(left, ", "));
    }

    void Verify(const fs::path& copy) {
        if (job_.type == AudioFileType::Raw) {
            verification_->CheckFile(copy);
        } else {
            verification_->CheckAudio(copy, context_);
        }
    }

    // Where a repaired copy, which may be as large as the input, is made.
    fs::path CopyFolder() const {
        return job_.IsStream() ? TempFile::SharedFolder() : job_.output.parent_path();
    }

    // The decoder reports damage and goes on without it; here that is an error.
    void RefuseDamage(const DecoderInstance& decoder) const {
        const auto errors = decoder.Errors();
        if (!errors.empty()) throw DecoderFailure(JoinLines(errors));
        if (decoder.Info().LengthBytes == 0 && HidesAudio(job_.input)) {
            throw DecoderFailure("The audio chunk is empty, but more follows it.");
        }
    }

    static void RefuseNonsense(const XAudioWFX& format) {
        if (format.Channels() == 0 || format.SamplesPerSec() == 0) {
            throw Failure("the format chunk is wrong: " + DescribeFormat(format));
        }
    }

    void CopyAudio(DecoderInstance& decoder, ByteRange range, Conversion& conversion, AudioSink& sink,
                   FlushAhead flush) {
        const double bytesPerSecond = decoder.Format().AvgBytesPerSec();
        const Conversion::Write write = [&](std::span<const uint8_t> frames) {
            sink.Write(frames);
            flush.Add(frames.size());
            if (verification_) verification_->Add(frames);
        };
        progress_.Expect(XAudioWFX(decoder.Format()).CalcBufferSize(decoder.Info().LengthMilliseconds));
        for (int64_t position = 0; position < range.end;) {
            const auto audio = decoder.Read();
            if (!audio) {
                const int frameBytes = decoder.Format().BlockAlign();
                RequireStartWithin(range.start / frameBytes, position / frameBytes,
                                   decoder.Format().SamplesPerSec());
                break;
            }
            Interrupt::Check();
            conversion.Convert(range.PartOf(*audio, position), write);
            const auto bytes = static_cast<int64_t>(audio->size());
            progress_.Advance(bytes, static_cast<double>(bytes) / bytesPerSecond);
            position += bytes;
        }
        conversion.Finish(write);
    }

    static std::string Describe(const Salvage& salvage, bool countsFrames) {
        const std::string duration = FormatDuration(salvage.milliseconds);
        return "salvaged " +
               (countsFrames ? Counted(salvage.frames, "frame") + " (" + duration + ")" : duration) +
               (static_cast<uint64_t>(salvage.lostBytes) > kMaxRecordingBytes
                    ? "; more may be lost: the size of the audio in the file is wrong"
                    : ", lost " + Counted(salvage.lostBytes, "byte"));
    }

    // About what is done.
    void PassOnRemarks() const {
        for (const std::string& remark : remarks_) context_.console.Note(job_.input, "note: " + remark);
    }

    const ConversionJob& job_;
    const DecodeOptions& options_;
    CommandContext context_;
    const PluginLibrary& library_;
    Progress::Share progress_;
    std::optional<Verification> verification_;
    std::vector<std::string> remarks_;
};

bool DecodeCommand(const DecodeOptions& options, CommandContext context) {
    options.conversion.Check();
    const std::vector<ConversionJob> jobs = PlanDecodeJobs(options);
    const PluginLibrary library = PluginLibrary::OfWave64(context.plugin);
    Progress progress(context.console, options.inputs[0], static_cast<int>(jobs.size()));
    return ForEachJob(jobs, options, context.console, [&](const ConversionJob& job, WorkSlot& slot) {
        FileDecoding(job, options, context, library, progress).Run(slot);
    });
}

}  // namespace

void AddDecode(CLI::App& app, CommandLine& line) {
    auto& options = line.Keep<DecodeOptions>();
    CLI::App* command = app.add_subcommand("decode", "Decode Wave64 files to WAV, FLAC and others");
    line.OnCommand(command, DecodeCommand, options);
    command->add_option("IN", options.inputs, "Wave64 files")->required()->type_name("");
    AddFolders(command, line, options.inputs, FilesInFolders::Wave64);
    AddStandardInput(command, line, "IN", options.inputs, [&] { return NamesAFile(options.output); });
    command
        ->add_option("-o,--output", options.output,
                     "A .wav, .flac, .aiff, .caf, .ogg, .opus, .mp3, .raw or\n.pcm file, a folder, or - for "
                     "standard output;\ndefault: a .wav next to IN")
        ->check([](const std::string& name) { return name.empty() ? "a name is missing" : ""; })
        ->type_name("OUT");
    command
        ->add_option_function<std::string>(
            "--format", [&options](const std::string& kind) { options.type = AudioFileTypeOf("." + kind); },
            "wav, flac, aiff, caf, ogg, opus, mp3 or raw, regardless\nof the output's extension")
        ->check(CLI::IsMember({"wav", "flac", "aiff", "caf", "ogg", "opus", "mp3", "raw"}).description(""))
        ->type_name("KIND");
    AddRange(command, options.start, options.end);
    command->add_flag("--salvage", options.salvage, "Decode what a damaged file still holds");
    AddConvertOptions(command, options);
    SetFooter(command, std::string(kAboutPlaces) + kAboutOutputs + kAboutStandardInput);
}

}  // namespace w64
