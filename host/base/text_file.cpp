#include "base/text_file.h"

#include <fstream>
#include <sstream>

#include "base/error.h"

namespace cali::host {

std::string read_text_file(const std::filesystem::path& file, const char* what) {
    std::error_code error;
    std::ifstream stream(file, std::ios::binary);
    if (!std::filesystem::is_regular_file(file, error) || !stream) {
        throw InputError(file.string() + ": no such " + what);
    }
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

}  // namespace cali::host
