#include "session/placement.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <numeric>
#include <optional>
#include <set>

#include "base/error.h"
#include "base/system_file.h"
#include "calibrations/black_level.h"
#include "calibrations/flatness.h"
#include "calibrations/noise.h"
#include "captures/file_patterns.h"
#include "captures/read_capture.h"
#include "detection/chart_finder.h"
#include "session/name_parts.h"

namespace cali::host {
namespace {

using std::filesystem::path;

/// A file that is a capture, and what is known of it.
struct Candidate {
    path file;
    Capture capture;  ///< without samples
    NameParts name;

    [[nodiscard]] Conditions taken() const {
        return {name.illuminant_k, capture.metadata.gain ? capture.metadata.gain : name.gain};
    }
};

constexpr int kMostDepth = 3;

/// Everything below the folder, but for what is hidden. Folders behind links are not walked.
void add_files_below(const path& folder, int depth, std::vector<path>& files, std::error_code& error) {
    for (const path& name : system_file::names_in(folder, error)) {
        std::error_code ignored;
        if (name.string().starts_with('.')) {
            continue;
        }
        if (std::filesystem::is_regular_file(folder / name, ignored)) {
            files.push_back(folder / name);
        } else if (depth < kMostDepth && std::filesystem::symlink_status(folder / name, ignored).type() ==
                                             std::filesystem::file_type::directory) {
            add_files_below(folder / name, depth + 1, files, ignored);
        }
    }
}

std::vector<path> files_below(const path& folder) {
    std::vector<path> files;
    std::error_code error;
    add_files_below(folder, 0, files, error);
    if (error) {
        throw InputError(folder.string() + ": cannot be read as a folder");
    }
    sort_naturally(files);
    return files;
}

/// What lies beside captures and is none.
bool is_companion(const path& file, const std::vector<path>& known) {
    constexpr std::array<const char*, 8> kSuffixes = {".toml", ".json", ".txt", ".md", ".csv", ".svg", ".cube", ".log"};
    return std::ranges::find(kSuffixes, file.extension().string()) != kSuffixes.end() ||
           std::ranges::any_of(known, [&](const path& other) {
               std::error_code error;
               return std::filesystem::equivalent(file, other, error);
           });
}

/// How much a form tells of itself.
int rank_of(const Candidate& candidate) {
    const CaptureMetadata& metadata = candidate.capture.metadata;
    const std::string suffix = candidate.file.extension().string();
    return (metadata.gain ? 4 : 0) + (metadata.black_level ? 2 : 0) + (suffix == ".raw" || suffix == ".bin" ? 0 : 1);
}

class Sorter {
public:
    Sorter(const path& folder, CaptureHeaders& headers) : folder_(folder), headers_(headers) {}

    Placement sort(const std::vector<path>& known) {
        find_candidates(known);
        keep_one_form();
        keep_one_sensor();
        for (Candidate& candidate : candidates_) {
            if (!candidate.name.kind) {
                look_at(candidate);
            }
            if (candidate.name.kind) {
                place(candidate);
            }
        }
        drop_brighter_darks();
        order_series();
        drop_what_files_tell();
        return std::move(placement_);
    }

private:
    void leave_out(const path& file, const std::string& why) { placement_.left_out.emplace_back(file, why); }

    void find_candidates(const std::vector<path>& known) {
        for (const path& file : files_below(folder_)) {
            if (is_companion(file, known)) {
                continue;
            }
            try {
                candidates_.push_back({file, headers_.of(file), name_parts(file.lexically_relative(folder_))});
            } catch (const InputError& problem) {
                // The message begins with the file's name.
                const std::string text = problem.what();
                const std::string name = file.string() + ": ";
                leave_out(file, text.starts_with(name) ? text.substr(name.size()) : text);
            }
        }
    }

    void keep_one_form() {
        std::map<path, const Candidate*> best;
        for (const Candidate& candidate : candidates_) {
            const Candidate*& kept = best[path(candidate.file).replace_extension()];
            kept = kept == nullptr || rank_of(candidate) > rank_of(*kept) ? &candidate : kept;
        }
        std::vector<Candidate> kept;
        for (Candidate& candidate : candidates_) {
            const Candidate* const other = best[path(candidate.file).replace_extension()];
            if (other == &candidate) {
                kept.push_back(candidate);
            } else {
                leave_out(candidate.file, "the same capture as " + other->file.filename().string());
            }
        }
        candidates_ = std::move(kept);
    }

    /// That of most captures.
    void keep_one_sensor() {
        const auto same_as = [&](const SensorGeometry& sensor) {
            return std::ranges::count_if(
                candidates_, [&](const Candidate& other) { return same_sensor(other.capture.sensor, sensor); });
        };
        for (const Candidate& candidate : candidates_) {
            if (same_as(candidate.capture.sensor) > same_as(placement_.sensor)) {
                placement_.sensor = candidate.capture.sensor;
            }
        }
        std::erase_if(candidates_, [&](const Candidate& candidate) {
            const bool other = !same_sensor(candidate.capture.sensor, placement_.sensor);
            if (other) {
                leave_out(candidate.file,
                          to_text(candidate.capture.sensor) + ", and most captures are " + to_text(placement_.sensor));
            }
            return other;
        });
    }

    /// Where the name says nothing.
    void look_at(Candidate& candidate) {
        constexpr double kDarkShare = 0.12;  // of full scale, at most: pedestals lie far below
        constexpr double kDarkRange = 0.01;  // of full scale, between block means
        constexpr double kFlatShare = 0.1;   // of full scale, at least
        constexpr double kFlatBend = 0.03;   // between neighbouring blocks
        constexpr double kFlatLeast = 0.05;  // of the brightest block: no lens falls off further
        Capture capture;
        try {
            capture = read_capture(candidate.file, headers_.geometry());
        } catch (const InputError& problem) {
            leave_out(candidate.file, problem.what());
            return;
        }
        const BlockMeans blocks = block_means(capture.view(), {});
        constexpr std::size_t kGreen = 1;
        const auto green = [](const std::array<double, 3>& block) { return block[kGreen]; };
        const double least = std::ranges::min(blocks.colour, {}, green)[kGreen];
        const double most = std::ranges::max(blocks.colour, {}, green)[kGreen];
        const double full = full_scale_code(capture.sensor);
        const auto is = [&](CaptureKind kind, const char* as) {
            candidate.name.kind = kind;
            placement_.seen.emplace_back(candidate.file, as);
        };
        if (most < kDarkShare * full && most - least < kDarkRange * full) {
            is(CaptureKind::dark, "a dark frame");
            return;
        }
        TuningValues values;
        if (const auto& black = capture.metadata.black_level) {
            values.black_level = given_black_level(*black, capture.sensor.bits, Source::metadata).values;
        }
        if (most > kFlatShare * full && least > kFlatLeast * most && largest_bend(blocks) < kFlatBend) {
            is(CaptureKind::flat, "a flat field");
        } else if (capture.sensor.mono) {
            leave_out(candidate.file, "its name says nothing, and it shows neither a dark frame nor a flat field");
        } else if (const FoundChart chart = find_chart(capture, values.black_level); chart.found) {
            is(CaptureKind::chart, "a chart");
        } else {
            leave_out(candidate.file,
                      "its name says nothing, and it shows neither a dark frame nor a flat field nor a chart (" +
                          chart.reason + ")");
        }
    }

    /// Largest bend between a block and its neighbours on both sides, as a share: lenses fall off in a smooth curve,
    /// whatever the slope.
    static double largest_bend(const BlockMeans& blocks) {
        double largest = 0;
        const auto bend = [&](const std::array<double, 3>& before, const std::array<double, 3>& here,
                              const std::array<double, 3>& after) {
            for (std::size_t colour = 0; colour < here.size(); ++colour) {
                const double mean = (before[colour] + after[colour]) / 2;
                largest = std::max(largest, std::abs(here[colour] / mean - 1));
            }
        };
        for (int row = 0; row < blocks.rows; ++row) {
            for (int col = 0; col < blocks.cols; ++col) {
                if (col > 0 && col + 1 < blocks.cols) {
                    bend(blocks.at(col - 1, row), blocks.at(col, row), blocks.at(col + 1, row));
                }
                if (row > 0 && row + 1 < blocks.rows) {
                    bend(blocks.at(col, row - 1), blocks.at(col, row), blocks.at(col, row + 1));
                }
            }
        }
        return largest;
    }

    void place(const Candidate& candidate) {
        if (candidate.capture.metadata.gain) {
            tells_gain_.insert(candidate.file);
        }
        const CaptureEntry entry{{candidate.file}, candidate.taken(), candidate.capture.metadata.exposure_ms};
        switch (*candidate.name.kind) {
            case CaptureKind::dark: placement_.dark.push_back(entry); break;
            case CaptureKind::flat: group(placement_.flat, entry); break;
            case CaptureKind::grey: group(placement_.grey, entry); break;
            case CaptureKind::chart: group(placement_.chart, entry); break;
            case CaptureKind::noise: add_to_series(candidate); break;
        }
    }

    /// A burst has one exposure: others of that light and gain would be calibrated twice.
    void group(std::vector<CaptureEntry>& entries, const CaptureEntry& entry) {
        const auto same = std::ranges::find_if(entries, [&](const CaptureEntry& other) {
            return other.taken == entry.taken && (entry.taken.illuminant_k || look_alike(entry.file(), other.file()));
        });
        if (same == entries.end()) {
            entries.push_back(entry);
        } else if (same->exposure_ms == entry.exposure_ms) {
            same->files.push_back(entry.file());
        } else {
            leave_out(entry.file(),
                      "of the same light and gain as " + same->file().filename().string() + ", and exposed otherwise");
        }
    }

    /// Whether captures of unknown light may be of one burst: their means agree.
    bool look_alike(const path& a, const path& b) {
        constexpr double kMostDifference = 0.02;
        const Channels<double>& first = means_of(a);
        const Channels<double>& second = means_of(b);
        return std::ranges::equal(
            first, second, [&](double x, double y) { return std::abs(x - y) <= kMostDifference * std::max(x, y); });
    }

    const Channels<double>& means_of(const path& file) {
        const auto [at, missing] = means_.try_emplace(file);
        if (missing) {
            const Capture capture = read_capture(file, headers_.geometry());
            const BlockMeans blocks = block_means(capture.view(), {});
            for (const std::array<double, 3>& block : blocks.colour) {
                for (std::size_t colour = 0; colour < block.size(); ++colour) {
                    at->second[colour] += block[colour] / static_cast<double>(blocks.colour.size());
                }
            }
        }
        return at->second;
    }

    void add_to_series(const Candidate& candidate) {
        if (candidate.name.level.empty()) {
            leave_out(candidate.file, "its name tells no brightness level, expected noise_LEVEL_N");
            return;
        }
        const std::optional<double> gain = candidate.taken().gain;
        const LevelKey key = {gain.value_or(0), candidate.name.level};
        if (!levels_.contains(key)) {
            const Capture frame = read_capture(candidate.file, headers_.geometry());
            brightness_[key] = std::accumulate(frame.samples.begin(), frame.samples.end(), 0.0) /
                               static_cast<double>(frame.samples.size());
        }
        levels_[key].files.push_back(candidate.file);
        levels_[key].gain = gain;
    }

    /// Dark to bright, whatever their names are.
    void order_series() {
        std::vector<LevelKey> keys;
        for (const auto& [key, level] : levels_) {
            keys.push_back(key);
        }
        std::ranges::sort(keys, {}, [&](const LevelKey& key) { return std::pair(key.first, brightness_[key]); });
        for (const LevelKey& key : keys) {
            placement_.series.push_back(std::move(levels_[key]));
        }
    }

    /// A dim frame under light looks like a dark one, but beside a darker one.
    void drop_brighter_darks() {
        constexpr double kMostAbove = 0.005;  // of full scale
        const auto brightness = [&](const CaptureEntry& dark) { return means_of(dark.file())[kGR]; };
        double least = std::numeric_limits<double>::infinity();
        for (const CaptureEntry& dark : placement_.dark) {
            least = std::min(least, brightness(dark));
        }
        std::erase_if(placement_.dark, [&](const CaptureEntry& dark) {
            const auto seen = std::ranges::find(placement_.seen, dark.file(), &std::pair<path, std::string>::first);
            const bool brighter = seen != placement_.seen.end() &&
                                  brightness(dark) > least + kMostAbove * full_scale_code(placement_.sensor);
            if (brighter) {
                placement_.seen.erase(seen);
                leave_out(dark.file(), "its name says nothing, and it is dark, but brighter than other dark frames");
            }
            return brighter;
        });
    }

    /// A session need not repeat it; what names tell stays.
    void drop_what_files_tell() {
        for (auto* const entries : {&placement_.dark, &placement_.flat, &placement_.grey, &placement_.chart}) {
            for (CaptureEntry& entry : *entries) {
                entry.exposure_ms.reset();
                if (tells_gain_.contains(entry.file())) {
                    entry.taken.gain.reset();
                }
            }
        }
        for (SeriesLevel& level : placement_.series) {
            if (tells_gain_.contains(level.files.front())) {
                level.gain.reset();
            }
        }
    }

    using LevelKey = std::pair<double, std::string>;

    const path& folder_;
    CaptureHeaders& headers_;
    std::vector<Candidate> candidates_;
    std::map<LevelKey, SeriesLevel> levels_;
    std::map<LevelKey, double> brightness_;
    std::set<path> tells_gain_;
    std::map<path, Channels<double>> means_;
    Placement placement_;
};

}  // namespace

std::size_t Placement::count() const {
    std::size_t total = frame_count(series);
    for (const auto* const entries : {&dark, &flat, &grey, &chart}) {
        for (const CaptureEntry& entry : *entries) {
            total += entry.files.size();
        }
    }
    return total;
}

Placement place_captures(const path& folder, CaptureHeaders& headers, const std::vector<path>& known) {
    return Sorter(folder, headers).sort(known);
}

}  // namespace cali::host
