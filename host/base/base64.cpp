#include "base/base64.h"

#include <algorithm>
#include <cstdint>

#include "base/error.h"

namespace cali::host {
namespace {

constexpr std::string_view kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

std::string base64(std::string_view bytes) {
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
        uint32_t group = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            group = group << 8 | (k < count ? static_cast<uint8_t>(bytes[i + k]) : 0U);
        }
        for (std::size_t k = 0; k < 4; ++k) {
            out += k <= count ? kLetters[group >> (18 - 6 * k) & 63] : '=';
        }
    }
    return out;
}

std::string from_base64(std::string_view text, const std::string& where) {
    const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with("=") ? 1 : 0;
    std::string bytes;
    bytes.reserve(text.size() / 4 * 3);
    uint32_t group = 0;
    for (std::size_t i = 0; i < text.size() - padding; ++i) {
        const std::size_t value = kLetters.find(text[i]);
        if (value == std::string_view::npos || text.size() % 4 != 0) {
            throw InputError(where + ": is no base64 text");
        }
        group = group << 6 | static_cast<uint32_t>(value);
        if (i % 4 != 0) {
            bytes += static_cast<char>(group >> (6 - i % 4 * 2) & 255);
        }
    }
    return bytes;
}

}  // namespace cali::host
