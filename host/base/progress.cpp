#include "base/progress.h"

#include <cmath>
#include <cstdio>

#ifdef _WIN32
#include <io.h>
#define isatty _isatty
#define fileno _fileno
#else
#include <unistd.h>
#endif

namespace cali::host {

Progress::Progress(std::size_t total, bool always) : total_(total), shown_(always || isatty(fileno(stderr)) != 0) {}

void Progress::step() {
    ++done_;
    if (!shown_) {
        return;
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    const double rate = static_cast<double>(done_) / (seconds > 1e-9 ? seconds : 1e-9);
    const auto left = std::lround(static_cast<double>(total_ - done_) / rate);
    (void)std::fprintf(stderr, "\r%zu of %zu frames, %.1f frames/s, %ld:%02ld left ", done_, total_, rate, left / 60,
                       left % 60);
}

void Progress::finish() {
    if (shown_ && done_ > 0) {
        (void)std::fprintf(stderr, "\n");
        shown_ = false;
    }
}

}  // namespace cali::host
