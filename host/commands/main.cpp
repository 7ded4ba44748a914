#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/error.h"
#include "base/output_file.h"
#include "base/process.h"
#include "cali/cali.h"
#include "captures/camera_raw_file.h"
#include "captures/read_capture.h"
#include "commands/commands.h"

namespace {

constexpr int kFailed = 1;
constexpr int kWrongInput = 2;

int run(int argc, char** argv) {
    using namespace cali::host;
    try {
        std::vector<std::string> arguments = process::arguments(argc, argv);
        if (const std::optional<int> served = serve_as_decoder(arguments)) {
            return *served;
        }
        const std::string raw = camera_raw_library();
        const std::string version =
            "cali " CALI_VERSION_STRING "\nraw files of cameras: " + (raw.empty() ? "no" : "LibRaw " + raw);
        CommandLine line("Calibrates a camera's ISP from raw Bayer captures.", version.c_str(),
                         "A first session without a camera:\n"
                         "  cali simulate shots\n"
                         "  cali calibrate shots/session.toml\n"
                         "A folder of captures:\n"
                         "  cali init DIR && cali calibrate DIR/session.toml\n"
                         "'cali COMMAND --help' explains each command, 'cali help TOPIC' words of the output.");
        for (const auto add : {add_simulate_command, add_init_command,   add_check_command,     add_blc_command,
                               add_lsc_command,      add_awb_command,    add_awb_curve_command, add_chart_command,
                               add_ccm_command,      add_clut_command,   add_noise_command,     add_calibrate_command,
                               add_verify_command,   add_show_command,   add_diff_command,      add_report_command,
                               add_summary_command,  add_export_command, add_validate_command,  add_help_command}) {
            add(line);
        }
        const int status = line.parse_and_run(std::move(arguments));
        require_standard_output();
        return status;
    } catch (const InputError& problem) {
        std::fprintf(stderr, "cali: %s\n", problem.what());
        return kWrongInput;
    } catch (const CalibrationError& problem) {
        std::fprintf(stderr, "cali: %s\n", problem.what());
        return kFailed;
    } catch (const OutputError& problem) {
        std::fprintf(stderr, "cali: %s\n", problem.what());
        return kFailed;
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "cali: not enough memory\n");
        return kFailed;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "cali: %s\n", problem.what());
        return kFailed;
    }
}

/// Where memory runs out in what may not fail: destructors and the like of libraries. Anything else is a fault of ours.
[[noreturn]] void end_without_memory() {
    try {
        if (std::current_exception()) {
            throw;
        }
    } catch (const std::bad_alloc&) {
    } catch (...) {
        std::abort();
    }
    cali::host::process::clean_up();
    (void)std::fputs("cali: not enough memory\n", stderr);
    std::_Exit(kFailed);
}

}  // namespace

int main(int argc, char** argv) {  // NOLINT(bugprone-exception-escape): only the last words can fail
    using namespace cali::host;
    // The library's warnings belong to this program's standard error, never in a window.
    process::set_variable("CALI_WARNINGS", "stderr");
    process::prepare_streams();
    process::clean_up_on_signals();
    std::set_terminate(end_without_memory);
    return run(argc, argv);
}
