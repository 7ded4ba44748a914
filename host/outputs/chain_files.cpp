#include "outputs/chain_files.h"

#include "base/error.h"
#include "outputs/console.h"
#include "outputs/cube_file.h"
#include "outputs/noise_plot.h"
#include "outputs/patch_picture.h"
#include "results/results_file.h"

namespace cali::host {
namespace {

void require_distinct_names(const std::vector<LitCapture>& captures, const char* options) {
    for (std::size_t i = 0; i < captures.size(); ++i) {
        for (std::size_t k = 0; k < i; ++k) {
            if (captures[i].file.stem() == captures[k].file.stem()) {
                throw InputError(captures[i].file.string() + " and " + captures[k].file.string() +
                                 ": both would give files named " + captures[i].file.stem().string() +
                                 ", expected distinct names for " + options);
            }
        }
    }
}

}  // namespace

ChainFiles::ChainFiles(const Session& session, std::filesystem::path folder, const ChainFileChoice& choice)
    : folder_(std::move(folder)), choice_(choice) {
    if (choice.shading.registers || choice.shading.corrected) {
        require_distinct_names(session.flat, "--registers and --corrected");
    }
    if (choice.pictures || choice.tables) {
        require_distinct_names(session.chart, "--pictures and --tables");
    }
}

void ChainFiles::make_room() {
    if (!folder_.empty()) {
        make_folder(folder_);
    }
}

void ChainFiles::flat_field(const LensShading& shading, const SensorGeometry& sensor, const CorrectedFlat& corrected) {
    make_room();
    add_shading_files(shading_, folder_, shading, sensor, corrected, choice_.shading);
}

void ChainFiles::colour_table(const ColourTable& table) {
    make_room();
    tables_.add_text(folder_ / (table.input.file.stem().string() + ".cube"), cube_text(table));
}

void ChainFiles::finish(const Results& results) {
    make_room();
    const std::filesystem::path file = folder_ / "results.json";
    write_results(file, results);
    for (const Section& section : sections_) {
        print(section);
    }
    print_written(file);
    PendingFiles pictures;
    if (choice_.pictures && results.noise) {
        pictures.add_text(folder_ / "noise.svg", noise_plot(*results.noise));
    }
    if (choice_.pictures) {
        for (const MatrixCalibration& matrix : results.matrices) {
            pictures.add_text(folder_ / (matrix.file.stem().string() + "_patches.png"),
                              patch_picture({matrix.measured, matrix.corrected, matrix.reference}));
        }
    }
    for (PendingFiles* const files : {&tables_, &pictures, &shading_}) {
        for (const std::filesystem::path& name : files->commit()) {
            print_written(name);
        }
    }
}

}  // namespace cali::host
