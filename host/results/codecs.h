/// One codec per section of the results file: the fields of a calibration's result, written and read by the same walk.
#pragma once

#include "results/archive.h"
#include "results/results.h"

namespace cali::host {

void fields(Archive& archive, BlackLevelResults& results);
void fields(Archive& archive, LensShading& result);
void fields(Archive& archive, WhiteBalance& result);
void fields(Archive& archive, CurveResult& curve);
void fields(Archive& archive, MatrixCalibration& result);
void fields(Archive& archive, ColourTable& table);
void fields(Archive& archive, NoiseResults& results);

// What several sections hold.

template <typename T>
void channel_fields(Archive& archive, const char* key, Channels<T>& values) {
    archive.object(key, [&](Archive channels) {
        for (std::size_t c = 0; c < values.size(); ++c) {
            channels.field(kChannelKeys[c], values[c]);
        }
    });
}
void window_fields(Archive& archive, const char* key, Window& window);
/// Register gains with key "gain_q10".
void gain_fields(Archive& archive, GainRegisters& gains);

}  // namespace cali::host
