#pragma once

#include "host/plot/FrequencyScale.h"

#include <cstddef>
#include <span>
#include <vector>

namespace w64 {

// The power in bands of equal width on a scale of frequencies, from that in the bins of a transform.
// Units:  a band has the power of its highest peak. Between bins, a band narrower than these has the power that
//         leads from one to the other.
class FrequencyBands {
public:
    // The last bin is at the highest frequency of the scale.
    FrequencyBands(const FrequencyScale& scale, size_t count, size_t bins);

    size_t Count() const { return bands_.size(); }

    // Appends the powers of all bands, times `factor`.
    void Append(std::span<const double> bins, double factor, std::vector<float>& powers) const;

private:
    struct Band {
        double middle;  // in bins
        size_t first;   // bin
        size_t end;     // 0 if the band is narrower than a bin
    };

    std::vector<Band> bands_;
};

}  // namespace w64
