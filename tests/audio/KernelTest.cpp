#include "Formats.h"
#include "audio/SampleKernels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace {

constexpr SampleMode kModes[] = {SampleMode::Int8,  SampleMode::Int16,   SampleMode::Int24,
                                 SampleMode::Int32, SampleMode::Float32, SampleMode::Float64,
                                 SampleMode::None};
constexpr int64_t kCounts[] = {0, 1, 8, 10, 11, 12, 18, 19, 20, 500};

int64_t BytesOf(SampleMode mode) {
    return WithLayout(mode, [](auto layout) { return int64_t{layout.kBits} / 8; });
}

std::vector<const SampleKernels*> AllKernels() {
    std::vector<const SampleKernels*> all{&PortableKernels()};
    if (VectorKernels()) all.push_back(VectorKernels());
    return all;
}

// Around every step and half step where rounding, clipping and casts may go wrong, and anything in between.
std::vector<double> Values() {
    std::vector<double> values{0.0, NAN, INFINITY, 1e300, 1e-310};
    for (const double step : {0x1p-7, 0x1p-15, 0x1p-23, 0x1p-31}) {
        for (const double steps : {0.25, 0.5, 1.0, 1.5, 1 / step - 1, 1 / step - 0.5, 1 / step, 2 / step}) {
            for (const double toward : {0.0, 4.0}) values.push_back(std::nextafter(steps * step, toward));
            values.push_back(steps * step);
        }
    }
    std::mt19937_64 random(3);
    while (values.size() < 250)
        values.push_back(std::ldexp(static_cast<double>(random()), -64 - static_cast<int>(random() % 34)));
    const std::vector<double> positive = values;
    for (const double value : positive) values.push_back(-value);
    std::shuffle(values.begin(), values.end(), random);
    return values;
}

// Random bits; for floats every other sample is one of the values above.
Bytes Stored(SampleMode mode, int64_t count) {
    std::mt19937_64 random(5);
    Bytes bytes(static_cast<size_t>(count * BytesOf(mode)));
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<uint8_t>(random()); });
    if (mode != SampleMode::Float32 && mode != SampleMode::Float64) return bytes;
    const std::vector<double> values = Values();
    for (int64_t i = 0; i < count; i += 2) {
        WithLayout(mode,
                   [&](auto layout) { layout.PutDbl(bytes.data(), i, values[static_cast<size_t>(i)]); });
    }
    return bytes;
}

// Memory at an odd address that ends with its last byte.
struct Unaligned {
    explicit Unaligned(const Bytes& bytes) : memory(1) {
        memory.insert(memory.end(), bytes.begin(), bytes.end());
    }
    uint8_t* Data() { return memory.data() + 1; }
    Bytes Content(int64_t bytes) const { return {memory.begin() + 1, memory.begin() + 1 + bytes}; }

    Bytes memory;
};

void ExpectConverts(const SampleKernels& kernels, SampleMode from, SampleMode to, int64_t count) {
    SCOPED_TRACE(testing::Message() << int(from) << " to " << int(to) << ", " << count << " samples");
    const Bytes stored = Stored(from, count);
    const int64_t bytes = count * BytesOf(to);
    Bytes expected(static_cast<size_t>(bytes));
    for (int64_t i = 0; i < count; ++i) {
        const int32_t value = WithLayout(from, [&](auto layout) { return layout.GetInt(stored.data(), i); });
        WithLayout(to, [&](auto layout) { layout.PutInt(expected.data(), i, value); });
    }
    Unaligned source(stored);
    Unaligned target{Bytes(static_cast<size_t>(bytes))};
    kernels.convert(from, source.Data(), to, target.Data(), count);
    EXPECT_EQ(target.Content(bytes), expected);
    if (from == to || BytesOf(to) > BytesOf(from)) return;
    kernels.convert(from, source.Data(), to, source.Data(), count);
    EXPECT_EQ(source.Content(bytes), expected) << "in place";
}

TEST(SampleKernels, ConvertAsSingleSamplesDo) {
    for (const SampleKernels* kernels : AllKernels()) {
        for (const SampleMode from : kModes) {
            for (const SampleMode to : kModes) {
                for (const int64_t count : kCounts) ExpectConverts(*kernels, from, to, count);
            }
        }
    }
}

TEST(SampleKernels, RoundAsSingleSamplesDo) {
    const std::vector<double> values = Values();
    for (const SampleKernels* kernels : AllKernels()) {
        for (const SampleMode to : kModes) {
            for (const int64_t count : kCounts) {
                const int64_t bytes = count * BytesOf(to);
                Bytes expected(static_cast<size_t>(bytes));
                for (size_t i = 0; i < static_cast<size_t>(count); ++i) {
                    WithLayout(to, [&](auto layout) {
                        layout.PutDbl(expected.data(), static_cast<int64_t>(i), values[i]);
                    });
                }
                Unaligned target{Bytes(static_cast<size_t>(bytes))};
                kernels->round(values.data(), to, target.Data(), count);
                EXPECT_EQ(target.Content(bytes), expected) << int(to) << ", " << count << " samples";
            }
        }
    }
}

}  // namespace
