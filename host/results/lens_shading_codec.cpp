#include <algorithm>

#include "results/codecs.h"
#include "stages/grid_placement.h"

namespace cali::host {
namespace {

constexpr std::size_t kGreen = 1;
constexpr const char* kMonoKey = "y";

/// Three lists, of which a sensor without colours has one.
void block_fields(Archive& archive, BlockMeans& blocks) {
    constexpr int64_t kMost = 64;
    archive.field("columns", blocks.cols, 1, kMost);
    archive.field("rows", blocks.rows, 1, kMost);
    const std::size_t count = static_cast<std::size_t>(blocks.cols) * static_cast<std::size_t>(blocks.rows);
    blocks.colour.resize(count);
    for (std::size_t c = 0; c < 3; ++c) {
        if (archive.mono() && c != kGreen) {
            continue;
        }
        const char* const key = archive.mono() ? kMonoKey : kColourKeys[c];
        std::vector<double> plane(count);
        std::ranges::transform(blocks.colour, plane.begin(), [c](const auto& block) { return block[c]; });
        picture_numbers(archive, key, plane);
        if (plane.size() != count) {
            archive.fail(key, std::to_string(plane.size()) + " blocks", std::to_string(count));
        }
        for (std::size_t i = 0; i < count; ++i) {
            blocks.colour[i][c] = plane[i];
        }
    }
}

void flatness_fields(Archive& archive, const char* key, Flatness& flatness) {
    archive.object(key, [&](Archive figures) {
        figures.field("corner_to_centre", flatness.corner_to_centre);
        figures.field("luminance_rms", flatness.luminance_rms);
        figures.field("worst_luminance", flatness.worst_luminance);
        figures.field("worst_colour_shift", flatness.worst_colour_shift);
        figures.object_if(!flatness.blocks.colour.empty(), "blocks",
                          [&](Archive blocks) { block_fields(blocks, flatness.blocks); });
    });
}

void mesh_fields(Archive& mesh, ShadingSettings& settings, ShadingTables& tables) {
    mesh.field("cols", settings.cols);
    mesh.field("rows", settings.rows);
    settings.set_grid(settings.cols, settings.rows, mesh.where("cols and rows"));
    tables.cols = settings.cols;
    tables.rows = settings.rows;
    if (!mesh.reading()) {
        const GridPlacement x = place_grid(tables.cols, tables.width);
        const GridPlacement y = place_grid(tables.rows, tables.height);
        mesh.derived("xstep", x.step);
        mesh.derived("ystep", y.step);
        mesh.derived("imgx0", x.origin);
        mesh.derived("imgy0", y.origin);
    }
    mesh.object("gain_q9", [&](Archive gains) {
        const auto table = [&](const char* key, std::vector<int32_t>& nodes) {
            gains.field(key, nodes);
            const auto expected = static_cast<std::size_t>(tables.cols) * static_cast<std::size_t>(tables.rows);
            if (nodes.size() != expected) {
                gains.fail(key, std::to_string(nodes.size()) + " gains", std::to_string(expected));
            }
        };
        if (gains.mono()) {
            return table(kMonoKey, tables.mesh[kGreen]);
        }
        for (std::size_t i = 0; i < tables.mesh.size(); ++i) {
            table(kColourKeys[i], tables.mesh[i]);
        }
    });
}

void radial_fields(Archive& radial, ShadingTables& tables) {
    radial.field("center_x", tables.center_x);
    radial.field("center_y", tables.center_y);
    radial.field("norm", tables.norm);
    radial.object("gain_q9", [&](Archive gains) {
        std::array<int32_t, kRadialEntries> table{};
        const auto first_of = [&](std::size_t colour) {
            return tables.radial.begin() + static_cast<std::ptrdiff_t>(colour * kRadialEntries);
        };
        for (std::size_t i = 0; i < kColourKeys.size(); ++i) {
            if (gains.mono() && i != kGreen) {
                continue;
            }
            std::copy_n(first_of(i), table.size(), table.begin());
            gains.field(gains.mono() ? kMonoKey : kColourKeys[i], table);
            std::ranges::copy(table, first_of(i));
        }
    });
}

}  // namespace

void fields(Archive& archive, LensShading& result) {
    archive.file("file", result.file);
    condition_fields(archive, result.taken);
    archive.named("type", result.settings.type, shading_type_name, parse_shading_type);
    archive.field("denoise", result.settings.denoise);
    archive.field("width", result.tables.width, 1, kMaxSide);
    archive.field("height", result.tables.height, 1, kMaxSide);
    archive.object("mesh", [&](Archive mesh) { mesh_fields(mesh, result.settings, result.tables); });
    archive.object("radial", [&](Archive radial) { radial_fields(radial, result.tables); });
    if (archive.mono() && archive.reading()) {
        take_green(result.tables);
    }
    archive.object("uniformity", [&](Archive uniformity) {
        flatness_fields(uniformity, "before", result.before);
        flatness_fields(uniformity, "after_mesh", result.after_mesh);
        flatness_fields(uniformity, "after_radial", result.after_radial);
    });
    record_fields(archive, result.record);
}

}  // namespace cali::host
