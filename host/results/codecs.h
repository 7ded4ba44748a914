/// What several codecs hold.
#pragma once

#include "base/uncertainty.h"
#include "checks/check.h"
#include "results/archive.h"
#include "results/results.h"

namespace cali::host {

/// Calls `use(key, value)` for every channel that the file has.
template <typename T, typename Use>
void for_each_channel(const Archive& archive, Channels<T>& values, Use use) {
    for (const ChannelLabel& label : channel_labels(archive.mono())) {
        use(label.key, values[label.index]);
    }
    if (archive.mono() && archive.reading()) {
        values.fill(T(values[kMonoLabels[0].index]));
    }
}
template <typename T>
void channel_fields(Archive& archive, const char* key, Channels<T>& values) {
    archive.object(key, [&](Archive channels) {
        for_each_channel(channels, values, [&](const char* name, T& value) { channels.field(name, value); });
    });
}
/// A figure with its standard uncertainty.
void measured_fields(Archive& archive, const char* key, Measured& measured);
void window_fields(Archive& archive, const char* key, Window& window);
/// Light and gain, each absent where it is not known.
void condition_fields(Archive& archive, Conditions& conditions);
void option_fields(Archive& archive, OptionRecord& options);
void input_fields(Archive& archive, std::vector<InputRecord>& inputs);
/// How the section came about.
void record_fields(Archive& archive, Record& record);
void limit_fields(Archive& archive, Limits& limits);
/// The chart's reference; absent from files of earlier versions, which know the built-in table alone.
void reference_field(Archive& archive, std::filesystem::path& file);
/// Linear colours of the chart's 24 patches.
void patch_colours(Archive& archive, const char* key, std::vector<Colour>& colours);
/// Numbers for pictures, in as many digits as these show.
void picture_numbers(Archive& archive, const char* key, std::vector<double>& values);
/// Register gains with key "gain_q10".
void gain_fields(Archive& archive, GainRegisters& gains);

}  // namespace cali::host
