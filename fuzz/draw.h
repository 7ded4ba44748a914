/// Arguments made of a fuzzer's bytes.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <array>
#include <bit>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <string>
#include <vector>

namespace cali::fuzz {

/// Everyday values mostly, and the ends of every range among them. Bytes that are used up give the least of each.
class Draw {
public:
    Draw(const uint8_t* data, std::size_t size) : bytes_(data, size) {}

    template <typename T>
    T within(T low, T high) {
        return bytes_.ConsumeIntegralInRange(low, high);
    }
    bool one_in(int turns) { return within(1, turns) == turns; }
    template <typename T>
    T any() {
        return bytes_.ConsumeIntegral<T>();
    }
    template <typename T>
    T of(std::initializer_list<T> values) {
        return values.begin()[within<std::size_t>(0, values.size() - 1)];
    }

    float real(float low, float high) {
        if (one_in(16)) {
            return std::bit_cast<float>(any<uint32_t>());
        }
        return bytes_.ConsumeFloatingPointInRange(low, high);
    }
    uint32_t code() { return one_in(16) ? any<uint32_t>() : within(0U, 4095U); }

    /// From a generator where they are many: a fuzzer's bytes are few.
    std::vector<uint32_t> codes(std::size_t count) {
        constexpr std::size_t kFew = 64;
        std::vector<uint32_t> made(count);
        const auto kind = within(0, 3);
        const uint32_t base = code();
        uint32_t state = any<uint32_t>() | 1U;
        for (uint32_t& value : made) {
            state = state * 1664525U + 1013904223U;
            const uint32_t noise = state >> 16U;
            value = count <= kFew ? code() : kind == 0 ? base : kind == 1 ? base + noise % 32 : noise & 4095U;
            if (kind == 3 && noise % 64 == 0) {
                value = state;
            }
        }
        return made;
    }
    std::vector<float> reals(std::size_t count, float low, float high) {
        std::vector<float> made(count);
        for (float& value : made) {
            value = real(low, high);
        }
        return made;
    }

    std::string text(std::size_t most) { return bytes_.ConsumeRandomLengthString(most); }
    /// What comes in front of the bytes that all the others use.
    std::vector<uint8_t> rest() { return bytes_.ConsumeRemainingBytes<uint8_t>(); }

private:
    FuzzedDataProvider bytes_;
};

}  // namespace cali::fuzz
