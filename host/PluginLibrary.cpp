#include "host/PluginLibrary.h"

#include "base/XApplication.h"
#include "host/Failure.h"

#include <dlfcn.h>

PluginLibrary::PluginLibrary(const std::filesystem::path& file)
    : module_(::dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL)), Create(Find<KvCreateFn>("Create")),
      Destroy(Find<KvDestroyFn>("Destroy")), Open(Find<KvOpenFn>("Open")), Close(Find<KvCloseFn>("Close")),
      DecodeBlock(Find<KvDecodeBlockFn>("DecodeBlock")), Get(Find<KvGetFn>("Get")), Set(Find<KvSetFn>("Set")),
      DeleteATag(Find<KvDeleteATagFn>("DeleteATag")) {}

PluginLibrary PluginLibrary::BesideProgram() {
    return PluginLibrary(std::filesystem::path(ToUTF8(XApplication::ApplicationPath())) / "w64.dll");
}

void PluginLibrary::Unload::operator()(void* module) const { ::dlclose(module); }

template <class Function>
Function PluginLibrary::Find(const char* name) const {
    void* symbol = module_ ? ::dlsym(module_.get(), name) : nullptr;
    if (!symbol) throw Failure(std::string("cannot load the decoder: ") + ::dlerror());
    return reinterpret_cast<Function>(symbol);
}
