#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>

#include "base/error.h"
#include "cali/cali.h"
#include "commands/commands.h"

namespace {

constexpr int kFailed = 1;
constexpr int kWrongInput = 2;

void describe(CLI::App& app) {
    using namespace cali::host;
    app.set_version_flag("--version", "cali " CALI_VERSION_STRING);
    app.require_subcommand(0, 1);
    app.footer(
        "A first session without a camera:\n"
        "  cali simulate shots\n"
        "  cali calibrate shots/session.toml\n"
        "'cali COMMAND --help' explains each command.");
    add_simulate_command(app);
    add_blc_command(app);
    add_lsc_command(app);
    add_awb_command(app);
    add_awb_curve_command(app);
    add_ccm_command(app);
    add_clut_command(app);
    add_noise_command(app);
    add_calibrate_command(app);
    add_verify_command(app);
}

int run(int argc, char** argv) {
    using namespace cali::host;
    CLI::App app("Calibrates a camera's ISP from raw Bayer captures.", "cali");
    try {
        describe(app);
        app.parse(argc, argv);
        if (app.get_subcommands().empty()) {
            throw InputError("no command is given, expected one of those that --help lists");
        }
        return 0;
    } catch (const CLI::ParseError& problem) {
        if (problem.get_exit_code() == 0) {
            return app.exit(problem);  // --help, --version
        }
        std::fprintf(stderr, "cali: %s (see --help)\n", problem.what());
        return kWrongInput;
    } catch (const InputError& problem) {
        std::fprintf(stderr, "cali: %s\n", problem.what());
        return kWrongInput;
    } catch (const CalibrationError& problem) {
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

}  // namespace

int main(int argc, char** argv) {  // NOLINT(bugprone-exception-escape): only the last words can fail
    // The library's warnings belong to this program's standard error, never in a window.
#ifdef _WIN32
    _putenv_s("CALI_WARNINGS", "stderr");
#else
    setenv("CALI_WARNINGS", "stderr", 1);
#endif
    return run(argc, argv);
}
