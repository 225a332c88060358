#include "wave64/engine/clKvDecoder.h"

#include <utility>

namespace w64 {

template <class Function>
bool clKvDecoder::Find(Function& function, const char* name) {
    function = reinterpret_cast<Function>(_GetProc(library_, name));
    return function != nullptr;
}

bool clKvDecoder::InitDLL(const wchar_t* path) {
    if (library_) return loaded_;
    if (path) library_ = _Load(path);
    // Looks up every pointer even after a miss, so that none is left from the previous library.
    loaded_ = library_ != nullptr;
    loaded_ &= Find(create_, kvNameOfCreate);
    loaded_ &= Find(destroy_, kvNameOfDestroy);
    loaded_ &= Find(get_, kvNameOfGet);
    loaded_ &= Find(set_, kvNameOfSet);
    loaded_ &= Find(open_, kvNameOfOpen);
    loaded_ &= Find(close_, kvNameOfClose);
    loaded_ &= Find(decodeBlock_, kvNameOfDecodeBlock);
    loaded_ &= Find(setPosition_, kvNameOfSetPosition);
    loaded_ &= Find(deleteATag_, kvNameOfDeleteATag);
    Find(setModulePath_, kvNameOfSetModulePath);
    return loaded_;
}

bool clKvDecoder::LoadDecoder(const XStr& path, const XStr& extension) {
    FreeDLL();
    if (!InitDLL(path.c_str())) return false;
    extension_ = extension;
    modulePath_ = path;  // the plug-in may keep the pointer, so it lives as long as the library is loaded
    if (setModulePath_) setModulePath_(modulePath_.c_str());
    return true;
}

void clKvDecoder::FreeDLL() {
    Destroy();
    XDLL::FreeDLL();
    clKvDecoder::InitDLL(nullptr);
    extension_.clear();
}

bool clKvDecoder::Create(STNStdReport report) {
    Destroy();
    if (loaded_) instance_ = create_(&report);
    return instance_ != nullptr;
}

int32_t clKvDecoder::Close(STKvEncoderFluid* fluid) {
    try {
        return Call(close_, fluid);
    } catch (...) {
        return 0;
    }
}

void clKvDecoder::Destroy() {
    void* instance = std::exchange(instance_, nullptr);
    try {
        if (instance && destroy_) destroy_(instance);
    } catch (...) {  // NOLINT(bugprone-empty-catch): the instance is gone either way
    }
}

}  // namespace w64
