#include "results/codecs.h"

namespace cali::host {
namespace {

void line_fields(Archive& archive, const char* key, Channels<NoiseLine>& lines) {
    archive.object(key, [&](Archive channels) {
        for_each_channel(channels, lines, [&](const char* name, NoiseLine& fitted) {
            channels.object(name, [&](Archive line) {
                line.field("slope", fitted.slope);
                line.field("intercept", fitted.intercept);
                line.field("relative_residual_rms", fitted.residual);
            });
        });
    });
}

}  // namespace

void fields(Archive& archive, NoiseResults& results) {
    condition_fields(archive, results.taken);
    window_fields(archive, "window", results.window);
    archive.list("levels", results.levels, [](Archive entry, NoiseLevel& level) {
        entry.field("name", level.name);
        entry.field("frames", level.frames);
        channel_fields(entry, "mean", level.mean);
        channel_fields(entry, "deviation", level.deviation);
        channel_fields(entry, "variance", level.variance);
    });
    line_fields(archive, "deviation_line", results.deviation);
    line_fields(archive, "variance_line", results.variance);
    archive.object("weighted_variance_line", [&](Archive channels) {
        for_each_channel(channels, results.weighted, [&](const char* name, WeightedLine& fitted) {
            channels.object(name, [&](Archive line) {
                measured_fields(line, "slope", fitted.slope);
                measured_fields(line, "intercept", fitted.intercept);
            });
        });
    });
    archive.object("registers", [&](Archive registers) {
        registers.field("slope_format", results.settings.slope_format);
        registers.field("level_format", results.settings.level_format);
        registers.field("ref_level", results.settings.ref_level);
        Channels<int32_t> slope{};
        Channels<int32_t> level{};
        for (std::size_t c = 0; c < slope.size(); ++c) {
            slope[c] = results.registers[c].slope;
            level[c] = results.registers[c].level;
        }
        channel_fields(registers, "slope", slope);
        channel_fields(registers, "level", level);
        for (std::size_t c = 0; c < slope.size(); ++c) {
            results.registers[c] = {slope[c], level[c]};
        }
        registers.field("luma_slope", results.luma_registers.slope);
        registers.field("luma_level", results.luma_registers.level);
    });
    record_fields(archive, results.record);
}

}  // namespace cali::host
