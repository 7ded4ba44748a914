// Both sets come from one text, row_kernels.inc and plane_kernels.inc, over two definitions of the lanes. AVX2 is
// confined to a region and its own namespace: compiling a whole file for AVX2 would let inline functions of shared
// headers leak into machines that lack it. No header is included inside the region.

#include "kernels/row_kernels.h"

#include <immintrin.h>

#include <cstdlib>
#include <cstring>
#include <limits>

#include "kernels/sample_math.h"

namespace cali {
namespace {

namespace baseline {

#define CALI_KERNEL_ISA Isa::baseline
#include "kernels/simd_sse2.inc"
//
#include "kernels/row_kernels.inc"
//
#include "kernels/plane_kernels.inc"
#undef CALI_KERNEL_ISA

}  // namespace baseline

#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2")
#endif

namespace avx2 {

#define CALI_KERNEL_ISA Isa::avx2
#include "kernels/simd_avx2.inc"
//
#include "kernels/row_kernels.inc"
//
#include "kernels/plane_kernels.inc"
#undef CALI_KERNEL_ISA

}  // namespace avx2

#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif

const RowKernels& kernels_of(Isa isa) { return isa == Isa::avx2 ? avx2::kKernels : baseline::kKernels; }

const RowKernels& choose_kernels() {
    const char* wanted = std::getenv("CALI_ISA");
    if (wanted != nullptr) {
        for (const Isa isa : kAllIsas) {
            if (std::strcmp(wanted, isa_name(isa)) == 0 && isa_available(isa)) {
                return kernels_of(isa);
            }
        }
    }
    return kernels_of(isa_available(Isa::avx2) ? Isa::avx2 : Isa::baseline);
}

const RowKernels*& chosen_kernels() {
    static const RowKernels* kernels = &choose_kernels();
    return kernels;
}

}  // namespace

const RowKernels& row_kernels() { return *chosen_kernels(); }

bool isa_available(Isa isa) { return isa == Isa::baseline || __builtin_cpu_supports("avx2") != 0; }

const char* isa_name(Isa isa) { return isa == Isa::avx2 ? "avx2" : "baseline"; }

void force_isa(Isa isa) { chosen_kernels() = &kernels_of(isa); }

}  // namespace cali
