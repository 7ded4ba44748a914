#include "base/input_file.h"

#include <cerrno>
#include <new>

namespace cali::host {

std::ifstream open_input(const std::filesystem::path& file) {
    std::ifstream stream;
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error)) {
        stream.setstate(std::ios::failbit);
        return stream;
    }
    errno = 0;
    stream.open(file, std::ios::binary);
    if (!stream && errno == ENOMEM) {
        throw std::bad_alloc();
    }
    return stream;
}

}  // namespace cali::host
