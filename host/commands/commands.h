/// The program's commands. Each adds its subcommand to the command line; running it throws InputError or
/// CalibrationError where it cannot be done.
#pragma once

#include "commands/options.h"

namespace cali::host {

void add_simulate_command(CommandLine& line);
void add_blc_command(CommandLine& line);
void add_lsc_command(CommandLine& line);
void add_awb_command(CommandLine& line);
void add_awb_curve_command(CommandLine& line);
void add_check_command(CommandLine& line);
void add_init_command(CommandLine& line);
void add_chart_command(CommandLine& line);
void add_ccm_command(CommandLine& line);
void add_clut_command(CommandLine& line);
void add_noise_command(CommandLine& line);
void add_calibrate_command(CommandLine& line);
void add_verify_command(CommandLine& line);
void add_show_command(CommandLine& line);
void add_diff_command(CommandLine& line);
void add_report_command(CommandLine& line);
void add_summary_command(CommandLine& line);
void add_export_command(CommandLine& line);
void add_validate_command(CommandLine& line);
void add_help_command(CommandLine& line);

}  // namespace cali::host
