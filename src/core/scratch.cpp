#include "core/scratch.h"

#include <new>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace cali {
namespace {

constexpr std::size_t kCacheLine = 64;
#ifdef __linux__
constexpr std::size_t kHugePage = std::size_t{2} << 20;

std::align_val_t alignment_of(std::size_t bytes) {
    return std::align_val_t{bytes >= kHugePage ? kHugePage : kCacheLine};
}
#else
std::align_val_t alignment_of(std::size_t /*bytes*/) { return std::align_val_t{kCacheLine}; }
#endif

}  // namespace

void* allocate_scratch(std::size_t bytes) {
    void* memory = ::operator new(bytes, alignment_of(bytes));
#ifdef __linux__
    if (bytes >= kHugePage) {
        // Advice only: without huge pages the memory is as good, just slower to touch first.
        (void)madvise(memory, bytes, MADV_HUGEPAGE);
    }
#endif
    return memory;
}

void free_scratch(void* memory, std::size_t bytes) noexcept {
    if (memory != nullptr) {
        ::operator delete(memory, alignment_of(bytes));
    }
}

}  // namespace cali
