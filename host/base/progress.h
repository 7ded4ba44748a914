/// Frames done, rate and time left, on one line of standard error.
#pragma once

#include <chrono>
#include <cstddef>

namespace cali::host {

class Progress {
public:
    /// Shown where standard error is a terminal, or where `always`.
    Progress(std::size_t total, bool always);
    ~Progress() { finish(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void step();
    void finish();

private:
    std::size_t total_;
    std::size_t done_ = 0;
    bool shown_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace cali::host
