/// What the tests share: captured output and warnings, random frames, instruction sets.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "boundary/module_state.h"
#include "core/frame.h"
#include "kernels/row_kernels.h"
#include "reference/raw_stages.h"
#include "stages/black_level.h"
#include "stages/mesh_shading.h"

namespace cali::test {

/// What stands for a state while it lives, or holds pointers into itself.
struct NoCopy {
    NoCopy() = default;
    NoCopy(const NoCopy&) = delete;
    NoCopy& operator=(const NoCopy&) = delete;
};

/// Collects what is printed on standard output while it lives. Failures that were reported meanwhile are among it, and
/// are passed on to standard error.
class CapturedOutput : NoCopy {
public:
    CapturedOutput() { ::testing::internal::CaptureStdout(); }
    ~CapturedOutput() {
        if (!taken_) {
            (void)take();
        }
    }

    /// Once.
    std::string take() {
        taken_ = true;
        std::string text = ::testing::internal::GetCapturedStdout();
        if (::testing::Test::HasFailure()) {
            (void)std::fputs(text.c_str(), stderr);
        }
        return text;
    }

private:
    bool taken_ = false;
};

/// Collects operator warnings, "CAPTION: TEXT" each, while it lives. One at a time.
class CapturedWarnings : NoCopy {
public:
    CapturedWarnings();
    ~CapturedWarnings();

    [[nodiscard]] const std::vector<std::string>& texts() const;
};

/// Every instruction set that this machine runs.
[[nodiscard]] std::vector<Isa> available_isas();

/// Restores the instruction set that was in force.
class ForcedIsa : NoCopy {
public:
    explicit ForcedIsa(Isa isa) : before_(row_kernels().isa) { force_isa(isa); }
    ~ForcedIsa() { force_isa(before_); }

private:
    Isa before_;
};

/// Runs `body` under every available instruction set.
template <typename Body>
void on_every_isa(Body&& body) {
    for (const Isa isa : available_isas()) {
        SCOPED_TRACE(isa_name(isa));
        const ForcedIsa forced(isa);
        body();
    }
}

/// Leaves the module state as it was.
class SavedModuleState : NoCopy {
public:
    SavedModuleState() : before_(module_state()) {}
    ~SavedModuleState() { module_state() = before_; }

private:
    ModuleState before_;
};

/// Current directory while it lives; removed with its files afterwards.
class TemporaryDirectory : NoCopy {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();

private:
    std::filesystem::path before_;
    std::filesystem::path directory_;
};

/// A variable of the environment while it lives.
class EnvironmentVariable {
public:
    EnvironmentVariable(const char* name, const std::string& value);
    ~EnvironmentVariable();
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

private:
    const char* name_;
    std::optional<std::string> before_;
};

/// Memory comparison: NaN equals itself, -0 differs from 0.
template <typename T>
[[nodiscard]] ::testing::AssertionResult same_bits(std::span<const T> expected, std::span<const T> actual) {
    if (expected.size() != actual.size()) {
        return ::testing::AssertionFailure() << expected.size() << " values expected, found " << actual.size();
    }
    if (expected.empty() || std::memcmp(expected.data(), actual.data(), expected.size_bytes()) == 0) {
        return ::testing::AssertionSuccess();
    }
    std::size_t i = 0;
    while (std::memcmp(&expected[i], &actual[i], sizeof(T)) == 0) {
        ++i;
    }
    return ::testing::AssertionFailure() << "[" << i << "]: " << expected[i] << " expected, found " << actual[i];
}

template <typename Range>
[[nodiscard]] ::testing::AssertionResult same_bits(const Range& expected, const Range& actual) {
    return same_bits(std::span<const typename Range::value_type>(expected),
                     std::span<const typename Range::value_type>(actual));
}

/// Splitmix64: the same numbers from every compiler and library.
class Random {
public:
    explicit Random(uint64_t seed) : state_(seed) {}

    uint32_t operator()() {
        uint64_t z = state_ += 0x9E3779B97F4A7C15U;
        z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9U;
        z = (z ^ (z >> 27U)) * 0x94D049BB133111EBU;
        return static_cast<uint32_t>((z ^ (z >> 31U)) >> 32U);
    }

    /// Whole numbers within low..high.
    int32_t within(int32_t low, int32_t high) {
        return static_cast<int32_t>(low + static_cast<int64_t>((*this)() % static_cast<uint64_t>(high - low + 1)));
    }

    /// From 0 up to 1, in steps of 2^-20.
    double unit() { return static_cast<double>((*this)() >> 12U) / 1048576.0; }

private:
    uint64_t state_;
};

template <typename T, std::size_t size>
[[nodiscard]] T pick(Random& random, const std::array<T, size>& values) {
    return values[random() % size];
}

struct Geometry {
    int32_t width, height, pattern;

    [[nodiscard]] std::size_t size() const {
        return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    }
};

std::ostream& operator<<(std::ostream& stream, const Geometry& geometry);

/// Every width and every height of 1 to 70, in the four patterns.
[[nodiscard]] std::vector<Geometry> small_geometries();

/// Integer limits, and the ends of the ranges in which single-precision and 16-bit paths are exact.
inline constexpr std::array<uint32_t, 12> kExtremeSamples = {
    0,           1,           4095,        4096,       65536, (1U << 24) - 1, 1U << 24, (1U << 24) + 1,
    0x7FFFFFBFU, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU};

enum class SampleKind { codes, extreme, sprinkled };
inline constexpr std::array kSampleKinds = {SampleKind::codes, SampleKind::extreme, SampleKind::sprinkled};

/// 12-bit codes, extreme samples (of any number of bits), or codes with an extreme one here and there.
[[nodiscard]] std::vector<uint32_t> samples_of_kind(Random& random, SampleKind kind, std::size_t count);

/// The library's records of the same parameters.
[[nodiscard]] BlackLevel library_record(const reference::BlackLevelArguments& arguments);
[[nodiscard]] MeshGrids library_record(const reference::Grids& grids);

/// Grids with nodes from a generator called for each.
template <typename Node>
[[nodiscard]] reference::Grids make_grids(int cols, int rows, Node&& node) {
    reference::Grids grids{cols, rows, {}, {}, {}};
    for (int i = 0; i < cols * rows; ++i) {
        grids.red.push_back(node());
        grids.green.push_back(node());
        grids.blue.push_back(node());
    }
    return grids;
}

/// Gains as a calibration produces them: green 512 to 2047, red and blue 400 to 655.
[[nodiscard]] reference::Grids plausible_grids(Random& random, int cols, int rows);

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
