#include "wave64/engine/XDLL.h"

#include <dlfcn.h>

namespace w64 {

void XDLL::FreeDLL() {
    if (library_) ::dlclose(library_);
    library_ = nullptr;
}

void* XDLL::_Load(const wchar_t* path) { return ::dlopen(ToFileName(path).c_str(), RTLD_NOW | RTLD_LOCAL); }

void* XDLL::_GetProc(void* library, const char* name) { return library ? ::dlsym(library, name) : nullptr; }

}  // namespace w64
