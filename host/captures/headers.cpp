#include "captures/headers.h"

#include <algorithm>

#include "base/error.h"
#include "captures/read_capture.h"

namespace cali::host {
namespace {

/// Entries of equal gain together, in the order in which gains appear.
template <typename Entry, typename Gain>
std::vector<std::pair<Conditions, std::vector<Entry>>> grouped(const std::vector<Entry>& entries, Gain gain_of) {
    std::vector<std::pair<Conditions, std::vector<Entry>>> groups;
    for (const Entry& entry : entries) {
        const Conditions taken{{}, gain_of(entry)};
        auto group = std::ranges::find(groups, taken, [](const auto& known) { return known.first; });
        if (group == groups.end()) {
            group = groups.insert(group, {taken, {}});
        }
        group->second.push_back(entry);
    }
    return groups;
}

}  // namespace

const CaptureHeaders::Header& CaptureHeaders::look_at(const std::filesystem::path& file) {
    const auto known = known_.find(file);
    if (known != known_.end()) {
        return known->second;
    }
    Header header;
    try {
        header = probe_capture(file, geometry_);
    } catch (const InputError& problem) {
        header = std::string(problem.what());
    }
    return known_.emplace(file, std::move(header)).first->second;
}

const Capture& CaptureHeaders::of(const std::filesystem::path& file) {
    const Header& header = look_at(file);
    if (const auto* const problem = std::get_if<std::string>(&header)) {
        throw InputError(*problem);
    }
    return std::get<Capture>(header);
}

const Capture* CaptureHeaders::find(const std::filesystem::path& file) { return std::get_if<Capture>(&look_at(file)); }

Conditions CaptureHeaders::conditions_of(const CaptureEntry& entry) {
    if (entry.taken.gain) {
        return entry.taken;
    }
    const Capture* const capture = find(entry.file());
    return {entry.taken.illuminant_k, capture != nullptr ? capture->metadata.gain : std::nullopt};
}

std::vector<std::pair<Conditions, std::vector<CaptureEntry>>> CaptureHeaders::by_gain(
    const std::vector<CaptureEntry>& entries) {
    return grouped(entries, [&](const CaptureEntry& entry) { return conditions_of(entry).gain; });
}

std::vector<std::pair<Conditions, std::vector<SeriesLevel>>> CaptureHeaders::series_by_gain(
    const std::vector<SeriesLevel>& series) {
    return grouped(series, [&](const SeriesLevel& level) {
        return level.files.empty() ? level.gain : conditions_of({level.files, {{}, level.gain}, {}}).gain;
    });
}

}  // namespace cali::host
