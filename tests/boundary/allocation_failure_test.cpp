#include <cstdlib>
#include <new>

#include "boundary/every_export.h"

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

/// Runs one export, counted from 0, with its n-th allocation failing: -1 without a warning, everything untouched,
/// nothing held, a list that it takes released once. False where the allocation was not reached, or the export does not
/// exist.
bool fails_at(int number, long n, bool& exists) {
    World world;
    exists = false;
    world.for_every_export([&](const char* /*family*/, const auto& export_call, const auto&... /*damages*/) {
        if (number-- != 0) {
            return;
        }
        exists = true;
        const auto before = world.state();
        CapturedOutput output;
        const CapturedWarnings warnings;
        const long held_before = held;
        allocation_failed = false;
        allocations_left = n;
        const int32_t result = export_call.run();
        allocations_left = -1;
        EXPECT_EQ(held, held_before);
        EXPECT_EQ(world.releases, takes_list(export_call) ? 1 : 0);
        EXPECT_EQ(result < 0, allocation_failed);
        EXPECT_TRUE(!allocation_failed || world.state() == before);
        EXPECT_TRUE(warnings.texts().empty());
    });
    return exists && allocation_failed;
}

TEST(AllocationFailure, LeavesEverythingUntouched) {
    const SavedModuleState saved;
    const TemporaryDirectory directory;
    cali_awb_setROI(16, 30, 8, 8);  // a grey
    for (const bool dumps : {false, true}) {
        module_state().debug = {dumps, dumps, dumps, dumps};
        constexpr int kExportsWithDumps = 16;
        long failures = 0;
        bool exists = true;
        for (int number = 0; exists && (!dumps || number < kExportsWithDumps); ++number) {
            SCOPED_TRACE(::testing::Message() << "export " << number << (dumps ? ", with dumps" : ""));
            for (long n = 0; fails_at(number, n, exists); ++n, ++failures) {
            }
        }
        EXPECT_GT(failures, 100);
    }
}

}  // namespace
}  // namespace cali::test
