/// What the tests share: captured output and warnings, random frames, instruction sets.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "core/frame.h"
#include "core/row_kernels.h"

namespace cali::test {

/// Collects what is printed on standard output while it lives.
class CapturedOutput {
public:
    CapturedOutput() { ::testing::internal::CaptureStdout(); }
    ~CapturedOutput() {
        if (!taken_) {
            (void)::testing::internal::GetCapturedStdout();
        }
    }
    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;

    /// Once.
    std::string take() {
        taken_ = true;
        return ::testing::internal::GetCapturedStdout();
    }

private:
    bool taken_ = false;
};

/// Collects operator warnings, "CAPTION: TEXT" each, while it lives. One at a time.
class CapturedWarnings {
public:
    CapturedWarnings();
    ~CapturedWarnings();
    CapturedWarnings(const CapturedWarnings&) = delete;
    CapturedWarnings& operator=(const CapturedWarnings&) = delete;

    [[nodiscard]] const std::vector<std::string>& texts() const;
};

/// Every instruction set that this machine runs.
[[nodiscard]] std::vector<Isa> available_isas();

/// Restores the instruction set that was in force.
class ForcedIsa {
public:
    explicit ForcedIsa(Isa isa) : before_(row_kernels().isa) { force_isa(isa); }
    ~ForcedIsa() { force_isa(before_); }
    ForcedIsa(const ForcedIsa&) = delete;
    ForcedIsa& operator=(const ForcedIsa&) = delete;

private:
    Isa before_;
};

using Random = std::mt19937;

/// Whole numbers within low..high.
[[nodiscard]] std::vector<uint32_t> random_samples(Random& random, std::size_t count, uint32_t low, uint32_t high);

/// Samples with their geometry.
struct OwnedFrame {
    std::vector<uint32_t> samples;
    int32_t width = 0;
    int32_t height = 0;
    int32_t pattern = 0;

    [[nodiscard]] RawFrame view() { return {samples.data(), width, height, pattern}; }
    [[nodiscard]] ConstRawFrame view() const { return {samples.data(), width, height, pattern}; }
};

[[nodiscard]] OwnedFrame random_frame(Random& random, int32_t width, int32_t height, int32_t pattern,
                                      uint32_t high = 4095);

/// Contents of a file; empty if there is none.
[[nodiscard]] std::string read_file(const std::string& name);

}  // namespace cali::test
