/// Which values of earlier steps a command applies.
#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include "captures/channels.h"
#include "commands/run.h"

namespace cali::host {

/// Values to apply: the results of earlier steps, with sections of other files, or a black level by number, in place of
/// theirs.
class ValueOptions {
public:
    enum Kind { black_level, lens_shading, all };
    /// --black-level; --lens-shading; --values, which takes several files.
    void add_to(Command& command, std::initializer_list<Kind> kinds);

    void name_files(RunFiles& files) const;
    /// What is known, for the capture: by option, by the session, of earlier runs, or by the capture's own file, the
    /// strongest first. Throws InputError.
    [[nodiscard]] Results values(const Capture& capture, Run& run) const;

private:
    std::string black_level_;
    std::filesystem::path lens_shading_;
    std::vector<std::filesystem::path> values_;
};

/// Throws InputError, which speaks of the file.
void require_black_level(const Results& results, const std::string& file);

/// "64" or "64,66,65,63": RR, GR, GB, BB. Nothing where the text is no list of numbers. Throws InputError.
[[nodiscard]] std::optional<Channels<uint32_t>> parse_codes(const std::string& text, const std::string& what);

}  // namespace cali::host
