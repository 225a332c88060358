// Calls of the plug-in in any order, over a file of any bytes.

#include "Instance.h"
#include "MemoryFile.h"
#include "TagBlock.h"

#include <dlfcn.h>
#include <filesystem>

namespace w64 {

namespace {

const wchar_t* const kKeys[] = {kvGetDecodes,           kvGetDescription, kvGetPropertyElements,
                                kvGetDefaultProperties, kvGetTagOptions,  L"unknown"};

const wchar_t* const kNames[] = {L"Title", L"Artist", L"Comment", L"_riff_1", L"", L"no such tag"};

std::string AnyOptions(Input& in) {
    std::string options;
    for (const char* name : {"SafeEdit", "LISTText", "LISTPos", "TagDefault", "LISTAlbum", "LISTTrack",
                             "LISTPadding", "LISTPaddingSize"}) {
        options += std::string(name) + "=" + std::to_string(in.Byte() % 4) + " ";
    }
    return options;
}

// Packed by the rules, or any bytes.
Bytes AnyTags(Input& in) {
    if (in.Byte() % 4 == 0) return in.Take(in.Byte());
    Tags tags;
    for (int left = in.Byte() % 4; left > 0; --left) {
        const std::wstring value(in.Below(in.Byte() % 8 == 0 ? 5000 : 30),
                                 static_cast<wchar_t>(in.Number<uint16_t>()));
        tags.push_back({in.AnyOf(kNames), value, in.Take(in.Byte() % 8)});
    }
    return Pack(tags);
}

std::wstring AnyNames(Input& in) {
    std::wstring names;
    for (int left = in.Byte() % 4; left > 0; --left) names += in.AnyOf(kNames) + std::wstring(1, L'\0');
    return names;
}

// Near the audio of a small file, or anywhere.
void Call(Instance& instance, const std::wstring& name, Input& in) {
    Bytes audio;
    switch (in.Byte() % 9) {
    case 0:
        return void(instance.Open(name, in.Byte()));
    case 1:
        return void(instance.Open(in.Byte() % 4 == 0 ? L"/nowhere" : name, 31 - kvOpenPackets));
    case 2:
        for (int left = in.Byte() % 8; left > 0 && instance.Decode(audio); --left) continue;
        return;
    case 3:
        return void(instance.GoTo(AnyFrame(in)));
    case 4: {
        const int64_t start = AnyFrame(in);
        return void(instance.SetRange(start, AnyFrame(in)));
    }
    case 5:
        return void(instance.WriteTags(name, AnyTags(in)));
    case 6:
        return void(instance.DeleteTags(name, AnyNames(in)));
    case 7: {
        const wchar_t* key = in.AnyOf(kKeys);
        const auto index = in.Number<int8_t>();
        return void(instance.Ask(key, index, in.Number<int8_t>()));
    }
    default:
        instance.Close();
    }
}

}  // namespace

}  // namespace w64

extern "C" int LLVMFuzzerInitialize(int*, char*** arguments) {
    w64::LimitFiles(1 << 18);
    // The decoder of MPEG audio is loaded and unloaded time and again; its counters have to stay where they are.
    const auto mpeg = std::filesystem::path(**arguments).parent_path() / "mp3.dll";
    w64::Require(::dlopen(mpeg.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE), "mp3.dll is there");
    return 0;
}

// A length and that many bytes that choose calls, then the file.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace w64;
    static const MemoryFile settings;
    ::setenv("XCLASS_XREGISTRY_LOCATION", settings.Path().c_str(), 1);
    ResetTrace();
    Input in(data, size);
    const size_t calls = in.Below(400);
    Input choices(in.Take(calls));
    const MemoryFile file;
    file.Write(in.Rest());
    const std::string options = SettingsOf(AnyOptions(choices));
    settings.Write(options.data(), options.size());
    Instance instance(choices.Byte() % 8 == 0);
    while (!choices.IsUsedUp()) Call(instance, file.Name(), choices);
    return 0;
}
