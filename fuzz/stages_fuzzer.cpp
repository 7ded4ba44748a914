// Aborts when two instruction sets correct the same row differently.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "kernels/row_kernels.h"
#include "stages/black_level.h"
#include "stages/wb_gains.h"

namespace {

struct Parameters {
    std::array<uint32_t, 4> offset;
    std::array<float, 4> gain;
    cali::WbGains wb_gains;
    uint32_t pattern;
};

std::vector<uint32_t> correct(cali::Isa isa, const Parameters& parameters, std::vector<uint32_t> row) {
    cali::force_isa(isa);
    const auto pattern = static_cast<int32_t>(parameters.pattern % 4);
    const cali::BlackLevelStage black_level({{parameters.offset}, {parameters.gain}}, pattern);
    const cali::WbGainStage wb_gains(parameters.wb_gains, pattern);
    black_level.row(0, 0, row.data(), row.data(), row.size());
    std::vector<uint32_t> both = row;
    wb_gains.row(0, 0, row.data(), row.data(), row.size());
    both.insert(both.end(), row.begin(), row.end());
    return both;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    Parameters parameters{};
    if (size < sizeof parameters) {
        return 0;
    }
    std::memcpy(&parameters, data, sizeof parameters);
    std::vector<uint32_t> row((size - sizeof parameters) / sizeof(uint32_t));
    if (!row.empty()) {
        std::memcpy(row.data(), data + sizeof parameters, row.size() * sizeof(uint32_t));
    }
    const std::vector<uint32_t> expected = correct(cali::Isa::baseline, parameters, row);
    for (const cali::Isa isa : cali::kAllIsas) {
        if (cali::isa_available(isa) && correct(isa, parameters, row) != expected) {
            std::abort();
        }
    }
    return 0;
}
