#include "base/error.h"
#include "base/output_file.h"
#include "base/text.h"
#include "base/text_file.h"
#include "commands/commands.h"
#include "commands/run.h"
#include "outputs/console.h"
#include "outputs/export.h"
#include "results/results_file.h"

namespace cali::host {
namespace {

struct ExportOptions {
    std::filesystem::path results;
    std::string form;
    LightOption light;
    double gain = 0;
    std::string sensor_size;
    std::filesystem::path base;
    std::filesystem::path out = "-";
};

void describe(Command& command, ExportOptions& options) {
    std::vector<std::string> names;
    std::string notes = "Forms (docs/export.md):\n";
    for (const ExportForm& form : export_forms()) {
        names.emplace_back(form.name);
        notes += text("  %-12s  %s\n", form.name, form.what);
    }
    command.option("RESULTS", options.results, "results file").required();
    command.option("--format", options.form, "form of the file").type_name("FORM").required().one_of(std::move(names));
    options.light.add_to(command, "the light, where the form holds one");
    command.option("--gain", options.gain, "analogue gain, where the form holds one; default: that nearest 1")
        .type_name("GAIN")
        .range(0.01, 10000);
    command
        .option("--sensor-size", options.sensor_size,
                "the sensor's full size: results of captures that are cropped or binned are then refused")
        .type_name("WxH");
    command.option("--update", options.base, "tuning file of the stack whose values are replaced, the rest kept")
        .type_name("BASE");
    command.option("--out", options.out, "file to write; - : standard output").type_name("FILE").show_default();
    command.examples(
        "  cali export shots/results.json --format rpi-pisp --update imx.json --out imx_tuned.json\n"
        "  cali export shots/results.json --format registers --illuminant 5000 --gain 1\n" +
        notes.substr(0, notes.size() - 1));
}

void require_full_sensor(const Results& results, const std::string& size) {
    const auto [width, height] = parse_sides(size, "--sensor-size", "4056x3040");
    if (width != results.sensor.width || height != results.sensor.height) {
        throw InputError(results.file.string() + ": captures of " + by(results.sensor.width, results.sensor.height) +
                         ", cropped or binned from a sensor of " + by(width, height) +
                         ": expected captures of its full size, over which the stacks' tables lie");
    }
}

int act(const ExportOptions& options, const Invocation&) {
    RunFiles named;
    named.input(options.results, "results");
    if (!options.base.empty()) {
        named.input(options.base, "--update");
    }
    named.output(options.out, "--out");
    const Results results = read_results(options.results);
    if (!options.sensor_size.empty()) {
        require_full_sensor(results, options.sensor_size);
    }
    ExportBase base;
    if (!options.base.empty()) {
        base = {read_text_file(options.base, "tuning file"), options.base.string()};
    }
    const Conditions chosen{options.light.kelvin(), options.gain > 0 ? std::optional(options.gain) : std::nullopt};
    const ExportText made = export_results(results, options.form, chosen, options.base.empty() ? nullptr : &base);
    for (const std::string& note : made.notes) {
        std::fprintf(stderr, "cali: %s\n", note.c_str());
    }
    write_text_file(options.out, made.text);
    if (!named.standard_output_taken()) {
        print_written(options.out);
    }
    return 0;
}

}  // namespace

void add_export_command(CommandLine& line) {
    add_command<ExportOptions>(line, "export", "Results as files for camera stacks, registers and tables", describe,
                               act);
}

}  // namespace cali::host
