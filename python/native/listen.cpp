/// What the library inside the Python package has beside the exports. Its objects are those of libcali; the linker
/// sends their printing through the functions below (--wrap), so that neither the process's standard output nor its
/// descriptors are touched while other threads of the interpreter use them.
#include <array>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "boundary/warning.h"
#include "core/printf_format.h"

namespace {

using PrintReceiver = void (*)(int32_t is_error, const char* text, uint64_t length);

PrintReceiver receiver = nullptr;

/// Each time it is handed over, the interpreter's lock is waited for.
std::array<char, 1U << 16U> held;
std::size_t held_length = 0;
bool held_is_error = false;

void hand_over() {
    if (held_length > 0 && receiver != nullptr) {
        receiver(held_is_error ? 1 : 0, held.data(), held_length);
    }
    held_length = 0;
}

bool is_heard(const std::FILE* stream) { return receiver != nullptr && (stream == stdout || stream == stderr); }

void hear(const std::FILE* stream, const char* text, std::size_t length) {
    const bool is_error = stream == stderr;
    if (is_error != held_is_error || length > held.size() - held_length) {
        hand_over();
        held_is_error = is_error;
    }
    if (length > held.size()) {
        receiver(is_error ? 1 : 0, text, length);
        return;
    }
    std::memcpy(held.data() + held_length, text, length);
    held_length += length;
}

[[gnu::format(CALI_PRINTF_FORMAT, 2, 0)]] int hear_formatted(const std::FILE* stream, const char* format,
                                                             std::va_list arguments) {
    std::array<char, 512> room;
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(room.data(), room.size(), format, arguments);
    if (length >= 0 && static_cast<std::size_t>(length) < room.size()) {
        hear(stream, room.data(), static_cast<std::size_t>(length));
    } else if (length >= 0) {
        const auto needed = static_cast<std::size_t>(length) + 1;
        if (auto* const longer = static_cast<char*>(std::malloc(needed))) {
            std::vsnprintf(longer, needed, format, again);
            hear(stream, longer, needed - 1);
            std::free(longer);
        }
    }
    va_end(again);
    return length;
}

}  // namespace

extern "C" {

#ifdef _WIN32
#define CALI_PYTHON_HOOK __declspec(dllexport)
#else
#define CALI_PYTHON_HOOK __attribute__((visibility("default")))
#endif

/// From here on warnings and printed text go to the package; two nulls end that, and hand over what was printed last.
CALI_PYTHON_HOOK void cali_python_listen(cali::WarningSink warned, PrintReceiver printed) {
    hand_over();
    receiver = printed;
    cali::set_warning_sink(warned);
}

std::size_t __real_fwrite(const void* items, std::size_t size, std::size_t count, std::FILE* stream);
int __real_fputc(int character, std::FILE* stream);

std::size_t __wrap_fwrite(const void* items, std::size_t size, std::size_t count, std::FILE* stream) {
    if (!is_heard(stream)) {
        return __real_fwrite(items, size, count, stream);
    }
    hear(stream, static_cast<const char*>(items), size * count);
    return count;
}

int __wrap_fputc(int character, std::FILE* stream) {
    if (!is_heard(stream)) {
        return __real_fputc(character, stream);
    }
    const char text = static_cast<char>(character);
    hear(stream, &text, 1);
    return character;
}

#ifdef _WIN32
// The system's headers make every function of the printf family an inline one around this.
int __real___mingw_vfprintf(std::FILE* stream, const char* format, std::va_list arguments);

int __wrap___mingw_vfprintf(std::FILE* stream, const char* format, std::va_list arguments) {
    return is_heard(stream) ? hear_formatted(stream, format, arguments)
                            : __real___mingw_vfprintf(stream, format, arguments);
}
#else
namespace {

int print(std::FILE* stream, const char* format, std::va_list arguments) {
    return is_heard(stream) ? hear_formatted(stream, format, arguments) : std::vfprintf(stream, format, arguments);
}

}  // namespace

int __wrap_printf(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int length = print(stdout, format, arguments);
    va_end(arguments);
    return length;
}

int __wrap_fprintf(std::FILE* stream, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int length = print(stream, format, arguments);
    va_end(arguments);
    return length;
}

// What the two become with _FORTIFY_SOURCE, which some distributions' compilers set.
int __wrap___printf_chk(int /*flag*/, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int length = print(stdout, format, arguments);
    va_end(arguments);
    return length;
}

int __wrap___fprintf_chk(std::FILE* stream, int /*flag*/, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int length = print(stream, format, arguments);
    va_end(arguments);
    return length;
}
#endif

// What compilers make of calls of printf without arguments.
int __wrap_putchar(int character) { return __wrap_fputc(character, stdout); }

int __wrap_puts(const char* text) {
    __wrap_fwrite(text, 1, std::strlen(text), stdout);
    return __wrap_fputc('\n', stdout);
}

}  // extern "C"
