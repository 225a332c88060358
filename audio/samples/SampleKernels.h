#pragma once

#include "audio/samples/SampleMode.h"

namespace w64 {

// Block loops over samples in memory, bit for bit the same as the functions for single samples. A dithered
// mode counts as the plain one.
struct SampleKernels {
    // PutInt(i, GetInt(i)) for ascending i, so the target may start at the source's address if its samples
    // are narrower, or of the same width in another layout.
    void (*convert)(SampleMode from, const uint8_t* source, SampleMode to, uint8_t* target, int64_t count);

    // PutDbl(i, values[i]).
    void (*round)(const double* values, SampleMode to, uint8_t* target, int64_t count);
};

const SampleKernels& PortableKernels();
const SampleKernels* VectorKernels();  // null where the processor lacks AVX2
const SampleKernels& FastestKernels();

}  // namespace w64
