#include "session/plan.h"

#include <algorithm>
#include <iterator>

#include "base/error.h"
#include "calibrations/chart_reference_file.h"
#include "results/choose_values.h"

namespace cali::host {
namespace {

/// A section that is missing and why, with its name on the command line.
struct Need {
    const char* part;
    const char* section;
    bool possible;
    const char* missing;
};

void require_one_each(const std::vector<CaptureEntry>& captures, const std::string& kind, const Session& session,
                      CaptureHeaders& headers) {
    std::vector<std::pair<Conditions, std::filesystem::path>> seen;
    for (const CaptureEntry& capture : captures) {
        const Conditions taken = headers.conditions_of(capture);
        if (!taken.illuminant_k) {
            continue;
        }
        for (const auto& [other, file] : seen) {
            if (other == taken) {
                throw InputError(session.file.string() + ": captures: " + kind + ": " + file.string() + " and " +
                                 capture.file().string() + " are both of " + to_text(taken) +
                                 ", expected one for a light and gain, or a burst: files = [...]");
            }
        }
        seen.emplace_back(taken, capture.file());
    }
}

/// Everything but dark frames.
std::vector<CaptureEntry> lit_captures(const Session& session) {
    std::vector<CaptureEntry> captures;
    for (const auto* const entries : {&session.flat, &session.grey, &session.chart}) {
        captures.insert(captures.end(), entries->begin(), entries->end());
    }
    for (const SeriesLevel& level : session.series) {
        if (!level.files.empty()) {
            captures.push_back({level.files, {{}, level.gain}, {}});
        }
    }
    return captures;
}

bool is_mono(const Session& session, CaptureHeaders& headers) {
    std::vector<CaptureEntry> captures = lit_captures(session);
    captures.insert(captures.end(), session.dark.begin(), session.dark.end());
    const Capture* const first = captures.empty() ? nullptr : headers.find(captures.front().file());
    return first != nullptr && first->sensor.mono;
}

/// By the session, or else by the files themselves, one for a gain; none where dark frames tell.
std::vector<BlackLevelResults> given_black_levels(const Session& session, CaptureHeaders& headers) {
    const std::vector<CaptureEntry> captures = lit_captures(session);
    std::vector<BlackLevelResults> given;
    const auto add = [&](const Capture& capture, const Conditions& taken) {
        for (BlackLevelResults& level : strongest_black_level({}, session.black_level_offset, {}, capture)) {
            level.taken = taken;
            level.record.given.clear();  // it becomes a result of its own
            given.push_back(std::move(level));
        }
    };
    if (session.black_level_offset) {
        const Capture* const first = captures.empty() ? nullptr : headers.find(captures.front().file());
        Capture unknown;
        unknown.sensor.bits = session.geometry.bits.value_or(kLibraryBits);
        add(first != nullptr ? *first : unknown, {});
    } else if (session.dark.empty()) {
        for (const auto& [taken, entries] : headers.by_gain(captures)) {
            if (const Capture* const capture = headers.find(entries.front().file())) {
                add(*capture, taken);
            }
        }
    }
    return given;
}

}  // namespace

std::vector<CaptureEntry> charts_for_balance(const Session& session) {
    std::vector<CaptureEntry> charts;
    if (session.matrix.method == MatrixMethod::joint) {
        return charts;
    }
    std::ranges::copy_if(session.chart, std::back_inserter(charts), [&](const CaptureEntry& chart) {
        return chart.taken.illuminant_k
                   ? std::ranges::none_of(
                         session.grey,
                         [&](const CaptureEntry& grey) { return grey.taken.illuminant_k == chart.taken.illuminant_k; })
                   : session.grey.empty();
    });
    return charts;
}

ChainPlan plan_chain(const Session& session, const std::vector<std::string>& only, const Results& earlier,
                     CaptureHeaders& headers) {
    const bool all = only.empty();
    const auto asked = [&](const char* part) { return all || std::ranges::find(only, part) != only.end(); };
    ChainPlan plan;
    const bool known = !all && !earlier.black_level.empty();
    if (session.black_level_offset || !known) {
        plan.given = given_black_levels(session, headers);
    }
    const bool made_here = !session.dark.empty() || !plan.given.empty();
    const bool black = made_here || known;
    const bool balance = !session.grey.empty() || !charts_for_balance(session).empty();
    const bool gains =
        (asked("awb") && balance) || !earlier.white_balance.empty() || session.matrix.method == MatrixMethod::joint;
    const bool charts = !session.chart.empty() && gains;
    constexpr const char* kNoBlack =
        "no dark frame ([captures] dark), nor a black level by number ([black_level] offset)";
    const bool mono = is_mono(session, headers);
    constexpr const char* kMono = "the sensor is MONO: it has no colours";
    const std::vector<Need> needs = {
        {"blc", "black_level", made_here, kNoBlack},
        {"lsc", "lens_shading", black && !session.flat.empty(), black ? "no flat field ([captures] flat)" : kNoBlack},
        {"awb", "white_balance", black && !mono && balance,
         mono    ? kMono
         : black ? "no grey card ([captures] grey), nor a chart"
                 : kNoBlack},
        {"ccm", "colour_matrix", black && charts && !mono,
         mono                    ? kMono
         : !black                ? kNoBlack
         : session.chart.empty() ? "no chart ([captures] chart)"
                                 : "no grey card ([captures] grey), nor the colour matrix's method joint"},
        {"clut", "colour_table", !mono && ((asked("ccm") && black && charts) || !earlier.matrices.empty()),
         mono ? kMono : "no colour matrix"},
        {"noise", "noise", black && !session.series.empty(), black ? "no series ([captures] series)" : kNoBlack},
    };
    plan.asked = !all;
    for (const Need& need : needs) {
        if (!asked(need.part)) {
            continue;
        }
        if (need.possible) {
            plan.parts.insert(need.part);
        } else if (all) {
            plan.left_out.emplace_back(need.section, need.missing);
        } else {
            throw InputError(session.file.string() + ": --only " + need.part + ": " + need.missing);
        }
    }
    if (plan.does("blc") && plan.given.empty()) {
        plan.dark = headers.by_gain(session.dark);
    }
    for (const auto& [part, captures] :
         {std::pair("lsc", &session.flat), std::pair("awb", &session.grey), std::pair("ccm", &session.chart)}) {
        if (plan.does(part)) {
            require_one_each(*captures,
                             captures == &session.flat   ? "flat"
                             : captures == &session.grey ? "grey"
                                                         : "chart",
                             session, headers);
            plan.lit.insert(plan.lit.end(), captures->begin(), captures->end());
        }
    }
    if (plan.does("ccm")) {
        require_reference(session.matrix);
    }
    if (plan.does("noise")) {
        plan.series = headers.series_by_gain(session.series);
    }
    return plan;
}

std::vector<std::filesystem::path> ChainPlan::captures() const {
    std::vector<std::filesystem::path> files;
    const auto add = [&](const std::vector<std::filesystem::path>& more) {
        files.insert(files.end(), more.begin(), more.end());
    };
    for (const auto& [taken, entries] : dark) {
        std::ranges::for_each(entries, add, &CaptureEntry::files);
    }
    std::ranges::for_each(lit, add, &CaptureEntry::files);
    for (const auto& [taken, levels] : series) {
        std::ranges::for_each(levels, add, &SeriesLevel::files);
    }
    return files;
}

std::vector<std::pair<std::filesystem::path, SensorGeometry>> check_captures(const Session& session,
                                                                             const ChainPlan& plan,
                                                                             CaptureHeaders& headers) {
    std::vector<std::pair<std::filesystem::path, SensorGeometry>> found;
    const auto is_one_of = [](const std::vector<CaptureEntry>& captures, const std::filesystem::path& file) {
        return std::ranges::any_of(captures, [&](const CaptureEntry& entry) {
            return std::ranges::find(entry.files, file) != entry.files.end();
        });
    };
    if (plan.does("ccm") && !session.matrix.reference.empty()) {
        (void)read_chart_reference(session.matrix.reference);
    }
    for (const std::filesystem::path& file : plan.captures()) {
        const Capture& capture = headers.of(file);
        if (plan.does("ccm") && session.matrix.place.stated() && is_one_of(session.chart, file)) {
            (void)chart_windows(session.matrix.place, capture);
        }
        if (plan.does("awb") && is_one_of(session.grey, file) && session.white_balance_window) {
            require_grey_window(capture, *session.white_balance_window);
        }
        found.emplace_back(file, capture.sensor);
    }
    return found;
}

}  // namespace cali::host
