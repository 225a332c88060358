#pragma once

#include "audio/SampleMode.h"

// Block loops over samples in memory that give, bit for bit, what the rules for single samples give.
// Layouts: a dithered mode counts as the plain one.
struct SampleKernels {
    // As PutInt(i, GetInt(i)) for ascending i, so that the target may begin where the source does when its
    // samples are narrower, or as wide in another layout.
    void (*convert)(SampleMode from, const uint8_t* source, SampleMode to, uint8_t* target, int64_t count);

    // As PutDbl(i, values[i]).
    void (*round)(const double* values, SampleMode to, uint8_t* target, int64_t count);
};

const SampleKernels& PortableKernels();
const SampleKernels* VectorKernels();  // null where the processor has no use for them
const SampleKernels& FastestKernels();
