#include "boundary/export_call.h"

#include <cinttypes>
#include <cstdarg>
#include <cstdio>

#include "kernels/row_kernels.h"

namespace cali {

void report_refused_isa() noexcept {
    static bool looked = false;
    if (looked) {
        return;
    }
    looked = true;
    try {
        if (const auto asked = refused_isa()) {
            (void)std::fprintf(stderr, "CALI_ISA is \"%.40s\", expected %s; taking %s\n", asked->c_str(),
                               available_isa_names().c_str(), isa_name(row_kernels().isa));
        }
    } catch (const std::bad_alloc&) {  // the set in force is as good unsaid
    }
}

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

void ArgumentCheck::range(const char* name, int64_t found, int64_t low, int64_t high) {
    if (found < low || found > high) {
        reject("%s is %" PRId64 ", expected %" PRId64 " to %" PRId64, name, found, low, high);
    }
}

}  // namespace cali
