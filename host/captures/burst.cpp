#include "captures/burst.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "base/error.h"
#include "base/text.h"
#include "captures/read_capture.h"

namespace cali::host {
namespace {

void set_conditions(Capture& capture, const CaptureEntry& entry) {
    capture.metadata.exposure_ms = entry.exposure_ms ? entry.exposure_ms : capture.metadata.exposure_ms;
    if (entry.taken.gain) {
        capture.metadata.gain = entry.taken.gain;
        std::erase_if(capture.settings, [](const Setting& setting) { return setting.name == "gain"; });
        capture.settings.push_back({"gain", text("%g", *entry.taken.gain), Source::session});
    }
    capture.taken = {entry.taken.illuminant_k, capture.metadata.gain};
}

double mean_of(const Codes& codes) {
    return static_cast<double>(std::accumulate(codes.begin(), codes.end(), uint64_t{0})) /
           static_cast<double>(codes.size());
}

/// Sums of the frames' codes.
class BurstSum {
public:
    BurstSum(const CaptureEntry& entry, const Geometry& geometry) : entry_(entry), geometry_(geometry) {}

    void add_all() {
        for (const std::filesystem::path& file : entry_.files) {
            FileFrame frame = read_frame(file, geometry_);
            if (means_.empty()) {
                capture_ = std::move(frame.capture);
                sums_ = FrameVector<uint32_t>(frame.codes.size(), 0);
            } else {
                require_same_sensor(frame.capture.sensor, file.string(), capture_.sensor, entry_.file().string());
                if (!entry_.taken.gain) {
                    require_same_gain(frame.capture, capture_.metadata.gain, "that of " + entry_.file().string());
                }
                std::ranges::move(frame.capture.inputs, std::back_inserter(capture_.inputs));
            }
            means_.push_back(mean_of(frame.codes));
            std::ranges::transform(frame.codes, sums_, sums_.begin(), std::plus<uint32_t>());
        }
    }

    /// Reads what is left out again, which is rare: keeping every frame would cost memory always.
    void leave_out(double most_difference) {
        std::vector<double> sorted = means_;
        const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>((sorted.size() - 1) / 2);
        std::ranges::nth_element(sorted, middle);
        for (std::size_t i = 0; i < means_.size(); ++i) {
            const double difference = std::abs(means_[i] / *middle - 1);
            if (difference > most_difference) {
                const FileFrame frame = read_frame(entry_.files[i], geometry_);
                std::ranges::transform(sums_, frame.codes, sums_.begin(), std::minus<uint32_t>());
                capture_.left_out.push_back({entry_.files[i], difference});
            }
        }
    }

    [[nodiscard]] Capture mean() {
        const std::size_t count = means_.size() - capture_.left_out.size();
        capture_.samples = Samples(sums_.size());
        std::ranges::transform(sums_, capture_.samples.begin(), [&](uint32_t sum) {
            return mean_on_library_scale(sum, static_cast<uint32_t>(count), capture_.sensor.bits);
        });
        return std::move(capture_);
    }

private:
    const CaptureEntry& entry_;
    const Geometry& geometry_;
    Capture capture_;
    FrameVector<uint32_t> sums_;
    std::vector<double> means_;
};

}  // namespace

void require_same_gain(const Capture& frame, const std::optional<double>& expected, const std::string& whose) {
    const auto of = [](const std::optional<double>& gain) { return gain ? text("gain %g", *gain) : "no known gain"; };
    if (frame.metadata.gain != expected) {
        throw InputError(frame.file.string() + ": is of " + of(frame.metadata.gain) + ", expected " + of(expected) +
                         ", " + whose);
    }
}

Capture read_entry(const CaptureEntry& entry, const Geometry& geometry, double most_difference) {
    Capture capture;
    if (entry.files.size() == 1) {
        capture = read_capture(entry.file(), geometry);
    } else {
        check_number(static_cast<int64_t>(entry.files.size()), 1, kMostBurstFrames,
                     entry.file().string() + ": the number of frames in its burst");
        BurstSum sum(entry, geometry);
        sum.add_all();
        sum.leave_out(most_difference);
        capture = sum.mean();
    }
    set_conditions(capture, entry);
    return capture;
}

}  // namespace cali::host
