#include "host/decoder/SubDecoder.h"

#include "host/decoder/PluginLibrary.h"
#include "host/decoder/ReportChannels.h"

#include <exception>

namespace w64 {

bool HasSubDecoder() try {
    const PluginLibrary library(PluginLibrary::FolderOfProgram() / "mp3.dll");
    const ReportChannels channels(0);
    STNStdReport report = channels.Report();
    const std::unique_ptr<void, KvDestroyFn> decoder(library.Create(&report), library.Destroy);
    STKvOpenDecoder open{};
    open.OpenFlags = kvOpenPackets;
    return decoder && library.Open(decoder.get(), &open) == 1;
} catch (const std::exception&) {
    return false;
}

}  // namespace w64
