#include <cstdlib>
#include <new>

#include "support/chart_support.h"
#include "support/export_calls.h"

namespace {

/// Allocations that still succeed; below 0 all do.
long allocations_left = -1;
bool allocation_failed = false;

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
    return memory;
}

void release(void* memory) noexcept {
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

/// Fails the first, the second, ... allocation until the call succeeds. Each failure must be -1 without a warning and
/// leave everything untouched. Returns how many allocations there are.
template <typename Call>
long sweep(Call& call, int32_t (Call::*method)()) {
    const auto before = call.state();
    for (long n = 0;; ++n) {
        CapturedOutput output;
        const CapturedWarnings warnings;
        allocation_failed = false;
        allocations_left = n;
        const int32_t result = (call.*method)();
        allocations_left = -1;
        if (!allocation_failed) {
            EXPECT_NE(result, -1);
            return n;
        }
        EXPECT_EQ(result, -1) << "allocation " << n;
        EXPECT_TRUE(call.state() == before) << "allocation " << n;
        EXPECT_TRUE(warnings.texts().empty()) << "allocation " << n;
    }
}

TEST(AllocationFailure, LeavesEverythingUntouched) {
    const SavedModuleState saved;
    const TemporaryDirectory directory;
    cali_awb_setROI(0, 0, 20, 20);
    for (const bool dumps : {false, true}) {
        SCOPED_TRACE(dumps ? "with dumps" : "without dumps");
        module_state().debug.awb_dump = dumps;
        module_state().debug.blc_report = dumps;
        module_state().debug.lsc_dump = dumps;
        module_state().debug.ccm_dump = dumps;
        Random random(50);
        // Neither too bright nor too dark: collecting a warning would allocate too.
        const OwnedFrame frame = random_frame(random, 30, 24, 1, 1500);
        const auto grids = plausible_grids(random, 5, 5);
        for (const auto method : {&AwbCall::calc, &AwbCall::verify}) {
            AwbCall call(frame, grids);
            EXPECT_GT(sweep(call, method), 0);
        }
        for (const auto method : {&BlcCall::median, &BlcCall::mean, &BlcCall::deviation, &BlcCall::local,
                                  &BlcCall::get_histogram, &BlcCall::verify}) {
            BlcCall call(frame);
            sweep(call, method);
        }
        for (const auto method : {&ChartCall::joint, &ChartCall::optimised}) {
            ChartCall call(small_chart());
            EXPECT_GT(sweep(call, method), 0);
        }
        for (const auto method : {&LscCall::calc, &LscCall::verify}) {
            LscCall call(frame, 5, 5);
            call.denoise = 1;
            EXPECT_GT(sweep(call, method), 0);
        }
    }
}

}  // namespace
}  // namespace cali::test
