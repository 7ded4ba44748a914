/// What several exports show in the same words.
#pragma once

#include <cstdint>

#include "stages/front_end.h"

namespace cali {

/// The mesh stage's progress on standard output: "LSC...%3d%%\r" for each row before it is processed, a line feed after
/// the last.
class PrintedProgress : public RowObserver {
public:
    explicit PrintedProgress(int32_t height) : height_(height) {}

    void row_begins(int32_t y) override;
    void rows_end() override;

    /// As if a frame had gone through; nothing for one without rows.
    void print_whole();

private:
    int32_t height_;
};

/// Warns "Too Bright" or "Too Dark" where the green mean of a white-balance measurement, in codes, asks for it.
void warn_of_exposure(float green_mean);

}  // namespace cali
