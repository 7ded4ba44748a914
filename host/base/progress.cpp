#include "base/progress.h"

#include <cmath>
#include <cstdio>

#include "base/process.h"

namespace cali::host {

namespace {

constexpr int kBar = 24;

}  // namespace

Progress::Progress(std::size_t total, Lines lines)
    : total_(total), bar_(lines != Lines::silent && process::is_terminal(stderr)), lines_(lines == Lines::all) {}

void Progress::step(const std::string& name) {
    ++done_;
    if (!bar_) {
        if (lines_) {
            (void)std::fprintf(stderr, "%zu of %zu: %s\n", done_, total_, name.c_str());
        }
        return;
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    const double rate = static_cast<double>(done_) / (seconds > 1e-9 ? seconds : 1e-9);
    const auto left = std::lround(static_cast<double>(total_ - done_) / rate);
    const auto filled = static_cast<int>(kBar * done_ / (total_ == 0 ? 1 : total_));
    (void)std::fprintf(stderr, "\r[%.*s%*s] %zu of %zu, %.1f/s, %ld:%02ld left ", filled, "########################",
                       kBar - filled, "", done_, total_, rate, left / 60, left % 60);
    open_ = true;
}

void Progress::finish() {
    if (open_) {
        (void)std::fprintf(stderr, "\n");
        open_ = false;
    }
}

}  // namespace cali::host
