#include "calibrations/noise_settings.h"

#include "base/error.h"

namespace cali::host {

void check_noise_format(const std::string& format, const std::string& where) {
    const std::size_t point = format.find('.');
    const auto digits = [&](std::size_t first, std::size_t last) {
        return last > first && last - first <= 2 && format.find_first_not_of("0123456789", first) >= last;
    };
    constexpr int kMostBits = 31;
    const bool formed = point != std::string::npos && digits(1, point) && digits(point + 1, format.size());
    if (!formed || std::stoi(format.substr(1)) + std::stoi(format.substr(point + 1)) > kMostBits) {
        throw InputError(where + " is '" + format + "', expected a format such as U4.8 of at most 31 bits");
    }
}

}  // namespace cali::host
