/// Memory of whole frames.
#pragma once

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <type_traits>
#include <utility>

namespace cali::host {

namespace detail {

/// Not cleared. Throws std::bad_alloc.
[[nodiscard]] void* take_frame_memory(std::size_t bytes);
void give_frame_memory(void* memory, std::size_t bytes) noexcept;

}  // namespace detail

/// Gives back what is kept for later frames: a process that forks would pay for a copy of every page it writes again.
void release_frame_memory() noexcept;

/// Numbers that are filled anyway: they are not cleared, and large blocks are used again, since the first touch of
/// fresh memory costs more than what is done with a frame. Throws std::bad_alloc.
template <typename T>
requires std::is_trivial_v<T>
class FrameVector {
public:
    using value_type = T;

    FrameVector() = default;
    explicit FrameVector(std::size_t size)
        : data_(static_cast<T*>(detail::take_frame_memory(size * sizeof(T)))), size_(size), held_(size) {}
    FrameVector(std::size_t size, T value) : FrameVector(size) { std::fill_n(data_, size, value); }
    template <std::forward_iterator Iterator>
    FrameVector(Iterator first, Iterator last) : FrameVector(static_cast<std::size_t>(std::distance(first, last))) {
        std::copy(first, last, data_);
    }
    FrameVector(std::initializer_list<T> values) : FrameVector(values.begin(), values.end()) {}
    FrameVector(const FrameVector& other) : FrameVector(other.size_) { std::copy_n(other.data_, size_, data_); }
    FrameVector(FrameVector&& other) noexcept { swap(other); }
    FrameVector& operator=(FrameVector other) noexcept {
        swap(other);
        return *this;
    }
    ~FrameVector() {
        if (data_ != nullptr) {
            detail::give_frame_memory(data_, held_ * sizeof(T));
        }
    }

    [[nodiscard]] std::size_t size() const { return size_; }
    [[nodiscard]] bool empty() const { return size_ == 0; }
    /// Leaves off what follows.
    void shorten(std::size_t size) { size_ = std::min(size_, size); }
    [[nodiscard]] T* data() { return data_; }
    [[nodiscard]] const T* data() const { return data_; }
    [[nodiscard]] T* begin() { return data_; }
    [[nodiscard]] T* end() { return data_ + size_; }
    [[nodiscard]] const T* begin() const { return data_; }
    [[nodiscard]] const T* end() const { return data_ + size_; }
    [[nodiscard]] T& operator[](std::size_t i) { return data_[i]; }
    [[nodiscard]] const T& operator[](std::size_t i) const { return data_[i]; }

    friend bool operator==(const FrameVector& a, const FrameVector& b) { return std::ranges::equal(a, b); }

private:
    void swap(FrameVector& other) noexcept {
        std::swap(data_, other.data_);
        std::swap(size_, other.size_);
        std::swap(held_, other.held_);
    }

    T* data_ = nullptr;
    std::size_t size_ = 0;
    std::size_t held_ = 0;  ///< that the memory was taken for
};

}  // namespace cali::host
