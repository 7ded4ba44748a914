#include "base/base64.h"
#include "results/codecs.h"

namespace cali::host {
namespace {

/// Three rows of three.
template <typename T>
void matrix_field(Archive& archive, const char* key, std::array<T, 9>& matrix) {
    std::array<std::array<T, 3>, 3> rows{};
    for (std::size_t i = 0; i < matrix.size(); ++i) {
        rows[i / 3][i % 3] = matrix[i];
    }
    archive.field(key, rows);
    for (std::size_t i = 0; i < matrix.size(); ++i) {
        matrix[i] = rows[i / 3][i % 3];
    }
}

void summary_fields(Archive& archive, const char* key, DifferenceSummary& summary) {
    archive.object(key, [&](Archive figures) {
        figures.field("mean", summary.mean);
        figures.field("worst", summary.worst);
        std::size_t worst_patch = summary.worst_patch + 1;
        figures.field("worst_patch", worst_patch, 1, static_cast<int64_t>(kChartPatches));
        summary.worst_patch = worst_patch - 1;
        figures.field("per_patch", summary.per_patch);
    });
}

void difference_fields(Archive& archive, const char* key, ChartDifferences& differences) {
    archive.object(key, [&](Archive metrics) {
        summary_fields(metrics, "de_ab_1976", differences.de76);
        summary_fields(metrics, "de_2000", differences.de2000);
    });
}

/// Absent from files of earlier versions.
void window_fields(Archive& archive, MatrixCalibration& result) {
    using Sides = std::array<std::array<int32_t, 4>, kChartPatches>;
    std::optional<Sides> sides;
    if (result.windows) {
        std::ranges::transform(*result.windows, sides.emplace().begin(), [](const RoiRect& window) {
            return std::array{window.x, window.y, window.w, window.h};
        });
    }
    archive.field("windows", sides);
    if (sides) {
        std::ranges::transform(*sides, result.windows.emplace().begin(), [](const auto& window) {
            return RoiRect{window[0], window[1], window[2], window[3]};
        });
        archive.field("windows_from", result.windows_from);
        archive.field("chart_confidence", result.settings.place.confidence);
    }
}

/// As base64: nothing else has a place for bytes.
void picture_fields(Archive& archive, MatrixCalibration& result) {
    archive.object_if(!result.picture.png.empty(), "picture", [&](Archive picture) {
        picture.field("width", result.picture.width, 1, kMaxSide);
        picture.field("height", result.picture.height, 1, kMaxSide);
        picture.field("photosites_per_pixel", result.picture_scale);
        std::string text = base64(result.picture.png);
        picture.field("png", text);
        if (picture.reading()) {
            result.picture.png = from_base64(text, picture.where("png"));
        }
    });
}

}  // namespace

void fields(Archive& archive, MatrixCalibration& result) {
    archive.file("file", result.file);
    condition_fields(archive, result.taken);
    archive.named("method", result.settings.method, matrix_method_name, parse_matrix_method);
    archive.named("white_point", result.settings.white_point, white_point_name, parse_white_point);
    archive.field("saturation", result.settings.saturation);
    reference_field(archive, result.settings.reference);
    window_fields(archive, result);
    archive.file_or_unity("lens_shading", result.flat_field);
    gain_fields(archive, result.gains);
    archive.field("exposure", result.exposure);
    matrix_field(archive, "matrix", result.matrix.value);
    matrix_field(archive, "matrix_q10", result.matrix.q10);
    matrix_field(archive, "uncertainty", result.uncertainty);
    archive.object("patches", [&](Archive patches) {
        patch_colours(patches, "measured", result.measured);
        patch_colours(patches, "corrected", result.corrected);
        patch_colours(patches, "reference", result.reference);
        patches.field("limited_components", result.limited);
    });
    difference_fields(archive, "difference_before", result.before);
    difference_fields(archive, "difference_after", result.after);
    archive.field("leave_one_out_de_2000", result.leave_one_out);
    if (archive.reading() ? archive.holds("left_out_de_2000") : !result.left_out.empty()) {
        archive.field("left_out_de_2000", result.left_out);
    }
    picture_fields(archive, result);
    record_fields(archive, result.record);
}

}  // namespace cali::host
