#include "calibrations/colour_matrix.h"

#include <algorithm>
#include <cmath>

#include "base/error.h"
#include "base/least_squares.h"
#include "base/png_picture.h"
#include "base/text.h"
#include "base/uncertainty.h"
#include "calibrations/chart_geometry.h"
#include "calibrations/chart_reference.h"
#include "calibrations/chart_reference_file.h"
#include "chart/matrix_fit.h"
#include "library/chart_meter.h"
#include "library/chart_mosaic.h"
#include "library/exports.h"
#include "library/thumbnail.h"
#include "math/colour_matrix.h"
#include "math/colour_space.h"

namespace cali::host {
namespace {

std::vector<Colour> to_lab(const std::vector<Colour>& linear, int white) {
    std::vector<Colour> lab;
    lab.reserve(linear.size());
    for (const Colour& colour : linear) {
        lab.push_back(lab_of_linear_rgb(colour, white_point(white)));
    }
    return lab;
}

ChartDifferences differences(const std::vector<Colour>& colours, const std::vector<Colour>& reference, int white) {
    const std::vector<Colour> lab = to_lab(colours, white);
    const std::vector<Colour> wanted = to_lab(reference, white);
    return {summarise(lab, wanted, delta_e_1976), summarise(lab, wanted, delta_e_2000)};
}

std::vector<Colour> apply_matrix(const std::array<float, 9>& matrix, const std::vector<Colour>& colours, int& limited) {
    std::vector<Colour> corrected;
    corrected.reserve(colours.size());
    for (const Colour& in : colours) {
        Colour out{};
        for (std::size_t r = 0; r < 3; ++r) {
            for (std::size_t c = 0; c < 3; ++c) {
                out[r] += static_cast<double>(matrix[3 * r + c]) * in[c];
            }
            limited += out[r] < 0 || out[r] > 1 ? 1 : 0;
            out[r] = std::clamp(out[r], 0.0, 1.0);
        }
        corrected.push_back(out);
    }
    return corrected;
}

double grey_sum(const std::vector<Colour>& colours, std::size_t colour) {
    double sum = 0;
    for (std::size_t i = kFirstBalanceGrey; i <= kLastBalanceGrey; ++i) {
        sum += colours[i][colour];
    }
    return sum;
}

void scale_exposure(TuningValues& values, double factor) {
    for (float& gain : values.black_level.gain) {
        gain *= static_cast<float>(factor);
    }
}

struct FitRequest {
    const TuningValues& values;
    ChartMeter& meter;
    const MatrixSettings& settings;
    const std::vector<Colour>& reference;  ///< of the measured method; exports have their own table
    exports::PatchWeights weights = exports::kEqualWeights;
};

/// Weighted least squares in linear RGB with rows that sum to 1. By that, a row's output less the blue input is linear
/// in red less blue and green less blue: two entries are free.
MatrixRegisters fit_measured(const std::filesystem::path& file, const std::vector<Colour>& measured,
                             const FitRequest& request) {
    ColourMatrix matrix;
    for (std::size_t c = 0; c < 3; ++c) {
        LeastSquares<2> row(0);
        for (std::size_t patch = 0; patch < measured.size(); ++patch) {
            const Colour& in = measured[patch];
            row.add({in[0] - in[2], in[1] - in[2]}, request.reference[patch][c] - in[2],
                    static_cast<double>(request.weights[patch]));
        }
        const std::array<double, 2> free = row.solution();
        const double blue = 1 - free[0] - free[1];
        if (!std::isfinite(blue)) {
            throw CalibrationError(file.filename().string() + ": the patches have no colours to fit a matrix to");
        }
        matrix.value[3 * c] = static_cast<float>(free[0]);
        matrix.value[3 * c + 1] = static_cast<float>(free[1]);
        matrix.value[3 * c + 2] = static_cast<float>(blue);
    }
    matrix.round_to_q10();
    return {matrix.value, matrix.q10};
}

/// By the method; the joint one finds its own gains.
MatrixRegisters fit(Capture& chart, const FitRequest& request, GainRegisters& gains, const LibraryOutput& output) {
    const auto& [values, meter, settings, reference, weights] = request;
    const ChartWindows& windows = meter.windows();
    switch (settings.method) {
        case MatrixMethod::lsq: return exports::ccm_pipe(chart, values, windows, weights, output);
        case MatrixMethod::joint: return exports::awb_ccm(chart, values, windows, weights, gains, output);
        case MatrixMethod::measured: return fit_measured(chart.file, meter.colours(values), request);
        default: break;
    }
    constexpr int kMostNodes = exports::kMostOptimisedNodes;
    if (values.grids.cols > kMostNodes || values.grids.rows > kMostNodes) {
        throw InputError(chart.file.string() + ": a mesh of " + by(values.grids.cols, values.grids.rows) +
                         " nodes, the optimised method takes at most " + by(kMostNodes, kMostNodes));
    }
    return exports::ccm_pipe_optimised(chart, values, windows, weights, {settings.white_point, settings.saturation},
                                       output);
}

/// The fit with other weights, its gains known, from what the windows hold: the front end does not run again.
class Refit {
public:
    explicit Refit(const FitRequest& whole) : whole_(whole), file_(whole.meter.chart().file) {
        const auto& [values, meter, settings, reference, weights] = whole;
        switch (settings.method) {
            case MatrixMethod::optimised: mosaic_ = set_together(meter.chart(), values, meter.windows()); break;
            case MatrixMethod::measured: colours_ = meter.colours(values); break;
            default: means_ = meter.means(values);
        }
    }

    [[nodiscard]] std::array<float, 9> matrix(const exports::PatchWeights& weights) {
        if (mosaic_) {
            ChartMeter meter(mosaic_->frame, mosaic_->windows);
            FitRequest request{mosaic_->values, meter, whole_.settings, whole_.reference, weights};
            GainRegisters gains;
            return fit(mosaic_->frame, request, gains, quiet_).value;
        }
        FitRequest request = whole_;
        request.weights = weights;
        return whole_.settings.method == MatrixMethod::measured
                   ? fit_measured(file_, colours_, request).value
                   : fit_chart(means_, weights, exports::kExactRowSums).value;
    }

private:
    const FitRequest& whole_;
    const std::filesystem::path& file_;
    const LibraryOutput quiet_;
    std::optional<ChartMosaic> mosaic_;
    std::vector<Colour> colours_;
    ChartMeans means_{};
};

/// Fills `uncertainty` and `leave_one_out`: the fit again without each patch. The standard error is the delete-one
/// jackknife's (B. Efron, C. Stein, The jackknife estimate of variance, Annals of Statistics 9, 1981).
void leave_patches_out(const FitRequest& whole, MatrixCalibration& result) {
    Refit refit(whole);
    constexpr double kCount = kChartPatches;
    std::vector<std::array<float, 9>> without;
    std::array<double, 9> mean{};
    for (std::size_t patch = 0; patch < kChartPatches; ++patch) {
        exports::PatchWeights weights = exports::kEqualWeights;
        weights[patch] = 0;
        without.push_back(refit.matrix(weights));
        int limited = 0;
        const std::vector<Colour> corrected = apply_matrix(without.back(), {result.measured[patch]}, limited);
        const double distance =
            differences(corrected, {result.reference[patch]}, whole.settings.white_point).de2000.mean;
        result.left_out.push_back(distance);
        result.leave_one_out += distance / kCount;
        for (std::size_t i = 0; i < mean.size(); ++i) {
            mean[i] += static_cast<double>(without.back()[i]) / kCount;
        }
    }
    for (std::size_t i = 0; i < mean.size(); ++i) {
        double squares = 0;
        for (const std::array<float, 9>& matrix : without) {
            const double distance = static_cast<double>(matrix[i]) - mean[i];
            squares += distance * distance;
        }
        result.uncertainty[i] = std::sqrt((kCount - 1) / kCount * squares);
    }
}

/// Scales the restoring gains by the factor that brings the greys to those of `reference`, and returns it.
double expose(ChartMeter& meter, const std::vector<Colour>& reference, TuningValues& values) {
    const GainRegisters gains = values.gains;
    values.gains = {};
    const std::vector<Colour> raw = meter.colours(values);
    const double exposure = grey_sum(reference, 1) / grey_sum(raw, 1);
    if (!std::isfinite(exposure) || exposure <= 0) {
        throw CalibrationError(meter.chart().file.filename().string() +
                               ": the chart's greys show no light above black");
    }
    scale_exposure(values, exposure);
    values.gains = gains;
    return exposure;
}

/// Fills what the matrix makes of the chart behind `values` and its gains, exposed as its reference.
void prove(ChartMeter& meter, TuningValues values, MatrixCalibration& result) {
    values.gains = result.gains;
    result.exposure = expose(meter, result.reference, values);
    result.measured = meter.colours(values);
    result.limited = 0;
    result.corrected = apply_matrix(result.matrix.value, result.measured, result.limited);
    result.before = differences(result.measured, result.reference, result.settings.white_point);
    result.after = differences(result.corrected, result.reference, result.settings.white_point);
}

}  // namespace

ChartWindows chart_windows(const ChartPlace& place, const Capture& chart) {
    const SensorGeometry& sensor = chart.sensor;
    const ChartWindows windows = place.windows   ? *place.windows
                                 : place.corners ? windows_from_corners(*place.corners)
                                                 : windows_of_full_frame(sensor.width, sensor.height);
    for (std::size_t i = 0; i < windows.size(); ++i) {
        const RoiRect& window = windows[i];
        if (!window_fits(window, sensor.width, sensor.height)) {
            throw InputError(chart.file.string() + text(": window %zu of the chart, ", i + 1) +
                             to_text(Window{window.x, window.y, window.w, window.h}) +
                             ", expected 2 x 2 or more inside the frame of " + by(sensor.width, sensor.height));
        }
    }
    return windows;
}

MatrixCalibration calibrate_matrix(Capture& chart, const TuningValues& values, const MatrixSettings& settings,
                                   const LibraryOutput& output) {
    const ChartWindows windows = chart_windows(settings.place, chart);
    MatrixCalibration result;
    result.file = chart.file;
    result.settings = settings;
    result.windows = windows;
    result.windows_from = place_name(settings.place);
    result.flat_field = values.flat_field;
    result.gains = values.gains;

    const std::vector<Colour> built_in = built_in_colours();
    result.reference = built_in;
    if (!settings.reference.empty()) {
        const ChartReference measured = read_chart_reference(settings.reference);
        result.reference = linear_colours(measured, settings.white_point);
        result.record.inputs = {measured.input};
        result.record.in_force = {
            {"chart reference", reference_name(settings.reference) + ", " + measured.light, Source::metadata}};
    }

    ChartMeter meter(chart, windows);
    TuningValues applied = values;
    (void)expose(meter, settings.method == MatrixMethod::measured ? result.reference : built_in, applied);
    result.matrix = fit(chart, {applied, meter, settings, result.reference}, result.gains, output);
    prove(meter, values, result);
    applied.gains = result.gains;
    leave_patches_out({applied, meter, settings, result.reference}, result);
    const Thumbnail small = thumbnail(chart, applied.black_level, result.gains);
    result.picture = {"", png_of(small.pixels, small.width, small.height, PngEffort::little),
                      static_cast<int>(small.width), static_cast<int>(small.height)};
    result.picture_scale = small.photosites;
    return result;
}

MatrixCalibration prove_matrix(const Capture& chart, const TuningValues& values, const MatrixCalibration& matrix,
                               const ChartPlace& place) {
    const ChartWindows windows = chart_windows(place, chart);
    MatrixCalibration result = matrix;
    result.file = chart.file;
    result.windows = windows;
    result.windows_from = place_name(place);
    result.flat_field = values.flat_field;
    result.gains = values.gains;
    ChartMeter meter(chart, windows);
    prove(meter, values, result);
    return result;
}

Section describe(const MatrixCalibration& result) {
    Section section;
    section.title =
        "Colour matrix: " + result.file.filename().string() +
        text(", method %s, white D%d, exposure x %.3f, gains %.4f and %.4f", matrix_method_name(result.settings.method),
             result.settings.white_point, result.exposure, result.gains.red / 1024.0, result.gains.blue / 1024.0);
    Table& matrix = section.tables.emplace_back();
    matrix.header = false;
    matrix.columns = {{"r", 9}, {"g", 9}, {"b", 9}, {"r_q10", 8}, {"g_q10", 6}, {"b_q10", 6}};
    for (std::size_t r = 0; r < 9; r += 3) {
        Row& row = matrix.rows.emplace_back();
        for (std::size_t c = 0; c < 3; ++c) {
            const auto value = static_cast<double>(result.matrix.value[r + c]);
            row.cells.push_back(text("%.5f", value));
            section.figures.push_back(
                {text("matrix_%zu%zu", r / 3 + 1, c + 1), value, "", known(result.uncertainty[r + c]), 1.0 / 1024});
        }
        for (std::size_t c = 0; c < 3; ++c) {
            row.cells.push_back(std::to_string(result.matrix.q10[r + c]));
        }
        if (result.uncertainty[r] > 0) {
            row.remark = text("+/- %.5f %9.5f %9.5f", result.uncertainty[r], result.uncertainty[r + 1],
                              result.uncertainty[r + 2]);
        }
    }
    Table& table = section.tables.emplace_back();
    table.columns = {
        {"", 12, true}, {"mean dE*ab", 14}, {"worst dE*ab", 14}, {"mean dE2000", 16}, {"worst dE2000", 16}};
    const auto add = [&](const char* name, const ChartDifferences& found) {
        Row& row = table.rows.emplace_back(Row{{name}, ""});
        for (const auto& [key, summary] : {std::pair("de_ab", &found.de76), std::pair("de_2000", &found.de2000)}) {
            row.cells.push_back(text("%.2f", summary->mean));
            row.cells.push_back(text("%.2f (%2zu)", summary->worst, summary->worst_patch + 1));
            section.figures.push_back({std::string(name) + "_mean_" + key, summary->mean, "dE"});
            section.figures.push_back({std::string(name) + "_worst_" + key, summary->worst, "dE"});
        }
    };
    add("before", result.before);
    add("after", result.after);
    section.notes.push_back("reference: " + reference_name(result.settings.reference));
    if (result.leave_one_out > 0) {
        section.notes.push_back(text("leave-one-out mean dE2000 %.2f", result.leave_one_out));
        section.figures.push_back({"leave_one_out_mean_de_2000", result.leave_one_out, "dE"});
    }
    section.swatches.push_back({result.measured, result.corrected, result.reference});
    add_plots(result, section);
    return section;
}

}  // namespace cali::host
