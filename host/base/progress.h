/// What is done of a run, on standard error.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace cali::host {

/// A bar with rate and time left on a terminal.
class Progress {
public:
    /// What stands there without a terminal; `silent`: nothing, with one neither.
    enum class Lines { none, all, silent };

    Progress(std::size_t total, Lines lines);
    ~Progress() { finish(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// One more is done.
    void step(const std::string& name);
    /// Makes room for other text: the bar comes back with the next step.
    void finish();

private:
    std::size_t total_;
    std::size_t done_ = 0;
    bool bar_;
    bool lines_;
    bool open_ = false;  ///< the bar's line is not ended
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace cali::host
