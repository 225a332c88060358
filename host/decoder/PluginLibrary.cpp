#include "host/decoder/PluginLibrary.h"

#include "base/XApplication.h"
#include "base/XStr.h"
#include "host/terminal/Failure.h"

#include <dlfcn.h>

namespace w64 {

PluginLibrary::PluginLibrary(const std::filesystem::path& file)
    : module_(::dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL)), Create(Find<KvCreateFn>(kvNameOfCreate)),
      Destroy(Find<KvDestroyFn>(kvNameOfDestroy)), Open(Find<KvOpenFn>(kvNameOfOpen)),
      Close(Find<KvCloseFn>(kvNameOfClose)), DecodeBlock(Find<KvDecodeBlockFn>(kvNameOfDecodeBlock)),
      Get(Find<KvGetFn>(kvNameOfGet)), Set(Find<KvSetFn>(kvNameOfSet)),
      DeleteATag(Find<KvDeleteATagFn>(kvNameOfDeleteATag)) {}

PluginLibrary PluginLibrary::OfWave64(const std::filesystem::path& place) {
    namespace fs = std::filesystem;
    std::error_code ignored;  // dlopen says more
    const bool isFolder = place.empty() || fs::is_directory(place, ignored);
    const fs::path named = place.empty() ? FolderOfProgram() : fs::absolute(place);
    return PluginLibrary(isFolder ? named / "w64.dll" : named);
}

std::filesystem::path PluginLibrary::FolderOfProgram() { return ToFileName(XApplication::ApplicationPath()); }

void PluginLibrary::Unload::operator()(void* module) const { ::dlclose(module); }

template <class Function>
Function PluginLibrary::Find(const char* name) const {
    void* symbol = module_ ? ::dlsym(module_.get(), name) : nullptr;
    if (!symbol) throw Failure(std::string("cannot load the decoder: ") + ::dlerror());
    return reinterpret_cast<Function>(symbol);
}

}  // namespace w64
