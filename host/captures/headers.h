/// What captures tell before their samples are read.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "captures/capture_entry.h"
#include "captures/frame.h"
#include "captures/frame_series.h"

namespace cali::host {

/// Looks at each file once, when it is first asked for: a container is read whole for its header.
class CaptureHeaders {
public:
    explicit CaptureHeaders(Geometry geometry) : geometry_(std::move(geometry)) {}

    [[nodiscard]] const Geometry& geometry() const { return geometry_; }

    /// Throws InputError.
    [[nodiscard]] const Capture& of(const std::filesystem::path& file);
    /// None where the file cannot be read: who reads it says why.
    [[nodiscard]] const Capture* find(const std::filesystem::path& file);

    /// Light and gain of an entry, the gain from its first file where the entry does not tell.
    [[nodiscard]] Conditions conditions_of(const CaptureEntry& entry);
    /// Entries of equal gain together.
    [[nodiscard]] std::vector<std::pair<Conditions, std::vector<CaptureEntry>>> by_gain(
        const std::vector<CaptureEntry>& entries);
    /// Levels likewise.
    [[nodiscard]] std::vector<std::pair<Conditions, std::vector<SeriesLevel>>> series_by_gain(
        const std::vector<SeriesLevel>& series);

private:
    using Header = std::variant<Capture, std::string>;  ///< or why there is none

    const Header& look_at(const std::filesystem::path& file);

    Geometry geometry_;
    std::map<std::filesystem::path, Header> known_;
};

}  // namespace cali::host
