#include "captures/capture_queue.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace cali::host {

CaptureQueue::CaptureQueue(std::vector<CaptureEntry> order, Read read, std::size_t threads)
    : order_(std::move(order)), read_(std::move(read)), ahead_(threads), slots_(order_.size()) {
    threads_.reserve(threads);
    try {
        for (std::size_t i = 0; i < threads; ++i) {
            threads_.emplace_back([this] { read_ahead(); });
        }
    } catch (const std::system_error&) {
        // The system grants no more: what no thread reads ahead is read when it is taken.
    }
}

CaptureQueue::~CaptureQueue() {
    {
        const std::lock_guard lock(mutex_);
        stopped_ = true;
    }
    changed_.notify_all();
    for (std::thread& thread : threads_) {
        thread.join();
    }
}

void CaptureQueue::read_ahead() {
    std::unique_lock lock(mutex_);
    while (true) {
        changed_.wait(lock,
                      [&] { return stopped_ || next_read_ == order_.size() || next_read_ < next_taken_ + ahead_; });
        if (stopped_ || next_read_ == order_.size()) {
            return;
        }
        const std::size_t place = next_read_++;
        lock.unlock();
        Slot slot{{}, {}, true};
        try {
            slot.capture = read_(order_[place]);
        } catch (...) {
            slot.problem = std::current_exception();
        }
        lock.lock();
        if (place >= next_taken_) {
            slots_[place] = std::move(slot);
        }
        changed_.notify_all();
    }
}

std::size_t CaptureQueue::place_of(const CaptureEntry& entry) const {
    const auto found = std::ranges::find(order_.begin() + static_cast<std::ptrdiff_t>(next_taken_), order_.end(),
                                         entry.files, &CaptureEntry::files);
    return static_cast<std::size_t>(found - order_.begin());
}

Capture CaptureQueue::take(const CaptureEntry& entry) {
    std::unique_lock lock(mutex_);
    const std::size_t place = place_of(entry);
    if (place == order_.size()) {
        lock.unlock();
        return read_(entry);
    }
    for (; next_taken_ < place; ++next_taken_) {
        slots_[next_taken_] = {};
    }
    const bool begun = next_read_ > place;
    next_read_ = std::max(next_read_, place + 1);
    if (!begun) {
        ++next_taken_;
        lock.unlock();
        changed_.notify_all();
        return read_(entry);
    }
    changed_.wait(lock, [&] { return slots_[place].read; });
    Slot slot = std::exchange(slots_[place], {});
    ++next_taken_;
    lock.unlock();
    changed_.notify_all();
    if (slot.problem) {
        std::rethrow_exception(slot.problem);
    }
    return std::move(*slot.capture);
}

}  // namespace cali::host
