/// What every export needs around its one internal call: status codes, argument checks, no exception across.
#pragma once

#include <cstdint>

#include "boundary/warning.h"
#include "core/printf_format.h"

namespace cali {

inline constexpr int32_t kOk = 0;
inline constexpr int32_t kRejected = -1;

/// Checks an export's arguments and shows one warning, for the first that is rejected.
///
///     ArgumentCheck check(Family::blc, "cali_blc_verify");
///     const RawFrame input = checked_frame(check, "frame", frame, width, height, pattern);
///     check.pointer("output", output);
///     if (!check.ok()) return kRejected;
class ArgumentCheck {
public:
    ArgumentCheck(Family family, const char* export_name) : family_(family), export_name_(export_name) {}

    [[nodiscard]] bool ok() const { return ok_; }

    /// Not null.
    void pointer(const char* name, const void* value);

    /// The pointer and what it points to, as frames cross the boundary.
    template <typename Sample>
    void frame(const char* name, Sample* const* value) {
        pointer(name, static_cast<const void*>(value));
        if (value != nullptr) {
            pointee(name, *value);
        }
    }

    /// `name` is `found`, outside `low` to `high`.
    void range(const char* name, int64_t found, int64_t low, int64_t high);

    /// Shows the text (as printf would print it) unless an earlier argument was rejected already.
    [[gnu::format(CALI_PRINTF_FORMAT, 2, 3)]] void reject(const char* format, ...);

private:
    void pointee(const char* name, const void* value);

    Family family_;
    const char* export_name_;
    bool ok_ = true;
};

/// Once in the process's life: says on standard error that CALI_ISA asks for what there is not.
void report_refused_isa() noexcept;

/// Runs an export's body. An allocation failure is -1 without a warning; no other exception is expected, and none
/// crosses the boundary.
template <typename Body>
int32_t run_export(Body&& body) noexcept {
    report_refused_isa();
    try {
        return body();
    } catch (...) {
        return kRejected;
    }
}

}  // namespace cali
