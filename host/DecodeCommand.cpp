#include "host/Commands.h"
#include "host/DecodeJobs.h"
#include "host/DecoderInstance.h"
#include "host/Failure.h"
#include "host/ForEachFile.h"
#include "host/FormatText.h"
#include "host/Interrupt.h"
#include "host/OutputFile.h"
#include "host/Progress.h"
#include "host/Salvage.h"
#include "host/Wave64File.h"

#include <algorithm>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr const char* kSalvageHint = "the file is cut off or damaged; --salvage keeps what it still holds";

struct FrameRange {
    int64_t start = 0;
    int64_t end = -1;  // to the end

    void LimitTo(int64_t frames) {
        end = end < 0 ? frames : std::min(end, frames);
        start = std::min(start, end);
    }
};

FrameRange RangeOf(const DecodeOptions& options, uint32_t framesPerSecond) {
    FrameRange range;
    if (options.start) range.start = options.start->Frame(framesPerSecond);
    if (options.end) range.end = options.end->Frame(framesPerSecond);
    if (options.end && range.start > range.end) throw Failure("--start lies behind --end");
    return range;
}

// Bytes of decoded audio to come; not known where the audio is stored compressed.
std::optional<int64_t> ExpectedBytes(const DecoderInstance& decoder, const std::optional<XAudioWFX>& stored) {
    if (!stored || !IsLinear(stored->WFXFormatTag())) return std::nullopt;
    return XAudioWFX(*stored).BlockAlignBuffer(decoder.Info().LengthBytes);
}

std::unique_ptr<AudioSink> MakeSink(AudioFileType type, SinkTarget target, const XAudioWFX& format,
                                    std::optional<int64_t> expectedBytes) {
    switch (type) {
    case AudioFileType::Wav:
        return MakeWavSink(target, format, expectedBytes);
    case AudioFileType::Flac:
        return MakeFlacSink(target, format);
    case AudioFileType::Raw:
        break;
    }
    return MakeRawSink(target);
}

int64_t SizeOf(const std::string& file) {
    std::error_code error;
    const auto size = fs::file_size(file, error);
    return error ? 0 : static_cast<int64_t>(size);
}

// The decoding of one file.
class FileDecoding {
public:
    FileDecoding(const DecodeJob& job, const DecodeOptions& options, CommandContext context,
                 const PluginLibrary& library, Progress& progress)
        : job_(job), options_(options), context_(context), library_(library),
          progress_(progress, SizeOf(job.input)) {}

    void Run() {
        if (job_.IsStream()) {
            XFile stream;
            stream.Open(reinterpret_cast<void*>(intptr_t{STDOUT_FILENO}));
            DecodeInto({stream, false});
            return;
        }
        if (std::error_code error; fs::equivalent(job_.input, job_.output, error)) {
            throw Failure("the output would replace this file itself; -o gives it another name");
        }
        OutputFile output(job_.output, options_.force);
        DecodeInto({output.File(), true});
        output.Commit();
        context_.console.Summary(job_.output.native(), progress_.Outcome());
    }

private:
    void DecodeInto(SinkTarget target) {
        const auto salvage = options_.salvage ? PlanSalvage(job_.input, CopyFolder()) : std::nullopt;
        const fs::path source = salvage ? salvage->source : fs::path(job_.input);
        const std::optional<XAudioWFX> stored = Wave64File(source).Format();
        FrameRange range = RangeOf(options_, stored ? stored->SamplesPerSec() : 1);
        if (salvage) range.LimitTo(salvage->frames);

        DecoderInstance decoder(library_, context_.traceDescriptor);
        if (range.start != 0 || range.end >= 0) decoder.SetDecodeRange(range.start, range.end);

        bool opened = false;
        try {
            decoder.Open(source, kvOpenDecode | kvOpenAudioInfo);
            opened = true;
            if (!salvage) RefuseDamage(decoder);
            Note(decoder.Notes());
            RefuseNonsense(decoder.Format());
            const auto sink = MakeSink(job_.type, target, decoder.Format(), ExpectedBytes(decoder, stored));
            CopyAudio(decoder, *sink);
            sink->Finish();
        } catch (const DecoderFailure& failure) {
            if (options_.salvage || !(opened || HidesAudio(source))) throw;
            throw Failure(std::string(failure.what()) + "\n" + kSalvageHint);
        }
        if (salvage) Note({Describe(*salvage)});
    }

    // Where a repaired copy may be as large as the input.
    fs::path CopyFolder() const {
        return job_.IsStream() ? fs::temp_directory_path() : job_.output.parent_path();
    }

    // What the decoder complains about and then leaves out is not to go unnoticed.
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

    void CopyAudio(DecoderInstance& decoder, AudioSink& sink) {
        const double bytesPerSecond = decoder.Format().AvgBytesPerSec();
        progress_.Expect(decoder.Info().LengthBytes);
        while (const auto audio = decoder.Read()) {
            Interrupt::Check();
            sink.Write(*audio);
            progress_.Advance(static_cast<int64_t>(audio->size()),
                              static_cast<double>(audio->size()) / bytesPerSecond);
        }
    }

    static std::string Describe(const Salvage& salvage) {
        return "salvaged " + Grouped(salvage.frames) + " frames (" + FormatDuration(salvage.milliseconds) +
               "), lost " + Grouped(salvage.lostBytes) + " bytes";
    }

    void Note(const std::vector<std::string>& notes) const {
        for (const std::string& note : notes) context_.console.Note(job_.input, "note: " + note);
    }

    const DecodeJob& job_;
    const DecodeOptions& options_;
    CommandContext context_;
    const PluginLibrary& library_;
    Progress::Share progress_;
};

}  // namespace

bool DecodeCommand(const DecodeOptions& options, CommandContext context) {
    const std::vector<DecodeJob> jobs = PlanDecodeJobs(options);
    const PluginLibrary library = PluginLibrary::BesideProgram();
    Progress progress(context.console, fs::path(options.inputs[0]).filename(), static_cast<int>(jobs.size()));
    return ForEachFile(options.inputs, options.jobs, context.console,
                       [&](size_t i) { FileDecoding(jobs[i], options, context, library, progress).Run(); });
}
