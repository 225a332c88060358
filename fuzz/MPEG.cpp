// The decoder of MPEG audio, as a host of files and as the Wave64 decoder uses it.

#include "Instance.h"
#include "MemoryFile.h"

namespace w64 {

namespace {

// Each packet of `cuts`, then the rest; empty if the decoder fails.
Bytes DecodePackets(const Bytes& stream, Input cuts) {
    Instance instance;
    Require(instance.Open(L"", kvOpenPackets | kvOpenDecode) == 1, "packets can be decoded");
    Bytes audio;
    for (size_t at = 0; at < stream.size();) {
        const size_t bytes = cuts.IsUsedUp() ? stream.size() - at : 1 + cuts.Below(2000);
        const bool isLast = at + bytes >= stream.size();
        if (!instance.Decode(audio, Slice(stream, at, at + bytes), isLast)) return {};
        at += bytes;
    }
    return audio;
}

void CallOnFile(Instance& instance, const std::wstring& name, Input& in) {
    Bytes audio;
    switch (in.Byte() % 6) {
    case 0:
        return void(instance.Open(name, in.Byte() % 32));
    case 1:
        for (int left = in.Byte() % 16; left > 0 && instance.Decode(audio); --left) continue;
        return;
    case 2:
        return void(instance.GoTo(AnyFrame(in)));
    case 3: {
        const int64_t start = AnyFrame(in);
        return void(instance.SetRange(start, AnyFrame(in)));
    }
    case 4:
        return void(instance.Decode(audio, in.Take(in.Byte()), in.Byte() % 2 == 0));
    default:
        instance.Close();
    }
}

}  // namespace

}  // namespace w64

// A length and that many bytes that choose calls or packets, then the stream.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace w64;
    ResetTrace();
    Input in(data, size);
    const bool hasPackets = in.Byte() % 2 == 0;
    Input choices(in.Take(in.Byte()));
    const Bytes stream = in.Rest();
    if (hasPackets) {
        const Bytes whole = DecodePackets(stream, Input(Bytes()));
        Require(DecodePackets(stream, choices) == whole, "the packets make no difference");
        return 0;
    }
    const MemoryFile file;
    file.Write(stream);
    Instance instance(choices.Byte() % 8 == 0);
    instance.Open(file.Name(), kvOpenDecode);
    while (!choices.IsUsedUp()) CallOnFile(instance, file.Name(), choices);
    return 0;
}
