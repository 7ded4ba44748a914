/// Working memory of the exports.
#pragma once

#include <cstddef>
#include <span>
#include <type_traits>
#include <utility>

namespace cali {

/// Uninitialised memory. On Linux large blocks are 2 MB aligned and ask for huge pages: first-touch page faults of a
/// fresh full-size frame otherwise cost ten times what copying it does. Windows grants large pages to privileged
/// accounts alone, and to others nothing. Throws std::bad_alloc.
[[nodiscard]] void* allocate_scratch(std::size_t bytes);
void free_scratch(void* memory, std::size_t bytes) noexcept;

/// Owns `size` uninitialised elements, aligned for every instruction set.
template <typename T>
class Scratch {
    static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);

public:
    Scratch() = default;
    explicit Scratch(std::size_t size)
        : data_(size != 0 ? static_cast<T*>(allocate_scratch(size * sizeof(T))) : nullptr), size_(size) {}
    ~Scratch() { free_scratch(data_, size_ * sizeof(T)); }

    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    Scratch(Scratch&& other) noexcept : data_(other.data_), size_(other.size_) {
        other.data_ = nullptr;
        other.size_ = 0;
    }
    Scratch& operator=(Scratch&& other) noexcept {
        std::swap(data_, other.data_);
        std::swap(size_, other.size_);
        return *this;
    }

    [[nodiscard]] T* data() const { return data_; }
    [[nodiscard]] std::size_t size() const { return size_; }
    [[nodiscard]] T& operator[](std::size_t i) const { return data_[i]; }
    [[nodiscard]] std::span<T> span() const { return {data_, size_}; }

private:
    T* data_ = nullptr;
    std::size_t size_ = 0;
};

}  // namespace cali
