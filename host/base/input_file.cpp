#include "base/input_file.h"

#include <cerrno>
#include <new>

#include "base/error.h"

namespace cali::host {

std::ifstream open_input(const std::filesystem::path& file, const std::string& what) {
    std::ifstream stream;
    std::error_code error;
    errno = 0;
    if (std::filesystem::is_regular_file(file, error)) {
        stream.open(file, std::ios::binary);
    }
    if (!stream.is_open()) {
        if (errno == ENOMEM) {
            throw std::bad_alloc();
        }
        throw InputError(file.string() + ": " +
                         (std::filesystem::exists(file, error) ? "cannot be read as a file" : "no such " + what));
    }
    return stream;
}

}  // namespace cali::host
