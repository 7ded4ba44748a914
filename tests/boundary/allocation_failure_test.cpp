#include <cstdlib>
#include <new>

#include "boundary/calls.h"

namespace {

/// Allocations that still succeed; below 0 all do.
long allocations_left = -1;
bool allocation_failed = false;
long held = 0;  ///< blocks not yet released

void* allocate(std::size_t size, std::size_t alignment) {
    if (allocations_left == 0) {
        allocation_failed = true;
        throw std::bad_alloc();
    }
    if (allocations_left > 0) {
        --allocations_left;
    }
#ifdef _WIN32
    void* memory = _aligned_malloc(size, alignment);
#else
    void* memory = std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
#endif
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    ++held;
    return memory;
}

void release(void* memory) noexcept {
    held -= memory != nullptr ? 1 : 0;
#ifdef _WIN32
    _aligned_free(memory);
#else
    std::free(memory);
#endif
}

constexpr std::size_t kDefaultAlignment = __STDCPP_DEFAULT_NEW_ALIGNMENT__;

}  // namespace

// Of the whole test program.
void* operator new(std::size_t size) { return allocate(size, kDefaultAlignment); }
void* operator new(std::size_t size, std::align_val_t alignment) {
    return allocate(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    try {
        return operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
void operator delete(void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { release(memory); }
void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept { release(memory); }
void operator delete(void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept { release(memory); }

namespace cali::test {
namespace {

/// Fails the first, the second, ... allocation of each call until it succeeds. Each failure must be -1 without a
/// warning, leave everything untouched and hold nothing; a list that is taken over is released once. Returns how many
/// allocations there are.
template <typename Call>
long sweep(int32_t (Call::*method)()) {
    for (long n = 0;; ++n) {
        const auto call = make<Call>();
        const auto before = call->state();
        CapturedOutput output;
        const CapturedWarnings warnings;
        const long held_before = held;
        allocation_failed = false;
        allocations_left = n;
        const int32_t result = ((*call).*method)();
        allocations_left = -1;
        EXPECT_EQ(held, held_before) << "allocation " << n;
        if constexpr (std::is_same_v<Call, NoiseCall>) {
            const bool by_value = method == &NoiseCall::deviation_of_levels || method == &NoiseCall::variance_of_levels;
            EXPECT_EQ(call->releases, by_value ? 1 : 0);
        }
        if (!allocation_failed) {
            EXPECT_NE(result, -1);
            return n;
        }
        EXPECT_EQ(result, -1) << "allocation " << n;
        EXPECT_TRUE(call->state() == before) << "allocation " << n;
        EXPECT_TRUE(warnings.texts().empty()) << "allocation " << n;
    }
}

TEST(AllocationFailure, LeavesEverythingUntouched) {
    const SavedModuleState saved;
    const TemporaryDirectory directory;
    cali_awb_setROI(0, 0, 12, 8);
    const auto sweep_all = [](auto... methods) { return (... + sweep(methods)); };
    for (const bool dumps : {false, true}) {
        SCOPED_TRACE(dumps ? "with dumps" : "without dumps");
        module_state().debug = {dumps, dumps, dumps, dumps};
        EXPECT_GT(sweep_all(&AwbCall::calc, &AwbCall::verify), 0);
        EXPECT_GT(sweep_all(&BlcCall::median, &BlcCall::mean, &BlcCall::deviation, &BlcCall::local,
                            &BlcCall::get_histogram, &BlcCall::verify),
                  0);
        EXPECT_GT(sweep_all(&LscCall::calc, &LscCall::verify), 0);
        EXPECT_GT(sweep_all(&ChartCall::joint, &ChartCall::optimised, &MatrixCall::of_frame), 0);
    }
    EXPECT_EQ(sweep_all(&CurveCall::build, &CurveCall::sample, &RegionCall::measure, &RegionCall::adjust), 0);
    EXPECT_GT(sweep(&RegionCall::interpolate) + sweep(&MatrixCall::of_patches), 0);
    EXPECT_GT(sweep_all(&ClutCall::hsv, &ClutCall::rgb), 0);
    EXPECT_GT(sweep_all(&NoiseCall::deviation_profile, &NoiseCall::variance_profile, &NoiseCall::fixed_profile), 0);
    EXPECT_EQ(sweep_all(&NoiseCall::deviation_of_levels, &NoiseCall::variance_of_levels, &NoiseCall::line,
                        &NoiseCall::to_fixed, &NoiseCall::to_fixed_by_text, &NoiseCall::move, &NoiseCall::luma,
                        &NoiseCall::subtract, &NoiseCall::deviation),
              0);
}

}  // namespace
}  // namespace cali::test
