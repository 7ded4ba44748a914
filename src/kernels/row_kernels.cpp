// All sets come from one text, row_kernels.inc and the others, over definitions of the lanes. AVX2 and
// AVX-512 are confined to regions and namespaces of their own: compiling a whole file for AVX2 would let inline
// functions of shared headers leak into machines that lack it. No header is included inside the region.

#include "kernels/row_kernels.h"

#include <immintrin.h>

#include <cstring>
#include <limits>
#include <optional>

#include "core/environment.h"
#include "kernels/sample_math.h"

namespace cali {
namespace {

/// table[at] for four places that are 0 or more. The instruction takes three times as long on machines that are mended
/// against leaks through it.
inline __m128i gather_four(const int32_t* table, __m128i at) {
    const auto low = static_cast<uint64_t>(_mm_cvtsi128_si64(at));
    const auto high = static_cast<uint64_t>(_mm_cvtsi128_si64(_mm_unpackhi_epi64(at, at)));
    return _mm_setr_epi32(table[static_cast<uint32_t>(low)], table[low >> 32U], table[static_cast<uint32_t>(high)],
                          table[high >> 32U]);
}

namespace baseline {

#include "kernels/simd_sse2.inc"
//
#include "kernels/row_kernels.inc"
//
#include "kernels/plane_kernels.inc"
//
#include "kernels/field_kernels.inc"

}  // namespace baseline

#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2")
#endif

namespace avx2 {

#include "kernels/simd_avx2.inc"
//
#include "kernels/row_kernels.inc"  // NOLINT(readability-duplicate-include): over other lanes
//
#include "kernels/plane_kernels.inc"  // NOLINT(readability-duplicate-include)
//
#include "kernels/field_kernels.inc"  // NOLINT(readability-duplicate-include)

}  // namespace avx2

#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif

#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2,avx512f,avx512bw,avx512dq,avx512vl"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2,avx512f,avx512bw,avx512dq,avx512vl")
// GCC 12 takes its own intrinsics' unused operands for ours.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

namespace avx512 {

#include "kernels/simd_avx512.inc"
//
#include "kernels/row_kernels.inc"  // NOLINT(readability-duplicate-include)
//
#include "kernels/plane_kernels.inc"  // NOLINT(readability-duplicate-include)
//
#include "kernels/field_kernels.inc"  // NOLINT(readability-duplicate-include)

}  // namespace avx512

#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC diagnostic pop
#pragma GCC pop_options
#endif

// Each set is a namespace with the name of its Isa.
#define CALI_KERNEL_SET(set)                                                                                       \
    RowKernels {                                                                                                   \
        .isa = Isa::set, .black_level = set::black_level_row, .wb_gain = set::wb_gain_row,                         \
        .mesh_gain = set::mesh_gain_row, .radial_gain = set::radial_gain_row,                                      \
        .subtract_limited = set::subtract_limited_row, .split = set::split_row, .to_float = set::to_float_row,     \
        .filter_to_floats = set::filter_to_floats, .filter_to_ints = set::filter_to_ints,                          \
        .masked_mean = set::masked_mean_row, .bright_keys = set::bright_keys_row, .fill_dark = set::fill_dark_row, \
        .smaller = set::smaller_row, .spread = set::spread_line,                                                   \
    }

constexpr std::array<RowKernels, kAllIsas.size()> kSets = {CALI_KERNEL_SET(baseline), CALI_KERNEL_SET(avx2),
                                                           CALI_KERNEL_SET(avx512)};

const RowKernels& kernels_of(Isa isa) { return kSets[static_cast<std::size_t>(isa)]; }

Isa widest_isa() {
    Isa widest = Isa::baseline;
    for (const Isa isa : kAllIsas) {
        widest = isa_available(isa) ? isa : widest;
    }
    return widest;
}

/// The set that CALI_ISA names, if it is one that this machine runs.
std::optional<Isa> asked_isa() {
    const std::optional<std::string> asked = environment_variable("CALI_ISA");
    for (const Isa isa : kAllIsas) {
        if (asked == isa_name(isa) && isa_available(isa)) {
            return isa;
        }
    }
    return std::nullopt;
}

const RowKernels*& chosen_kernels() {
    static const RowKernels* kernels = &kernels_of(asked_isa().value_or(widest_isa()));
    return kernels;
}

}  // namespace

const RowKernels& row_kernels() { return *chosen_kernels(); }

std::optional<std::string> refused_isa() {
    std::optional<std::string> asked = environment_variable("CALI_ISA");
    return asked == "" || asked_isa() ? std::nullopt : asked;
}

bool isa_available(Isa isa) {
    switch (isa) {
        case Isa::avx512:
            return __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512bw") != 0 &&
                   __builtin_cpu_supports("avx512dq") != 0 && __builtin_cpu_supports("avx512vl") != 0;
        case Isa::avx2: return __builtin_cpu_supports("avx2") != 0;
        default: return true;
    }
}

const char* isa_name(Isa isa) {
    constexpr std::array<const char*, kAllIsas.size()> kNames = {"baseline", "avx2", "avx512"};
    return kNames[static_cast<std::size_t>(isa)];
}

std::string available_isa_names() {
    std::string names;
    const Isa widest = widest_isa();
    for (const Isa isa : kAllIsas) {
        if (isa_available(isa)) {
            names += (names.empty() ? "\"" : isa == widest ? " or \"" : ", \"") + std::string(isa_name(isa)) + "\"";
        }
    }
    return names;
}

void force_isa(Isa isa) { chosen_kernels() = &kernels_of(isa); }

}  // namespace cali
