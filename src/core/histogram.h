/// Per-channel histograms of 12-bit samples.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "core/channel.h"
#include "core/frame.h"
#include "core/scratch.h"

namespace cali {

/// 4 channels x 4096 counts, by channel code and sample value. Samples of 4096 or more are skipped. Takes every
/// mosaic of the extended lookup; codes that are no channel are skipped. Throws std::bad_alloc.
class Histogram {
public:
    static constexpr uint32_t kBins = 4096;

    explicit Histogram(const ConstRawFrame& frame);

    [[nodiscard]] std::span<const uint32_t, kBins> channel(std::size_t code) const {
        return std::span<const uint32_t, kBins>(counts_.data() + code * kBins, kBins);
    }

private:
    void count_bayer(const ConstRawFrame& frame);
    void count_mosaic(const ConstRawFrame& frame);

    Scratch<uint32_t> counts_;
};

}  // namespace cali
