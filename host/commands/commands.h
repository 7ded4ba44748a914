/// The program's commands. Each adds its subcommand to the command line; running it throws InputError or
/// CalibrationError where it cannot be done.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

#include "captures/geometry.h"
#include "library/library_call.h"
#include "session/session.h"

namespace cali::host {

void add_simulate_command(CLI::App& app);
void add_blc_command(CLI::App& app);
void add_lsc_command(CLI::App& app);
void add_awb_command(CLI::App& app);
void add_awb_curve_command(CLI::App& app);
void add_ccm_command(CLI::App& app);
void add_clut_command(CLI::App& app);
void add_noise_command(CLI::App& app);
void add_calibrate_command(CLI::App& app);
void add_verify_command(CLI::App& app);

/// Numbers within limits, and nothing else: CLI::Range lets NaN pass.
class NumberRange : public CLI::Validator {
public:
    NumberRange(double low, double high);
};

/// --session, --size, --pattern and --bits, as commands on single captures take them.
class GeometryOptions {
public:
    void add_to(CLI::App& command);

    /// What the session says, overridden by the options. Throws InputError.
    [[nodiscard]] Geometry geometry() const;
    [[nodiscard]] std::optional<Session> session() const;

private:
    std::string session_;
    std::string size_;
    std::string pattern_;
    std::optional<int> bits_;
};

/// --verbose and --log: where the library's own output goes.
class OutputOptions {
public:
    void add_to(CLI::App& command);
    [[nodiscard]] LibraryOutput output() const;

private:
    bool verbose_ = false;
    std::string log_;
};

}  // namespace cali::host
