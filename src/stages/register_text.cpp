#include "stages/register_text.h"

#include <algorithm>
#include <array>
#include <span>

#include "stages/grid_placement.h"

namespace cali {
namespace {

constexpr std::size_t kValuesPerLine = 16;
constexpr std::array<const char*, 4> kRadialRegisters = {"reg_lscr_gain_lut", "reg_lscr_gain_lut1",
                                                         "reg_lscr_gain_lut2", "reg_lscr_gain_lut_ir"};
constexpr std::array<const char*, 3> kMeshRegisters = {"reg_lsc_rtbl", "reg_lsc_gtbl", "reg_lsc_btbl"};
constexpr std::array<const char*, 3> kRadialColumns = {"reg_radius_lsc_rtbl", "reg_radius_lsc_gtbl",
                                                       "reg_radius_lsc_btbl"};

void append_register(std::string& text, const char* name, int32_t value) {
    text.append(name).append(" = ").append(std::to_string(value)).append("\n");
}

void append_values(std::string& text, std::span<const int32_t> values) {
    for (const int32_t value : values) {
        text.append(std::to_string(value)).append(", ");
    }
}

void append_table(std::string& text, const char* name, std::span<const int32_t> values) {
    text.append(name).append(" = <<<END_OF_TEXT");
    for (std::size_t k = 0; k < values.size(); k += kValuesPerLine) {
        text.append("\n");
        append_values(text, values.subspan(k, std::min(kValuesPerLine, values.size() - k)));
    }
    text.append("\nEND_OF_TEXT\n");
}

std::span<const int32_t> radial_table(const ShadingTables& tables, std::size_t i) {
    return std::span(tables.radial).subspan(i * kRadialEntries, kRadialEntries);
}

}  // namespace

std::string lsc_register_text(const ShadingTables& tables) {
    std::string text;
    append_register(text, "reg_lscr_centerx", tables.center_x);
    append_register(text, "reg_lscr_centery", tables.center_y);
    append_register(text, "reg_lscr_norm", tables.norm);
    append_register(text, "reg_lscr_norm_ir", tables.norm);
    for (std::size_t i = 0; i < kRadialRegisters.size(); ++i) {
        append_table(text, kRadialRegisters[i], radial_table(tables, i));
    }
    const GridPlacement x = place_grid(tables.cols, tables.width);
    const GridPlacement y = place_grid(tables.rows, tables.height);
    append_register(text, "reg_lsc_xstep", x.step);
    append_register(text, "reg_lsc_ystep", y.step);
    append_register(text, "reg_lsc_imgx0", x.origin);
    append_register(text, "reg_lsc_imgy0", y.origin);
    for (std::size_t i = 0; i < kMeshRegisters.size(); ++i) {
        append_table(text, kMeshRegisters[i], tables.mesh[i]);
    }
    return text;
}

std::string lsc_coefficient_csv(const ShadingTables& tables) {
    std::string text;
    for (std::size_t i = 0; i < kRadialColumns.size(); ++i) {
        text.append(kRadialColumns[i]).append("\n");
        append_values(text, radial_table(tables, i));
        text.append("\n");
    }
    const auto cols = static_cast<std::size_t>(tables.cols);
    for (std::size_t i = 0; i < kMeshRegisters.size(); ++i) {
        text.append(kMeshRegisters[i]).append("\n");
        for (std::size_t j = 0; j < static_cast<std::size_t>(tables.rows); ++j) {
            append_values(text, std::span(tables.mesh[i]).subspan(j * cols, cols));
            text.append("\n");
        }
        text.append("\n");
    }
    return text;
}

}  // namespace cali
