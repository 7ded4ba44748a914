/// Many calls of each export in one number, and what that number was when it was recorded.
#pragma once

#include <map>
#include <ranges>
#include <string>
#include <type_traits>

#include "cali/cali.h"
#include "support/support.h"

namespace cali::test {

/// A number over everything that it is given, in its order.
class Digest {
public:
    explicit Digest(bool keep_values = false) : keep_values_(keep_values) {}

    /// Numbers, and ranges of whatever it takes. NaN is NaN, whatever its bits: compilers differ in them. An operator,
    /// because its operands are evaluated from left to right.
    template <typename Value>
    Digest& operator<<(const Value& value) {
        if constexpr (std::is_same_v<Value, RoiRgbMean>) {
            *this << value.b << value.g << value.r << value.valid << value.reserved;
        } else if constexpr (std::ranges::range<Value>) {
            *this << std::ranges::size(value);
            for (const auto& element : value) {
                *this << element;
            }
        } else {
            static_assert(std::is_arithmetic_v<Value>);
            uint64_t bits = 0x7FF8;
            if (value == value) {
                bits = 0;
                std::memcpy(&bits, &value, sizeof value);
            }
            const bool real = std::is_floating_point_v<Value>;
            add(bits, real ? sizeof value == sizeof(float) ? 'f' : 'd' : sizeof value == 1 ? 'c' : 'i');
        }
        return *this;
    }

    /// 16 digits.
    [[nodiscard]] std::string text() const;

    /// All of it where it is kept: 'c' and a byte or character; 'i', 'f' or 'd' and eight bytes.
    [[nodiscard]] const std::string& values() const { return values_; }

private:
    void add(uint64_t bits, char kind);

    bool keep_values_;
    uint64_t state_ = 0;
    std::string values_;
};

/// Standard output or error of the process, from here on in a file.
class CapturedStream : NoCopy {
public:
    CapturedStream(std::FILE* stream, std::string path);
    /// What was written since the last time.
    std::string take();

private:
    std::FILE* stream_;
    std::string path_;
};

/// A digest for each name: an export's, or that of internals which no export shows. What is printed, and files that
/// appear in the current directory, belong to the name that was asked for last. "libm/" in front: rests on exp, log,
/// pow, sin or cos, which another C library may round otherwise.
class Golden {
public:
    Golden(std::string out, std::string err, bool keep_values)
        : out_(stdout, std::move(out)), err_(stderr, std::move(err)), keep_values_(keep_values) {}

    Digest& operator[](const std::string& name) {
        finish();
        return *(current_ = &digests_.try_emplace(name, keep_values_ && name.starts_with("libm/")).first->second);
    }
    /// Whether the calls that follow write files: looking for them takes long.
    void look_for_files(bool look) {
        finish();
        files_appear_ = look;
    }
    const std::map<std::string, Digest>& finish();

private:
    CapturedStream out_;
    CapturedStream err_;
    bool keep_values_;
    bool files_appear_ = false;
    Digest* current_ = nullptr;
    std::map<std::string, Digest> digests_;
};

/// The calls: random ones, the same in every build.
void call_front_end(Golden& golden);
void call_charts(Golden& golden);
void call_noise(Golden& golden);
void call_toolkit(Golden& golden);

/// `turns` times, first in the state that a process begins in.
inline void repeat(int turns, Golden& golden, void (*call)(Golden&, Random&, int turn)) {
    Random random(static_cast<uint64_t>(turns));
    module_state() = {};
    golden.look_for_files(false);
    for (int turn = 0; turn < turns; ++turn) {
        call(golden, random, turn);
    }
}

}  // namespace cali::test
