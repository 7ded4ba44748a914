#include "base/frame_memory.h"

#include <algorithm>
#include <array>
#include <mutex>

#include "core/scratch.h"

namespace cali::host {
namespace {

constexpr std::size_t kLarge = std::size_t{2} << 20U;

std::size_t rounded(std::size_t bytes) { return (bytes + kLarge - 1) / kLarge * kLarge; }

/// What was given back last: captures of one session have the same sizes.
class Pool {
public:
    Pool() = default;
    Pool(const Pool&) = delete;
    Pool& operator=(const Pool&) = delete;
    ~Pool() { release(); }

    /// Null where none is of that size.
    void* take(std::size_t bytes) noexcept {
        const std::lock_guard lock(mutex_);
        const auto found = std::ranges::find(blocks_, bytes, &Block::bytes);
        return found == blocks_.end() ? nullptr : std::exchange(*found, {}).memory;
    }
    void release() noexcept {
        const std::lock_guard lock(mutex_);
        for (Block& block : blocks_) {
            free_scratch(block.memory, block.bytes);
            block = {};
        }
    }
    void give(void* memory, std::size_t bytes) noexcept {
        Block oldest{memory, bytes};
        {
            const std::lock_guard lock(mutex_);
            std::swap(blocks_[next_], oldest);
            next_ = (next_ + 1) % blocks_.size();
        }
        free_scratch(oldest.memory, oldest.bytes);
    }

private:
    struct Block {
        void* memory = nullptr;
        std::size_t bytes = 0;
    };

    std::mutex mutex_;
    std::array<Block, 4> blocks_;  ///< a file's bytes, a frame, and windows of frames that are cut between them
    std::size_t next_ = 0;
};

Pool& pool() {
    static Pool only;
    return only;
}

}  // namespace

void release_frame_memory() noexcept { pool().release(); }

namespace detail {

void* take_frame_memory(std::size_t bytes) {
    if (bytes < kLarge) {
        return ::operator new(bytes);
    }
    void* const kept = pool().take(rounded(bytes));
    return kept != nullptr ? kept : allocate_scratch(rounded(bytes));
}

void give_frame_memory(void* memory, std::size_t bytes) noexcept {
    if (bytes < kLarge) {
        ::operator delete(memory);
    } else {
        pool().give(memory, rounded(bytes));
    }
}

}  // namespace detail
}  // namespace cali::host
