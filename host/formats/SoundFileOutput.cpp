#include "host/formats/SoundFileOutput.h"

namespace w64 {

SF_VIRTUAL_IO* SoundFileOutput::Calls() {
    static constexpr auto of = [](void* output) -> SoundFileOutput& {
        return *static_cast<SoundFileOutput*>(output);
    };
    static SF_VIRTUAL_IO calls = {
        [](void* output) -> sf_count_t { return of(output).file_.Size(); },
        [](sf_count_t offset, int whence, void* output) -> sf_count_t {
            XFile& file = of(output).file_;
            const sf_count_t from = whence == SEEK_SET   ? 0
                                    : whence == SEEK_CUR ? file.GetPosition()
                                                         : file.Size();
            return file.SetPosition(from + offset) ? from + offset : -1;
        },
        [](void* data, sf_count_t bytes, void* output) -> sf_count_t {
            return static_cast<sf_count_t>(of(output).file_.Read(data, static_cast<size_t>(bytes)));
        },
        [](const void* data, sf_count_t bytes, void* output) -> sf_count_t {
            return of(output).file_.Write(data, static_cast<size_t>(bytes)) ? bytes : 0;
        },
        [](void* output) -> sf_count_t { return of(output).file_.GetPosition(); },
    };
    return &calls;
}

}  // namespace w64
