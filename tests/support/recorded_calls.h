/// Many random calls in one number, and what that number was when it was recorded.
#pragma once

#include <ranges>
#include <string>
#include <type_traits>

#include "support/support.h"

namespace cali::test {

/// A number over everything that it is given, in its order.
class Digest {
public:
    /// Numbers, and ranges of whatever it takes. NaN is NaN, whatever its bits: compilers differ in them. An operator,
    /// because its operands are evaluated from left to right.
    template <typename Value>
    Digest& operator<<(const Value& value) {
        if constexpr (std::ranges::range<Value>) {
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
            if (recording()) {
                const bool real = std::is_floating_point_v<Value>;
                values_ += real ? sizeof value == sizeof(float) ? 'f' : 'd' : sizeof value == 1 ? 'c' : 'i';
                values_.append(reinterpret_cast<const char*>(&bits), sizeof value == 1 ? 1 : sizeof bits);
            }
            state_ = (state_ ^ bits) * 0x9E3779B97F4A7C15U;
            state_ ^= state_ >> 32U;
        }
        return *this;
    }

    /// The names and contents of the files in the current directory, which are removed.
    void take_files();

    /// 16 digits.
    [[nodiscard]] std::string text() const;

    /// All of it where it is recorded: 'c' and a byte or character; 'i', 'f' or 'd' and eight bytes.
    [[nodiscard]] const std::string& values() const { return values_; }

private:
    [[nodiscard]] static bool recording();

    uint64_t state_ = 0;
    std::string values_;
};

/// "-nan" as " nan": runtimes differ in whether they print the sign.
[[nodiscard]] std::string without_sign_of_nan(std::string printed);

/// Compares with tests/support/digests.txt. Where the environment names a file in CALI_RECORD_DIGESTS, as
/// scripts/update-digests does, appends to that instead; where it names a folder in CALI_RECORD_RESULTS, as
/// scripts/compare-platforms does, writes all values there.
void expect_digest(const std::string& name, const Digest& digest);

/// Calls `call(random, turn, digest)` `turns` times on every instruction set, in a directory of its own, and compares
/// the digest, to which all warnings and all that was printed are added, with the one recorded as `name`. Names with
/// "libm" in front rest on exp, log, pow, sin or cos: another C library may round those otherwise.
template <typename Call>
void expect_recorded(const std::string& name, int turns, Call&& call) {
    const SavedModuleState saved;
    on_every_isa([&] {
        if (::testing::Test::HasFailure()) {
            return;
        }
        const TemporaryDirectory directory;
        Random random(name.size());
        Digest digest;
        CapturedOutput output;
        const CapturedWarnings warnings;
        ::testing::internal::CaptureStderr();
        for (int turn = 0; turn < turns; ++turn) {
            call(random, turn, digest);
        }
        digest << ::testing::internal::GetCapturedStderr() << without_sign_of_nan(output.take()) << warnings.texts();
        expect_digest(name, digest);
    });
}

}  // namespace cali::test
