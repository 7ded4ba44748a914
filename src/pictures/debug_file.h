/// Files of the debug switches, in the current directory. One that cannot be opened is passed over.
#pragma once

#include <cstdio>
#include <memory>
#include <string_view>

namespace cali {

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using DebugFile = std::unique_ptr<std::FILE, CloseFile>;

/// Replaces the file; null where it cannot be opened.
[[nodiscard]] inline DebugFile open_debug_file(const char* name) { return DebugFile(std::fopen(name, "wb")); }

}  // namespace cali
