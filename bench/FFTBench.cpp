// A real transform and its inverse, against the peer library's planned ones on the same numbers.

#include "audio/fft/FFT.h"

#include <benchmark/benchmark.h>
#include <fftw3.h>

#include <cmath>
#include <vector>

namespace w64 {

namespace {

template <int kSize>
void TransformByFFT(benchmark::State& state) {
    std::vector<double> numbers(kSize, 1.0);
    std::vector<double> w(kSize / 2);
    int ip[2] = {};
    makewt(kSize / 2, ip, w.data());
    for ([[maybe_unused]] auto _ : state) {
        rdft(kSize, 1, numbers.data(), ip, w.data());
        rdft(kSize, -1, numbers.data(), ip, w.data());
        for (double& number : numbers) number *= 2.0 / kSize;
    }
    if (std::fabs(numbers[7] - 1) > 1e-6) state.SkipWithError("the way back leads elsewhere");
}

// A transform and its inverse, scaled like ours so that the numbers stay finite.
template <int kSize>
void TransformByFFTW(benchmark::State& state) {
    std::vector<double> numbers(kSize, 1.0);
    std::vector<fftw_complex> spectrum(kSize / 2 + 1);
    fftw_plan there = fftw_plan_dft_r2c_1d(kSize, numbers.data(), spectrum.data(), FFTW_MEASURE);
    fftw_plan back = fftw_plan_dft_c2r_1d(kSize, spectrum.data(), numbers.data(), FFTW_MEASURE);
    numbers.assign(kSize, 1.0);
    for ([[maybe_unused]] auto _ : state) {
        fftw_execute(there);
        fftw_execute(back);
        for (double& number : numbers) number *= 1.0 / kSize;
    }
    fftw_destroy_plan(there);
    fftw_destroy_plan(back);
    if (std::fabs(numbers[7] - 1) > 1e-6) state.SkipWithError("the way back leads elsewhere");
}

BENCHMARK(TransformByFFT<32768>)->Name("Transform32768ByFFT")->Unit(benchmark::kMicrosecond);
BENCHMARK(TransformByFFTW<32768>)->Name("Transform32768ByFFTW")->Unit(benchmark::kMicrosecond);
BENCHMARK(TransformByFFT<65536>)->Name("Transform65536ByFFT")->Unit(benchmark::kMicrosecond);
BENCHMARK(TransformByFFTW<65536>)->Name("Transform65536ByFFTW")->Unit(benchmark::kMicrosecond);

}  // namespace

}  // namespace w64
