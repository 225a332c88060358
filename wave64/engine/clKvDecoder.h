#pragma once

#include "interface/w64_decoder.h"
#include "wave64/engine/XDLL.h"

namespace w64 {

// Another decoder plug-in of this family, used as a host uses this one. States: unloaded, loaded (library open,
// entry points found), created (an instance exists); one instance at a time.
// Errors: false or 0, without a message. Calls on an incomplete or unloaded plug-in return 0. Exceptions
//         of the plug-in pass through, except from Close and Destroy.
class clKvDecoder : public XDLL {
public:
    ~clKvDecoder() override { FreeDLL(); }

    // Unloads the previous library, loads `path`, and passes the path to the plug-in's SetModulePath, if any.
    [[nodiscard]] bool LoadDecoder(const XStr& path, const XStr& extension);
    bool InitDLL(const wchar_t* path) override;
    void FreeDLL();

    // The extension given to LoadDecoder; empty when nothing is loaded.
    const XStr& CreatedWithExtension() const { return extension_; }

    [[nodiscard]] bool Create(STNStdReport report);
    void Destroy();

    int32_t Open(STKvOpenDecoder* open) { return Call(open_, open); }
    int32_t Close(STKvEncoderFluid* fluid);
    int32_t DecodeBlock(STKvAudioBlock* block) { return Call(decodeBlock_, block); }
    int32_t SetPosition(int64_t frame) { return Call(setPosition_, frame); }
    int32_t Get(const wchar_t* key, STKvCodecGetSet* record) { return Call(get_, key, record); }
    int32_t Set(const wchar_t* key, STKvCodecGetSet* record) { return Call(set_, key, record); }
    int32_t DeleteATag(const wchar_t* file, const wchar_t* names) { return Call(deleteATag_, file, names); }

private:
    template <class Function, class... Arguments>
    int32_t Call(Function function, Arguments... arguments) {
        return instance_ && function ? function(instance_, arguments...) : 0;
    }
    template <class Function>
    bool Find(Function& function, const char* name);

    bool loaded_ = false;
    XStr extension_;
    XStr modulePath_;
    KvCreateFn create_ = nullptr;
    KvDestroyFn destroy_ = nullptr;
    KvGetFn get_ = nullptr;
    KvSetFn set_ = nullptr;
    KvOpenFn open_ = nullptr;
    KvCloseFn close_ = nullptr;
    KvDecodeBlockFn decodeBlock_ = nullptr;
    KvSetPositionFn setPosition_ = nullptr;
    KvDeleteATagFn deleteATag_ = nullptr;
    KvSetModulePathFn setModulePath_ = nullptr;
    void* instance_ = nullptr;
};

}  // namespace w64
