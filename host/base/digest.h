/// Digests by which inputs and values are recognised again.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace cali::host {

/// XXH3 of 128 bits in 32 hexadecimal digits. It tells accidents, not forgery.
[[nodiscard]] std::string digest_of(std::span<const uint8_t> bytes);

/// The same of bytes that come in parts.
class Digest {
public:
    Digest();
    Digest(const Digest&) = delete;
    Digest& operator=(const Digest&) = delete;
    ~Digest();

    void add(std::span<const uint8_t> bytes);
    [[nodiscard]] std::string text() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace cali::host
