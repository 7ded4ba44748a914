/// Memory of whole frames.
#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace cali::host {

namespace detail {

/// Not cleared. Throws std::bad_alloc.
[[nodiscard]] void* take_frame_memory(std::size_t bytes);
void give_frame_memory(void* memory, std::size_t bytes) noexcept;

}  // namespace detail

/// For vectors of numbers that are filled anyway: elements are not cleared, and large blocks are used again, since the
/// first touch of fresh memory costs more than what is done with a frame.
template <typename T>
class FrameAllocator {
public:
    using value_type = T;

    FrameAllocator() = default;
    template <typename U>
    explicit FrameAllocator(const FrameAllocator<U>& /*other*/) noexcept {}

    [[nodiscard]] T* allocate(std::size_t count) {
        return static_cast<T*>(detail::take_frame_memory(count * sizeof(T)));
    }
    void deallocate(T* memory, std::size_t count) noexcept { detail::give_frame_memory(memory, count * sizeof(T)); }

    template <typename U>
    void construct(U* at) noexcept {
        ::new (static_cast<void*>(at)) U;
    }
    template <typename U, typename... Values>
    void construct(U* at, Values&&... values) {
        std::construct_at(at, std::forward<Values>(values)...);
    }

    friend bool operator==(const FrameAllocator&, const FrameAllocator&) { return true; }
};

template <typename T>
using FrameVector = std::vector<T, FrameAllocator<T>>;

}  // namespace cali::host
