/// What several codecs hold.
#pragma once

#include "base/uncertainty.h"
#include "checks/check.h"
#include "results/archive.h"
#include "results/results.h"

namespace cali::host {

template <typename T>
void channel_fields(Archive& archive, const char* key, Channels<T>& values) {
    archive.object(key, [&](Archive channels) {
        for (std::size_t c = 0; c < values.size(); ++c) {
            channels.field(kChannelKeys[c], values[c]);
        }
    });
}
/// A figure with its standard uncertainty.
void measured_fields(Archive& archive, const char* key, Measured& measured);
void window_fields(Archive& archive, const char* key, Window& window);
/// How the section came about.
void record_fields(Archive& archive, Record& record);
void limit_fields(Archive& archive, Limits& limits);
/// Register gains with key "gain_q10".
void gain_fields(Archive& archive, GainRegisters& gains);

}  // namespace cali::host
