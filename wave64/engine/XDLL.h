#pragma once

#include "base/XStr.h"

namespace w64 {

// A dynamic library, loaded with RTLD_LOCAL and RTLD_NOW. The destructor unloads it.
class XDLL {
public:
    XDLL() = default;
    XDLL(const XDLL&) = delete;  // a library handle has one owner
    XDLL& operator=(const XDLL&) = delete;
    virtual ~XDLL() { FreeDLL(); }

    // Loads the library at `path`, if given, and looks up its entry points. False if a required one is missing.
    virtual bool InitDLL(const wchar_t* path) = 0;

    void FreeDLL();

protected:
    static void* _Load(const wchar_t* path);
    static void* _GetProc(void* library, const char* name);

    void* library_ = nullptr;
};

}  // namespace w64
