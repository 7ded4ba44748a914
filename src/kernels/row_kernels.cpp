// Both sets come from one text, row_kernels.inc and the others, over two definitions of the lanes. AVX2 is
// confined to a region and its own namespace: compiling a whole file for AVX2 would let inline functions of shared
// headers leak into machines that lack it. No header is included inside the region.

#include "kernels/row_kernels.h"

#include <immintrin.h>

#include <cstring>
#include <limits>
#include <optional>

#include "core/environment.h"
#include "kernels/sample_math.h"

namespace cali {
namespace {

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

constexpr RowKernels kBaseline = CALI_KERNEL_SET(baseline);
constexpr RowKernels kAvx2 = CALI_KERNEL_SET(avx2);

const RowKernels& kernels_of(Isa isa) { return isa == Isa::avx2 ? kAvx2 : kBaseline; }

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
    static const RowKernels* kernels =
        &kernels_of(asked_isa().value_or(isa_available(Isa::avx2) ? Isa::avx2 : Isa::baseline));
    return kernels;
}

}  // namespace

const RowKernels& row_kernels() { return *chosen_kernels(); }

std::optional<std::string> refused_isa() {
    std::optional<std::string> asked = environment_variable("CALI_ISA");
    return asked == "" || asked_isa() ? std::nullopt : asked;
}

bool isa_available(Isa isa) { return isa == Isa::baseline || __builtin_cpu_supports("avx2") != 0; }

const char* isa_name(Isa isa) { return isa == Isa::avx2 ? "avx2" : "baseline"; }

void force_isa(Isa isa) { chosen_kernels() = &kernels_of(isa); }

}  // namespace cali
