// One kind of text file that the program reads, chosen as it is compiled: FUZZED_DOCUMENT names its function.

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "base/error.h"
#include "calibrations/chart_reference_file.h"
#include "outputs/export.h"
#include "outputs/report.h"
#include "outputs/tuning_rules.h"
#include "results/results_file.h"
#include "results/unit_record.h"
#include "session/session.h"

namespace {

using namespace cali::host;

/// Removed with all that is in it as the fuzzer ends.
const std::filesystem::path& folder() {
    static const struct Folder {
        std::filesystem::path path =
            std::filesystem::temp_directory_path() / ("cali_fuzz_" + std::to_string(::getpid()));
        Folder() { std::filesystem::create_directory(path); }
        ~Folder() { std::filesystem::remove_all(path); }
    } made;
    return made.path;
}

std::string in_file(const std::string& text, const char* name) {
    const std::filesystem::path file = folder() / name;
    std::ofstream(file, std::ios::binary) << text;
    return file.string();
}

[[maybe_unused]] void session(const std::string& text) { (void)read_session(in_file(text, "session.toml")); }

[[maybe_unused]] void limits(const std::string& text) {
    Limits limits;
    read_limits(in_file(text, "limits.toml"), limits);
}

[[maybe_unused]] void reference(const std::string& text) {
    for (const int white : {CALI_WHITE_D50, CALI_WHITE_D65}) {
        (void)linear_colours(read_chart_reference(in_file(text, "reference.csv")), white);
    }
}

/// What is read and written again is the same; a report shows it, and every form takes it or says why not.
[[maybe_unused]] void results(const std::string& text) {
    const Results read = read_results(in_file(text, "results.json"));
    const Json once = to_json(read, std::nullopt);
    if (to_json(from_json(once, std::nullopt), std::nullopt).dump(-1) != once.dump(-1)) {
        std::abort();
    }
    (void)report_text({{"unit", read}});
    for (const ExportForm& form : export_forms()) {
        try {
            (void)export_results(read, form.name, {}, nullptr);
        } catch (const InputError&) {
        } catch (const CalibrationError&) {
        }
    }
}

[[maybe_unused]] void tuning(const std::string& text) { (void)tuning_faults(text, "tuning.yaml"); }

[[maybe_unused]] void unit(const std::string& text) {
    (void)in_file(text, kUnitRecord);
    (void)read_unit_record(folder());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    try {
        FUZZED_DOCUMENT(std::string(reinterpret_cast<const char*>(data), size));
    } catch (const InputError&) {
    }
    return 0;
}
