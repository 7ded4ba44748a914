#include "base/text_file.h"

#include <sstream>

#include "base/input_file.h"

namespace cali::host {

std::string read_text_file(const std::filesystem::path& file, const char* what) {
    const std::ifstream stream = open_input(file, what);
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

}  // namespace cali::host
