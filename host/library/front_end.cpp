#include "library/front_end.h"

#include "base/error.h"
#include "base/text.h"
#include "core/channel.h"
#include "library/exports.h"

namespace cali::host {

void require_shadeable(const Capture& frame) {
    if (frame.sensor.width > kMaxShadedSide || frame.sensor.height > kMaxShadedSide) {
        throw InputError(frame.file.string() + ": " + by(frame.sensor.width, frame.sensor.height) +
                         text(" samples, expected at most %d either way", kMaxShadedSide));
    }
}

Samples apply_black_level(Capture& frame, const BlackLevels& black_level, const LibraryOutput& output) {
    return exports::blc_verify(frame, black_level, output);
}

Samples apply_front_end(Capture& frame, const TuningValues& values, const LibraryOutput& output) {
    require_shadeable(frame);
    return exports::awb_verify(frame, values, output);
}

BlackLevel black_level_stage(const BlackLevels& black_level) {
    const auto& [offset, gain] = black_level;
    return BlackLevel::from_red_first({offset[kRR], offset[kGR], offset[kGB], offset[kBB]}, gain);
}

MeshGrids mesh_of(const ShadingGrids& grids) {
    return {grids.cols, grids.rows, grids.red.data(), grids.green.data(), grids.blue.data()};
}

FrontEnd front_end_of(const TuningValues& values) {
    FrontEnd front_end;
    front_end.black_level = black_level_stage(values.black_level);
    front_end.mesh = mesh_of(values.grids);
    front_end.wb_gains = WbGains{values.gains.red, values.gains.blue};
    return front_end;
}

std::vector<uint32_t> window_behind(const Capture& frame, const FrontEnd& front_end, const RoiRect& window) {
    require_shadeable(frame);
    FrontEndRows rows(frame.view(), front_end);
    rows.set_columns(window.x, window.w);
    std::vector<uint32_t> samples(static_cast<std::size_t>(window.w) * static_cast<std::size_t>(window.h));
    for (int32_t y = 0; y < window.h; ++y) {
        rows.row(window.y + y, frame.view().row(window.y + y) + window.x,
                 samples.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(window.w));
    }
    return samples;
}

Colour mean_colour(const Capture& frame, const TuningValues& values, const Window& window) {
    const std::vector<uint32_t> samples =
        window_behind(frame, front_end_of(values), {window.x, window.y, window.width, window.height});
    Colour sum{};
    Colour count{};
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const auto columns = static_cast<std::size_t>(window.width);
        const std::size_t colour = colour_of(
            bayer_channel(frame.sensor.pattern, static_cast<uint32_t>(window.y) + static_cast<uint32_t>(i / columns),
                          static_cast<uint32_t>(window.x) + static_cast<uint32_t>(i % columns)));
        sum[colour] += samples[i];
        count[colour] += 1;
    }
    for (std::size_t c = 0; c < sum.size(); ++c) {
        sum[c] /= count[c] * kLibraryFullScale;
    }
    return sum;
}

}  // namespace cali::host
