#include "base/text.h"

#include <cstdarg>
#include <cstdio>

namespace cali::host {

std::string text(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    std::string result(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    // The terminating zero lands on the string's own.
    (void)std::vsnprintf(result.data(), result.size() + 1, format, again);
    va_end(again);
    return result;
}

std::filesystem::path path_of(const std::string& name) { return std::u8string(name.begin(), name.end()); }

std::string by(int width, int height) { return text("%d x %d", width, height); }

std::string percent(double share) { return text("%.1f %%", share * 100); }

}  // namespace cali::host
