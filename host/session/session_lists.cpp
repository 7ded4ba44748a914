#include "session/session_lists.h"

#include "base/text.h"

namespace cali::host {

std::string toml_string(const std::string& words) {
    std::string out = "\"";
    for (const char c : words) {
        const auto code = static_cast<unsigned char>(c);
        out += c == '"' || c == '\\' ? std::string("\\") + c : code < 0x20 ? text("\\u%04X", code) : std::string(1, c);
    }
    return out + '"';
}

std::string toml_list(const std::vector<ListedCapture>& captures, bool levels) {
    std::string list = "[\n";
    for (const auto& [names, taken] : captures) {
        std::string files;
        for (const std::string& name : names) {
            files += (files.empty() ? "" : ", ") + toml_string(name);
        }
        list += "    { " + (names.size() == 1 && !levels ? "file = " + files : "files = [" + files + "]");
        list += taken.illuminant_k ? text(", illuminant_k = %g", *taken.illuminant_k) : "";
        list += taken.gain ? text(", gain = %g", *taken.gain) : "";
        list += " },\n";
    }
    return list + "]\n";
}

}  // namespace cali::host
