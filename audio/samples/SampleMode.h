#pragma once

#include "audio/samples/XAudioSampleAccess.h"

namespace w64 {

// The layout of samples in memory, and how they are written.
enum class SampleMode {
    Int16,
    Int24,  // packed in 3 bytes
    Int8,   // unsigned, silence at 128
    Int32,
    Float32,
    Float64,
    Dithered16,  // as Int16, written through a NOneChannelDither per channel
    Dithered24,
    None,
};

// Calls the action with the layout of a mode.
template <class Action>
auto WithLayout(SampleMode mode, Action action) {
    switch (mode) {
    case SampleMode::Int16:
    case SampleMode::Dithered16:
        return action(Samples16());
    case SampleMode::Int24:
    case SampleMode::Dithered24:
        return action(Samples24());
    case SampleMode::Int8:
        return action(Samples8());
    case SampleMode::Int32:
        return action(Samples32());
    case SampleMode::Float32:
        return action(SamplesFlt());
    case SampleMode::Float64:
        return action(SamplesDBL());
    case SampleMode::None:
        break;
    }
    return action(NoSamples());
}

}  // namespace w64
