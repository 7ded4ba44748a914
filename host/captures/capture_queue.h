/// Captures read ahead of their use.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "captures/capture_entry.h"
#include "captures/frame.h"

namespace cali::host {

/// While a capture is computed, threads read the next ones: as many as there are threads, each in memory of its own.
class CaptureQueue {
public:
    using Read = std::function<Capture(const CaptureEntry&)>;

    /// `order` is that of use, `read` may be called in any thread. Without threads captures are read as they are taken.
    CaptureQueue(std::vector<CaptureEntry> order, Read read, std::size_t threads);
    CaptureQueue(const CaptureQueue&) = delete;
    CaptureQueue& operator=(const CaptureQueue&) = delete;
    ~CaptureQueue();

    /// What `read` returns, or throws. Entries that stand before it in the order are passed over; one that stands
    /// nowhere behind what was taken last is read at once.
    [[nodiscard]] Capture take(const CaptureEntry& entry);

private:
    struct Slot {
        std::optional<Capture> capture;
        std::exception_ptr problem;
        bool read = false;
    };

    void read_ahead();
    [[nodiscard]] std::size_t place_of(const CaptureEntry& entry) const;

    const std::vector<CaptureEntry> order_;
    const Read read_;
    const std::size_t ahead_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Slot> slots_;
    std::size_t next_read_ = 0;
    std::size_t next_taken_ = 0;
    bool stopped_ = false;
    std::vector<std::thread> threads_;
};

}  // namespace cali::host
