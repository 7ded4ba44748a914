#include "results/choose_values.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "base/error.h"
#include "captures/light.h"
#include "results/results_file.h"

namespace cali::host {

const WhiteBalance& choose_white_balance(const Results& results, std::optional<double> illuminant_k) {
    return choose_by_light(results.white_balance, illuminant_k, results.file, "white balance",
                           "results of cali awb, or of cali calibrate with a grey card");
}

void choose_grids(const std::vector<LensShading>& shading, std::optional<double> illuminant_k, TuningValues& values) {
    if (const LensShading* const nearest = nearest_light(shading, illuminant_k)) {
        values.grids = grids_of(*nearest);
        values.flat_field = nearest->file;
    }
}

TuningValues choose_values(const Results& results, std::optional<double> illuminant_k, bool with_gains) {
    TuningValues values;
    if (results.black_level) {
        values.black_level = results.black_level->values;
    } else {
        (void)std::fprintf(stderr, "cali: %s: holds no black level: none is subtracted\n",
                           results.file.string().c_str());
    }
    if (with_gains) {
        values.gains = choose_white_balance(results, illuminant_k).gains;
    }
    choose_grids(results.lens_shading, illuminant_k, values);
    return values;
}

const BlackLevels& require_black_level(const Results& results) {
    if (!results.black_level) {
        throw InputError(results.file.string() +
                         ": holds no black level, expected results of cali blc or cali calibrate");
    }
    return results.black_level->values;
}

BlackLevels read_black_level(const std::string& file) {
    if (file.empty()) {
        (void)std::fprintf(stderr, "cali: no --black-level: none is subtracted\n");
        return {};
    }
    return require_black_level(read_results(file));
}

Results read_all(const std::vector<std::string>& files) {
    Results all = read_results(files.front());
    for (std::size_t i = 1; i < files.size(); ++i) {
        Results more = read_results(files[i]);
        if (!all.black_level) {
            all.black_level = more.black_level;
        }
        std::ranges::move(more.lens_shading, std::back_inserter(all.lens_shading));
        std::ranges::move(more.white_balance, std::back_inserter(all.white_balance));
    }
    return all;
}

TableInput table_input(const MatrixCalibration& matrix) {
    return {matrix.file, matrix.illuminant_k, matrix.corrected, matrix.reference, matrix.limited};
}

}  // namespace cali::host
