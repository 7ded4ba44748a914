/// The per-row inner loops, one set per instruction set, chosen once.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace cali {

enum class Isa { baseline, avx2, avx512 };

/// The narrowest first.
inline constexpr std::array<Isa, 3> kAllIsas = {Isa::baseline, Isa::avx2, Isa::avx512};

/// Colours alternate along a row, so a row has two parameter sets: [0] for its even samples, [1] for its odd ones,
/// counted from the first sample passed.
template <typename T>
using Alternating = std::array<T, 2>;

struct BlackLevelRow {
    Alternating<uint32_t> offset;
    Alternating<float> gain;  ///< finite, 0 or more
};

struct WbGainRow {
    Alternating<float> gain;    ///< register value times 1/1024
    Alternating<bool> applied;  ///< false copies the sample (the greens)
};

struct MeshGainRow {
    /// Per sample the horizontally interpolated gains of two grid rows, 0..16384: slots 0 and 1, and slots 2 and 3.
    const int16_t* gains01;
    const int16_t* gains23;
    /// Vertical filter taps of the slots.
    std::array<int16_t, 4> taps;
};

inline constexpr std::size_t kRadialGains = 2048;  ///< stride of one colour's gains by table radius

struct RadialGainRow {
    const int32_t* gains;        ///< kRadialGains entries per colour
    Alternating<int32_t> first;  ///< where the sample's colour starts in `gains`
    bool gains_fit_16_bits;      ///< all gains within 0..65535
    int32_t first_dx;            ///< column of the first sample minus the centre's
    int32_t dy;                  ///< distance of the row from the centre, 0..8191
    uint32_t norm;               ///< 0..32767
};

/// A sum over `count` rows of weight times sample, column by column. Rows are readable up to the next multiple of
/// kPlaneRowPadding columns.
struct WeightedRows {
    const float* const* row;
    const float* weight;
    std::size_t count;
};

inline constexpr std::size_t kPlaneRowPadding = 128;

[[nodiscard]] constexpr std::size_t padded_row(std::size_t columns) {
    return (columns + kPlaneRowPadding - 1) / kPlaneRowPadding * kPlaneRowPadding;
}

/// What one node of a field gives to a line of nodes: of weight own * squared[i], the weight, that times the shift, and
/// the greater nearness. Lists and sums reach to the next multiple of kSpreadPadding.
struct SpreadLine {
    std::array<double, 3> shift;
    double own;
    const double* nearness;
    const double* squared;
};
struct SpreadSums {
    std::array<double*, 3> shift;
    double* weight;
    double* nearest;
};

inline constexpr std::size_t kSpreadPadding = 8;

/// Each loop reads `count` samples from `source` and writes as many to `destination`, which may be the same row.
struct RowKernels {
    Isa isa;
    void (*black_level)(const uint32_t* source, uint32_t* destination, std::size_t count, const BlackLevelRow& row);
    void (*wb_gain)(const uint32_t* source, uint32_t* destination, std::size_t count, const WbGainRow& row);
    void (*mesh_gain)(const uint32_t* source, uint32_t* destination, std::size_t count, const MeshGainRow& row);
    void (*radial_gain)(const uint32_t* source, uint32_t* destination, std::size_t count, const RadialGainRow& row);
    /// See sample::subtract_limited.
    void (*subtract_limited)(const uint32_t* source, uint32_t* destination, std::size_t count,
                             const Alternating<uint32_t>& offset);

    // Channel planes.

    /// `count` pairs of samples to two rows.
    void (*split)(const uint32_t* source, int32_t* even, int32_t* odd, std::size_t count);
    void (*to_float)(const int32_t* source, float* destination, std::size_t count);
    /// Sums truncated to integers; as floats, the row is written up to the next multiple of kPlaneRowPadding.
    void (*filter_to_floats)(const WeightedRows& terms, float* destination, std::size_t count);
    /// Two rows at once: the second's sums start at terms.row[1] and end at terms.row[terms.count].
    void (*filter_to_ints)(const WeightedRows& terms, int32_t* first, int32_t* second, std::size_t count);
    /// In place, samples above `threshold` alone: the sum over its column's `weight_sum` (padded as the rows).
    void (*masked_mean)(const WeightedRows& terms, const float* weight_sum, int32_t threshold, int32_t* samples,
                        std::size_t count);
    /// See sample::bright_key and sample::fill_dark.
    void (*bright_keys)(const int32_t* samples, int32_t threshold, int16_t* keys, std::size_t count);
    void (*fill_dark)(const int16_t* in_row, const int16_t* in_column, int32_t threshold, int32_t* samples,
                      std::size_t count);
    /// The smaller of each pair; `destination` may be `a` and lie before `b`.
    void (*smaller)(const int16_t* a, const int16_t* b, int16_t* destination, std::size_t count);

    // Fields of colour tables.

    void (*spread)(const SpreadLine& line, const SpreadSums& sums, std::size_t count);
};

/// The set in force: the widest this machine runs, unless the environment variable CALI_ISA names another one.
/// Read once, and silent: the program has a copy of this next to the library's, which alone complains.
[[nodiscard]] const RowKernels& row_kernels();

/// What CALI_ISA asks for, where it names no set that this machine runs; else nothing. Empty counts as not set.
[[nodiscard]] std::optional<std::string> refused_isa();

/// Whether this machine runs it.
[[nodiscard]] bool isa_available(Isa isa);

[[nodiscard]] const char* isa_name(Isa isa);
/// Those that this machine runs: "baseline", "avx2" or "avx512", each in quotation marks.
[[nodiscard]] std::string available_isa_names();

/// Tests and benchmarks compare the sets within one process.
void force_isa(Isa isa);

}  // namespace cali
