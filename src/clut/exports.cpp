#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "boundary/export_call.h"
#include "cali/cali.h"
#include "clut/table.h"
#include "core/environment.h"
#include "pictures/debug_file.h"

namespace cali::clut {
namespace {

constexpr int32_t kLeastNodes = 2;
constexpr int32_t kMostNodes = 65;
constexpr int kFirstFilterPhase = 4;
constexpr int kLastPhase = 5;

/// An environment variable read as a decimal number; echoed where it is set.
bool is_enabled(const char* name) {
    const std::optional<std::string> text = environment_variable(name);
    if (!text) {
        return false;
    }
    std::printf("%s = %s\n", name, text->c_str());
    return std::strtol(text->c_str(), nullptr, 10) > 0;
}

bool is_component(float value) { return value >= 0 && value <= 1; }  // false for NaN

bool is_colour(const ClutCell& cell) { return is_component(cell.r) && is_component(cell.g) && is_component(cell.b); }

void check_cells(ArgumentCheck& check, const char* name, const ClutCell* cells, int32_t count) {
    check.pointer(name, cells);
    for (int32_t i = 0; check.ok() && i < count; ++i) {
        if (!is_colour(cells[i])) {
            check.reject("%s[%d] is %g, %g, %g, expected components within 0..1", name, i,
                         static_cast<double>(cells[i].r), static_cast<double>(cells[i].g),
                         static_cast<double>(cells[i].b));
        }
    }
}

void check_settings(ArgumentCheck& check, const ClutSettings* settings) {
    check.pointer("settings", settings);
    if (!check.ok()) {
        return;
    }
    for (const int32_t nodes : settings->nodes) {
        check.range("nodes", nodes, kLeastNodes, kMostNodes);
    }
    if (!(settings->strength >= 0 && settings->strength <= 1)) {
        check.reject("strength is %g, expected 0 to 1", static_cast<double>(settings->strength));
    }
    if (!(settings->radius > 0 && settings->radius <= 1)) {
        check.reject("radius is %g, expected above 0 and at most 1", static_cast<double>(settings->radius));
    }
}

std::string phase_file(int phase) { return "clut_phase_" + std::to_string(phase) + ".txt"; }

/// So that no old file is taken for one of this run.
void remove_skipped_dumps(const FieldSettings& settings) {
    for (int phase = kFirstFilterPhase; !settings.postprocess && phase <= kLastPhase; ++phase) {
        (void)std::remove(phase_file(phase).c_str());
    }
}

/// One node per line: its numbers along the axes, then what is stored.
template <typename Value>
void dump(const char* name, const Lattice& lattice, const char* format, Value value) {
    const DebugFile file = open_debug_file(name);
    if (!file) {
        return;
    }
    std::fprintf(file.get(), "%d %d %d\n", lattice.axis[0].nodes, lattice.axis[1].nodes, lattice.axis[2].nodes);
    lattice.for_each_node([&](const std::array<int32_t, 3>& node, std::size_t i) {
        std::fprintf(file.get(), "%d %d %d", node[0], node[1], node[2]);
        for (std::size_t c = 0; c < 3; ++c) {
            std::fprintf(file.get(), format, value(i, c));
        }
        std::fprintf(file.get(), "\n");
    });
}

void dump_cells(std::span<const ColourCell> cells) {
    const DebugFile file = open_debug_file("clut_input.txt");
    if (!file) {
        return;
    }
    std::fprintf(file.get(), "%zu\n", cells.size());
    for (const auto& [measured, target, weight] : cells) {
        std::fprintf(file.get(), "%f %f %f %f %f %f %f\n", measured[0], measured[1], measured[2], target[0], target[1],
                     target[2], weight);
    }
}

int32_t calibrate(const char* export_name, Domain domain, const ClutCell* measured, const ClutCell* target,
                  int32_t cell_count, const ClutSettings* settings, int32_t* table) {
    ArgumentCheck check(Family::clut, export_name);
    check.range("cell_count", cell_count, 1, INT32_MAX);
    check_cells(check, "measured", measured, cell_count);
    check_cells(check, "target", target, cell_count);
    check_settings(check, settings);
    check.pointer("table", table);
    if (!check.ok()) {
        return kRejected;
    }
    std::vector<ColourCell> cells;
    for (int32_t i = 0; i < cell_count; ++i) {
        const ClutCell& from = measured[i];
        const ClutCell& to = target[i];
        if (!(from.weight >= 0 && std::isfinite(from.weight))) {
            check.reject("measured[%d].weight is %g, expected 0 or more", i, static_cast<double>(from.weight));
            return kRejected;
        }
        cells.push_back({{static_cast<double>(from.r), static_cast<double>(from.g), static_cast<double>(from.b)},
                         {static_cast<double>(to.r), static_cast<double>(to.g), static_cast<double>(to.b)},
                         static_cast<double>(from.weight)});
    }
    if (domain == Domain::hsv && !any_saturated(cells)) {
        check.reject("measured holds %d colours without saturation, expected one of 0.02 or more", cell_count);
        return kRejected;
    }
    const bool dumps = is_enabled("CLUT_EXPORT_TABLE");
    TableSettings table_settings;
    table_settings.domain = domain;
    std::ranges::copy(settings->nodes, table_settings.nodes.begin());
    table_settings.strength = static_cast<double>(settings->strength);
    table_settings.field.radius = static_cast<double>(settings->radius);
    table_settings.field.postprocess = !is_enabled("CLUT_BYPASS_POSTPROCESS");
    const Lattice lattice = lattice_of(domain, table_settings.nodes);
    if (dumps) {
        dump_cells(cells);
        remove_skipped_dumps(table_settings.field);
    }
    TableReport report;
    const Table result = build_table(
        cells, table_settings,
        [&](int phase, const Field& field) {
            if (dumps) {
                dump(phase_file(phase).c_str(), lattice, " %f",
                     [&](std::size_t i, std::size_t c) { return field[i][c]; });
            }
        },
        report);
    if (dumps) {
        dump("clut_phase_final.txt", lattice, " %d",
             [&](std::size_t i, std::size_t c) { return result.value[i * 3 + c]; });
    }
    std::printf("clut inversions = %d, largest second difference = %f\n", report.inversions,
                report.largest_second_difference);
    std::ranges::copy(result.value, table);
    return kOk;
}

}  // namespace
}  // namespace cali::clut

using namespace cali;

int32_t cali_clut_calc(const ClutCell* measured, const ClutCell* target, int32_t cell_count,
                       const ClutSettings* settings, int32_t* table) {
    return run_export([&] {
        return clut::calibrate("cali_clut_calc", lut::Domain::hsv, measured, target, cell_count, settings, table);
    });
}

int32_t cali_clut_calc_rgb(const ClutCell* measured, const ClutCell* target, int32_t cell_count,
                           const ClutSettings* settings, int32_t* table) {
    return run_export([&] {
        return clut::calibrate("cali_clut_calc_rgb", lut::Domain::rgb, measured, target, cell_count, settings, table);
    });
}
