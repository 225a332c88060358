#include "audio/FFT.h"
#include "audio/FFTGrid.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <numbers>
#include <random>
#include <vector>

namespace {

using Numbers = std::vector<double>;

constexpr double kPi = std::numbers::pi;

Numbers Random(int count) {
    std::mt19937_64 random(static_cast<uint64_t>(count));
    Numbers numbers(static_cast<size_t>(count));
    for (double& number : numbers) number = static_cast<double>(random()) * 0x1p-63 - 1;
    return numbers;
}

// Work areas of just the documented sizes.
struct Work {
    Work(int n, int quartersOfN)
        : w(static_cast<size_t>(quartersOfN * n / 4)), t(static_cast<size_t>(n / 2 + 1)) {}

    int ip[2] = {};
    Numbers w;
    Numbers t;
};

// Output k as a weighted sum of the input.
struct Definition {
    const char* name;
    std::function<Numbers(int)> input;
    std::function<void(int, double*, Work&)> transform;
    int quartersOfN;
    std::function<double(int n, int j, int k)> weight;
};

double CosSin(int64_t index, double angle) { return index % 2 == 0 ? std::cos(angle) : std::sin(angle); }

// Of the product of a complex number and exp(i angle): what part j of the one gives to part k of the other.
double Turned(int j, int k, double angle) {
    if (j % 2 == k % 2) return std::cos(angle);
    return k % 2 == 0 ? -std::sin(angle) : std::sin(angle);
}

double Angle(double numerator, int denominator) {
    return kPi * std::fmod(numerator, 2.0 * denominator) / denominator;
}

int Last(int index, int n) { return index == 0 ? n : index; }

const Definition kDefinitions[] = {
    {"cdft 1", Random, [](int n, double* a, Work& x) { cdft(n, 1, a, x.ip, x.w.data()); }, 2,
     [](int n, int j, int k) { return Turned(j, k, Angle(4.0 * (j / 2) * (k / 2), n)); }},
    {"cdft -1", Random, [](int n, double* a, Work& x) { cdft(n, -1, a, x.ip, x.w.data()); }, 2,
     [](int n, int j, int k) { return Turned(j, k, -Angle(4.0 * (j / 2) * (k / 2), n)); }},
    {"rdft 1", Random, [](int n, double* a, Work& x) { rdft(n, 1, a, x.ip, x.w.data()); }, 2,
     [](int n, int j, int k) { return k == 1 ? std::cos(kPi * j) : CosSin(k, Angle(2.0 * j * (k / 2), n)); }},
    {"rdft -1", Random, [](int n, double* a, Work& x) { rdft(n, -1, a, x.ip, x.w.data()); }, 2,
     [](int n, int j, int k) {
         if (j < 2) return j == 0 ? 0.5 : std::cos(kPi * k) / 2;
         return CosSin(j, Angle(2.0 * (j / 2) * k, n));
     }},
    {"ddct -1", Random, [](int n, double* a, Work& x) { ddct(n, -1, a, x.ip, x.w.data()); }, 6,
     [](int n, int j, int k) { return std::cos(Angle((j + 0.5) * k, n)); }},
    {"ddct 1", Random, [](int n, double* a, Work& x) { ddct(n, 1, a, x.ip, x.w.data()); }, 6,
     [](int n, int j, int k) { return std::cos(Angle(j * (k + 0.5), n)); }},
    {"ddst -1", Random, [](int n, double* a, Work& x) { ddst(n, -1, a, x.ip, x.w.data()); }, 6,
     [](int n, int j, int k) { return std::sin(Angle((j + 0.5) * Last(k, n), n)); }},
    {"ddst 1", Random, [](int n, double* a, Work& x) { ddst(n, 1, a, x.ip, x.w.data()); }, 6,
     [](int n, int j, int k) { return std::sin(Angle(Last(j, n) * (k + 0.5), n)); }},
    {"dfct", [](int n) { return Random(n + 1); },
     [](int n, double* a, Work& x) { dfct(n, a, x.t.data(), x.ip, x.w.data()); }, 3,
     [](int n, int j, int k) { return std::cos(Angle(1.0 * j * k, n)); }},
    {"dfst", Random, [](int n, double* a, Work& x) { dfst(n, a, x.t.data(), x.ip, x.w.data()); }, 3,
     [](int n, int j, int k) { return std::sin(Angle(1.0 * j * k, n)); }},
};

double Defined(const Definition& definition, int n, const Numbers& input, size_t k) {
    double sum = 0;
    for (size_t j = 0; j < input.size(); ++j) {
        sum += input[j] * definition.weight(n, static_cast<int>(j), static_cast<int>(k));
    }
    return sum;
}

TEST(FFT, EveryTransformIsItsDefiningSum) {
    for (const Definition& definition : kDefinitions) {
        for (int n = 2; n <= 1024; n *= 2) {
            SCOPED_TRACE(testing::Message() << definition.name << " of " << n);
            const Numbers input = definition.input(n);
            Numbers output = input;
            Work work(n, definition.quartersOfN);
            definition.transform(n, output.data(), work);
            for (size_t k = 0; k < output.size(); ++k) {
                ASSERT_NEAR(output[k], Defined(definition, n, input, k), 1e-12 * n) << k;
            }
        }
    }
}

TEST(FFT, LargeTransformsLeadBackAndAreTheirSums) {
    constexpr int kSize = 65536;
    const Numbers input = Random(kSize);
    for (const int n : {kSize / 2, kSize}) {
        Work work(n, 6);
        for (size_t which = 0; which < 8; which += 2) {
            SCOPED_TRACE(testing::Message() << kDefinitions[which].name << " of " << n);
            const Numbers expected(input.begin(), input.begin() + n);
            Numbers a = expected;
            kDefinitions[which].transform(n, a.data(), work);
            for (const size_t k : {0, 1, 2, 3, 4097, 20000, 32767}) {
                ASSERT_NEAR(a[k], Defined(kDefinitions[which], n, expected, k), 1e-12 * n) << k;
            }
            // Back from a cosine transform leads the other one, which counts a[0] twice.
            if (which >= 4) a[0] /= 2;
            kDefinitions[which + 1].transform(n, a.data(), work);
            for (size_t j = 0; j < a.size(); ++j) ASSERT_NEAR(a[j] * 2 / n, expected[j], 1e-12) << j;
        }
    }
}

TEST(FFT, TablesOfOneSizeServeSmallerOnesAndGrow) {
    Work work(4096, 6);
    for (const int n : {64, 2048, 16, 4096, 1024}) {
        const Numbers input = Random(n);
        for (const Definition& definition : kDefinitions) {
            const Numbers sized = definition.input(n);
            Numbers shared = sized;
            Numbers own = sized;
            definition.transform(n, shared.data(), work);
            Work fresh(n, 6);
            definition.transform(n, own.data(), fresh);
            for (size_t k = 0; k < own.size(); ++k)
                ASSERT_NEAR(shared[k], own[k], 1e-12 * n) << definition.name;
        }
    }
}

TEST(FFTGrid, TransformsProductsOfSmallPrimes) {
    for (const int points : {144, 256, 960, 1344, 9408, 28224}) {
        ASSERT_TRUE(FFTGrid::Takes(points));
        FFTGrid grid(points);
        const Numbers in = Random(2 * points);
        Numbers spectrum = in;
        Numbers work(in.size());
        grid.Forward(spectrum.data(), spectrum.data(), work.data());
        for (int k = 1; k < points; k += points / 7) {
            double re = 0;
            double im = 0;
            for (int j = 0; j < points; ++j) {
                const double angle = Angle(2.0 * std::fmod(static_cast<double>(j) * k, points), points);
                const auto at = static_cast<size_t>(2 * j);
                re += in[at] * std::cos(angle) - in[at + 1] * std::sin(angle);
                im += in[at] * std::sin(angle) + in[at + 1] * std::cos(angle);
            }
            const auto at = static_cast<size_t>(k / 4 * 8 + k % 4);
            ASSERT_NEAR(spectrum[at], re, 1e-12 * points) << points;
            ASSERT_NEAR(spectrum[at + 4], im, 1e-12 * points) << points;
        }
        Numbers back(in.size());
        grid.Inverse(spectrum.data(), back.data(), 4, points - 8, work.data());
        for (size_t i = 8; i < in.size() - 16; ++i) ASSERT_NEAR(back[i - 8] / points, in[i], 1e-13) << points;
        ASSERT_EQ(back[in.size() - 24], 0) << "past the wanted end";
    }
    for (const int points : {0, -16, 16, 24, 112, 256 * 11}) EXPECT_FALSE(FFTGrid::Takes(points));
}

}  // namespace
