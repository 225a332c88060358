#include "audio/fft/FFT.h"
#include "Formats.h"
#include "audio/fft/ChannelGrid.h"

#include <cmath>
#include <numbers>

namespace w64 {

namespace {

using std::numbers::pi;

// Work areas of exactly the documented sizes.
struct Work {
    Work(int n, int quartersOfN)
        : w(static_cast<size_t>(quartersOfN * n / 4)), t(static_cast<size_t>(n / 2 + 1)) {}

    int ip[2] = {};
    Samples w;
    Samples t;
};

template <auto Transform, int kSign>
void Run(int n, double* a, Work& x) {
    Transform(n, kSign, a, x.ip, x.w.data());
}

template <auto Transform>
void RunWithMemory(int n, double* a, Work& x) {
    Transform(n, a, x.t.data(), x.ip, x.w.data());
}

// Output k as a weighted sum of the input.
struct Definition {
    const char* name;
    void (*transform)(int n, double* a, Work& work);
    int quartersOfN;
    double (*weight)(int n, int j, int k);

    Samples Input(int n) const {
        return Random(static_cast<size_t>(n) + (transform == RunWithMemory<dfct> ? 1 : 0));
    }

    Samples Transformed(int n, Work& work) const {
        Samples a = Input(n);
        transform(n, a.data(), work);
        return a;
    }

    double Sum(int n, const Samples& input, size_t k) const {
        double sum = 0;
        for (size_t j = 0; j < input.size(); ++j)
            sum += input[j] * weight(n, static_cast<int>(j), static_cast<int>(k));
        return sum;
    }
};

double CosSin(int64_t index, double angle) { return index % 2 == 0 ? std::cos(angle) : std::sin(angle); }

// What part j of a complex number contributes to part k of its product with exp(i angle).
double Rotated(int j, int k, double angle) {
    if (j % 2 == k % 2) return std::cos(angle);
    return k % 2 == 0 ? -std::sin(angle) : std::sin(angle);
}

double Angle(double numerator, int denominator) {
    return pi * std::fmod(numerator, 2.0 * denominator) / denominator;
}

int Last(int index, int n) { return index == 0 ? n : index; }

const Definition kDefinitions[] = {
    {"cdft 1", Run<cdft, 1>, 2,
     [](int n, int j, int k) { return Rotated(j, k, Angle(4.0 * (j / 2) * (k / 2), n)); }},
    {"cdft -1", Run<cdft, -1>, 2,
     [](int n, int j, int k) { return Rotated(j, k, -Angle(4.0 * (j / 2) * (k / 2), n)); }},
    {"rdft 1", Run<rdft, 1>, 2,
     [](int n, int j, int k) { return k == 1 ? std::cos(pi * j) : CosSin(k, Angle(2.0 * j * (k / 2), n)); }},
    {"rdft -1", Run<rdft, -1>, 2,
     [](int n, int j, int k) {
         if (j < 2) return j == 0 ? 0.5 : std::cos(pi * k) / 2;
         return CosSin(j, Angle(2.0 * (j / 2) * k, n));
     }},
    {"ddct -1", Run<ddct, -1>, 6, [](int n, int j, int k) { return std::cos(Angle((j + 0.5) * k, n)); }},
    {"ddct 1", Run<ddct, 1>, 6, [](int n, int j, int k) { return std::cos(Angle(j * (k + 0.5), n)); }},
    {"ddst -1", Run<ddst, -1>, 6,
     [](int n, int j, int k) { return std::sin(Angle((j + 0.5) * Last(k, n), n)); }},
    {"ddst 1", Run<ddst, 1>, 6,
     [](int n, int j, int k) { return std::sin(Angle(Last(j, n) * (k + 0.5), n)); }},
    {"dfct", RunWithMemory<dfct>, 3, [](int n, int j, int k) { return std::cos(Angle(1.0 * j * k, n)); }},
    {"dfst", RunWithMemory<dfst>, 3, [](int n, int j, int k) { return std::sin(Angle(1.0 * j * k, n)); }},
};

void ExpectNear(const Samples& numbers, const Samples& expected, double tolerance) {
    ASSERT_EQ(numbers.size(), expected.size());
    for (size_t i = 0; i < numbers.size(); ++i) ASSERT_NEAR(numbers[i], expected[i], tolerance) << i;
}

TEST(FFT, EveryTransformIsItsDefiningSum) {
    for (const Definition& definition : kDefinitions) {
        for (int n = 2; n <= 512; n *= 2) {
            SCOPED_TRACE(testing::Message() << definition.name << " of " << n);
            Work work(n, definition.quartersOfN);
            const Samples input = definition.Input(n);
            Samples sums;
            for (size_t k = 0; k < input.size(); ++k) sums.push_back(definition.Sum(n, input, k));
            ExpectNear(definition.Transformed(n, work), sums, 1e-12 * n);
        }
    }
}

TEST(FFT, LargeTransformsInvertAndAreTheirSums) {
    for (const int n : {32768, 65536}) {
        Work work(n, 6);
        for (size_t which = 0; which < 8; which += 2) {
            const Definition& definition = kDefinitions[which];
            SCOPED_TRACE(testing::Message() << definition.name << " of " << n);
            const Samples input = definition.Input(n);
            Samples a = definition.Transformed(n, work);
            for (const size_t k : {0u, 1u, 2u, 3u, 4097u, 20000u, 32767u})
                ASSERT_NEAR(a[k], definition.Sum(n, input, k), 1e-12 * n) << k;
            // The inverse of a cosine transform is the other one, which counts a[0] twice.
            if (which >= 4) a[0] /= 2;
            kDefinitions[which + 1].transform(n, a.data(), work);
            for (double& number : a) number *= 2.0 / n;
            ExpectNear(a, input, 1e-12);
        }
        for (const size_t which : {8u, 9u}) {
            const Definition& definition = kDefinitions[which];
            const Samples input = definition.Input(n), a = definition.Transformed(n, work);
            for (const size_t k : {1u, 2u, 3u, 4097u, 20000u, 32767u})
                ASSERT_NEAR(a[k], definition.Sum(n, input, k), 1e-12 * n) << definition.name << k;
        }
    }
}

TEST(FFT, TablesOfOneSizeServeSmallerOnesAndGrow) {
    Work shared(4096, 6);
    for (const int n : {64, 2048, 16, 4096, 1024}) {
        for (const Definition& definition : kDefinitions) {
            SCOPED_TRACE(testing::Message() << definition.name << " of " << n);
            Work own(n, 6);
            ExpectNear(definition.Transformed(n, shared), definition.Transformed(n, own), 1e-12 * n);
        }
    }
}

// With the conventions of rdft where both take the size, there and back, a part of the numbers only.
TEST(ChannelGrid, TransformsLikeRdftAndBack) {
    for (const int n : {512, 8192, 65536, 3 * 5 * 7 * 32 * 4}) {
        SCOPED_TRACE(n);
        ASSERT_TRUE(ChannelGrid::Takes(n, 1));
        const auto size = static_cast<size_t>(n);
        const Samples numbers = Random(size);
        Samples spectrum(size + 8);
        Samples work(size);
        ChannelGrid grid(n, 1);
        grid.Forward(numbers.data(), spectrum.data(), work.data());
        const auto part = [&](size_t bin, size_t imaginary) {
            return spectrum[bin / 4 * 8 + bin % 4 + 4 * imaginary];
        };
        Samples sums = numbers;
        if ((n & (n - 1)) == 0) {
            Work tables(n, 2);
            rdft(n, 1, sums.data(), tables.ip, tables.w.data());
            ASSERT_NEAR(part(size / 2, 0), sums[1], 1e-13 * n);
            for (size_t k = 1; k < size / 2; ++k) {
                ASSERT_NEAR(part(k, 0), sums[2 * k], 1e-13 * n) << k;
                ASSERT_NEAR(part(k, 1), sums[2 * k + 1], 1e-13 * n) << k;
            }
        }
        ASSERT_NEAR(part(0, 1), 0, 1e-13 * n);
        Samples back(size / 2);
        grid.Inverse(spectrum.data(), back.data(), n / 4, n / 4 * 3, work.data());
        for (double& number : back) number /= n;
        ExpectNear(back, Samples(numbers.begin() + n / 4, numbers.begin() + n / 4 * 3), 1e-13);
    }
}

}  // namespace

}  // namespace w64
