/// Completion of the command line in shells: commands, options, choices, and files where a value is one.
#pragma once

#include <array>
#include <string>

#include "commands/command_table.h"

namespace cali::host {

inline constexpr std::array<const char*, 3> kShells = {"bash", "zsh", "fish"};

/// What the shell, one of kShells, reads. Throws InputError.
[[nodiscard]] std::string completions(const CommandTable& table, const std::string& shell);

}  // namespace cali::host
