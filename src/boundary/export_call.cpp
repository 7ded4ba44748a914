#include "boundary/export_call.h"

#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <limits>

#include "core/channel.h"

namespace cali {

void ArgumentCheck::reject(const char* format, ...) {
    if (!ok_) {
        return;
    }
    ok_ = false;
    char text[300];
    const int prefix = std::snprintf(text, sizeof text, "%.60s: ", export_name_);
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text + prefix, sizeof text - static_cast<std::size_t>(prefix), format, arguments);
    va_end(arguments);
    warn(family_, text);
}

void ArgumentCheck::pointer(const char* name, const void* value) {
    if (value == nullptr) {
        reject("%s is a null pointer, expected a buffer", name);
    }
}

void ArgumentCheck::pointee(const char* name, const void* value) {
    if (value == nullptr) {
        reject("%s points to a null frame pointer, expected a frame", name);
    }
}

void ArgumentCheck::frame_size(int64_t width, int64_t height) {
    constexpr int64_t kMost = std::numeric_limits<int32_t>::max();
    if (width < 0 || height < 0 || width > kMost || height > kMost || width * height > kMost) {
        reject("frame size %" PRId64 " x %" PRId64 ", expected sides of 0 or more and at most %" PRId64 " samples",
               width, height, kMost);
    }
}

void ArgumentCheck::shaded_size(int64_t width, int64_t height) {
    if (width > kMaxShadedSide || height > kMaxShadedSide) {
        reject("frame size %" PRId64 " x %" PRId64 ", lens shading takes at most %" PRId32 " either way", width, height,
               kMaxShadedSide);
    }
}

void ArgumentCheck::pattern(int64_t value) { range("pattern", value, 0, kBayerPatterns - 1); }

void ArgumentCheck::range(const char* name, int64_t found, int64_t low, int64_t high) {
    if (found < low || found > high) {
        reject("%s is %" PRId64 ", expected %" PRId64 " to %" PRId64, name, found, low, high);
    }
}

}  // namespace cali
