#include "session/chain.h"

#include <algorithm>

#include "base/error.h"
#include "calibrations/flat_field_faults.h"
#include "captures/read_capture.h"
#include "results/choose_values.h"

namespace cali::host {
namespace {

Section bare(const char* title) { return {title, {}, {}, {}, {}, {}}; }

class Chain {
public:
    Chain(const Session& session, const LibraryOutput& output, ChainObserver& observer)
        : session_(session), output_(output), observer_(observer) {}

    Results run() {
        black_level();
        lens_shading();
        white_balance();
        curve();
        matrices();
        tables();
        noise();
        return std::move(results_);
    }

private:
    [[nodiscard]] const BlackLevels& black() const { return results_.black_level->values; }

    void black_level() {
        if (session_.dark.empty()) {
            throw InputError(session_.file.string() +
                             ": captures: dark names no file, expected one dark frame or more");
        }
        std::vector<DarkFrameLevels> frames;
        for (const std::filesystem::path& file : session_.dark) {
            Capture dark = read_capture(file, session_.geometry);
            if (frames.empty()) {
                results_.sensor = dark.sensor;
            }
            frames.push_back(measure_dark_frame(dark, 0, output_));
        }
        results_.black_level = combine(std::move(frames), session_.black_level_method);
        observer_.section(describe(*results_.black_level));
    }

    void lens_shading() {
        for (const LitCapture& lit : session_.flat) {
            Capture flat = read_capture(lit.file, session_.geometry);
            require_flat(flat, black(), false);
            CorrectedFlat corrected;
            LensShading& shading = results_.lens_shading.emplace_back(
                calibrate_flat_field(flat, black(), session_.shading, output_, corrected));
            shading.illuminant_k = lit.illuminant_k;
            observer_.flat_field(shading, flat.sensor, corrected);
            observer_.section(describe(shading));
        }
        if (session_.flat.empty()) {
            observer_.section(bare("Lens shading: the session names no flat field, unity grids are applied"));
        }
    }

    void white_balance() {
        for (const LitCapture& lit : session_.grey) {
            Capture grey = read_capture(lit.file, session_.geometry);
            const Window window = session_.white_balance_window.value_or(default_window(grey.sensor));
            TuningValues values;
            values.black_level = black();
            choose_grids(results_.lens_shading, lit.illuminant_k, values);
            results_.white_balance.push_back(measure_grey_card(grey, values, window, output_));
            results_.white_balance.back().illuminant_k = lit.illuminant_k;
        }
        observer_.section(session_.grey.empty() ? bare("White balance: the session names no grey card")
                                                : describe(results_.white_balance));
    }

    void curve() {
        const auto known_lights = static_cast<std::size_t>(std::ranges::count_if(
            results_.white_balance, [](const WhiteBalance& entry) { return entry.illuminant_k.has_value(); }));
        if (known_lights >= kLeastCurveLights && known_lights <= kMostCurveLights) {
            results_.curve = fit_curve(results_.white_balance, session_.file, output_);
            observer_.section(describe(*results_.curve));
        }
    }

    /// Charts, each behind the values of the nearest lights.
    void matrices() {
        for (const LitCapture& lit : session_.chart) {
            TuningValues values;
            values.black_level = black();
            choose_grids(results_.lens_shading, lit.illuminant_k, values);
            if (const WhiteBalance* const nearest = nearest_light(results_.white_balance, lit.illuminant_k)) {
                values.gains = nearest->gains;
            } else if (session_.matrix.method != MatrixMethod::joint) {
                throw InputError(
                    session_.file.string() +
                    ": captures: a chart but no grey card, expected one, or the colour matrix's method joint");
            }
            Capture chart = read_capture(lit.file, session_.geometry);
            results_.matrices.push_back(calibrate_matrix(chart, values, session_.matrix, output_));
            results_.matrices.back().illuminant_k = lit.illuminant_k;
            observer_.section(describe(results_.matrices.back()));
        }
    }

    void tables() {
        for (const MatrixCalibration& matrix : results_.matrices) {
            if (observer_.wants_tables()) {
                const ColourTable table = calibrate_table(table_input(matrix), {}, output_);
                observer_.colour_table(table);
                observer_.section(describe(table));
            }
        }
    }

    void noise() {
        if (session_.series.empty()) {
            return;
        }
        Progress progress(frame_count(session_.series), observer_.shows_progress());
        SensorGeometry sensor;
        results_.noise =
            calibrate_noise(session_.series, session_.geometry, black(), session_.noise, output_, progress, sensor);
        observer_.section(describe(*results_.noise));
    }

    const Session& session_;
    const LibraryOutput& output_;
    ChainObserver& observer_;
    Results results_;
};

}  // namespace

Results run_chain(const Session& session, const LibraryOutput& output, ChainObserver& observer) {
    return Chain(session, output, observer).run();
}

}  // namespace cali::host
