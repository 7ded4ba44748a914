#include "memory.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

std::size_t in_use = 0;
std::size_t peak = 0;

/// Stands in front of every block.
struct Header {
    std::size_t size;
    void* start;
};

void* allocate(std::size_t size, std::size_t alignment) {
    void* const start = std::malloc(size + alignment + sizeof(Header));
    if (start == nullptr) {
        throw std::bad_alloc();
    }
    const auto first = reinterpret_cast<std::uintptr_t>(start) + sizeof(Header);
    auto* const block = reinterpret_cast<Header*>((first + alignment - 1) / alignment * alignment);
    block[-1] = {size, start};
    in_use += size;
    peak = std::max(peak, in_use);
    return block;
}

void release(void* block) noexcept {
    if (block != nullptr) {
        const Header header = static_cast<Header*>(block)[-1];
        in_use -= header.size;
        std::free(header.start);
    }
}

}  // namespace

// Of the whole benchmark program.
void* operator new(std::size_t size) { return allocate(size, __STDCPP_DEFAULT_NEW_ALIGNMENT__); }
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
void operator delete(void* block) noexcept { release(block); }
void operator delete(void* block, std::size_t /*size*/) noexcept { release(block); }
void operator delete(void* block, std::align_val_t /*alignment*/) noexcept { release(block); }
void operator delete(void* block, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept { release(block); }

namespace cali::bench {

std::size_t peak_memory(const std::function<void()>& body) {
    const std::size_t before = in_use;
    peak = before;
    body();
    return peak - before;
}

}  // namespace cali::bench
