#include "session/coverage.h"

#include <algorithm>
#include <map>
#include <set>

#include "base/text.h"
#include "calibrations/white_balance_curve.h"
#include "results/sections.h"

namespace cali::host {
namespace {

/// By light, then by gain.
struct ByConditions {
    bool operator()(const Conditions& a, const Conditions& b) const {
        return a.illuminant_k != b.illuminant_k ? a.illuminant_k < b.illuminant_k : a.gain < b.gain;
    }
};

std::string how_to_take(const std::string& section) {
    if (section == "black_level") {
        return "cap the lens; three frames, at the exposure and gain of the others";
    }
    if (section == "lens_shading") {
        return "a bright, evenly lit surface that fills the frame, under each light";
    }
    if (section == "white_balance") {
        return "a grey card in the centre, or the chart, under each light";
    }
    if (section == "white_balance_curve") {
        return text("grey cards or charts under %zu to %zu lights whose illuminant_k is known", kLeastCurveLights,
                    kMostCurveLights);
    }
    if (section == "noise") {
        return "one even light at four brightness levels or more, two frames of each";
    }
    return "the 24-patch chart under each light, whole, sharp and without glare";
}

std::string list_of(const std::vector<CaptureEntry>& entries, CaptureHeaders& headers) {
    std::string list;
    for (const CaptureEntry& entry : entries) {
        const std::string taken = to_text(headers.conditions_of(entry));
        list += (list.empty() ? "" : ", ") + (taken.empty() ? entry.file().filename().string() : taken);
    }
    return list;
}

/// What a calibration that can be done is made of.
std::string made_of(const std::string& section, const Session& session, const ChainPlan& plan,
                    CaptureHeaders& headers) {
    if (section == "black_level") {
        std::size_t frames = 0;
        for (const auto& [taken, entries] : plan.dark) {
            for (const CaptureEntry& entry : entries) {
                frames += entry.files.size();
            }
        }
        return plan.given.empty() ? text("%zu dark frame%s", frames, frames == 1 ? "" : "s") +
                                        (plan.dark.size() > 1 ? text(" of %zu gains", plan.dark.size()) : "")
                                  : std::string("by number: ") +
                                        kSourceNames[static_cast<std::size_t>(plan.given.front().record.source)];
    }
    if (section == "lens_shading") {
        return list_of(session.flat, headers);
    }
    if (section == "white_balance") {
        const std::string cards = list_of(session.grey, headers);
        const std::string charts = list_of(charts_for_balance(session), headers);
        return cards + (charts.empty() ? "" : (cards.empty() ? "" : "; ") + ("from the chart's greys: " + charts));
    }
    if (section == "colour_matrix" || section == "colour_table") {
        return list_of(session.chart, headers);
    }
    std::string levels;
    for (const auto& [taken, series] : plan.series) {
        levels += (levels.empty() ? "" : ", ") + text("%zu levels", series.size()) +
                  (taken.gain ? " of " + to_text(taken) : "");
    }
    return levels;
}

/// Lights that the curve would go through.
std::size_t known_lights(const Session& session) {
    std::set<double> lights;
    std::vector<CaptureEntry> entries = session.grey;
    const std::vector<CaptureEntry> charts = charts_for_balance(session);
    entries.insert(entries.end(), charts.begin(), charts.end());
    for (const CaptureEntry& entry : entries) {
        if (entry.taken.illuminant_k) {
            lights.insert(*entry.taken.illuminant_k);
        }
    }
    return lights.size();
}

Table calibrations(const Session& session, const ChainPlan& plan, CaptureHeaders& headers) {
    Table table;
    table.columns = {{"calibration", 20, true}, {"", 5, true}, {"made of, or what is missing", 40, true}};
    const auto missing = [&](const std::string& section, const std::string& why, const std::string& needed) {
        table.rows.push_back({{section, "no", why + ": " + how_to_take(needed)}, ""});
    };
    for_each_section_name([&](const std::string& section) {
        const auto left = std::ranges::find(plan.left_out, section, &std::pair<std::string, std::string>::first);
        if (left != plan.left_out.end()) {
            // Black level comes first: where it is missing for others, it is what has to be taken.
            const auto& [first, why] = plan.left_out.front();
            missing(section, left->second, left->second == why ? first : section);
        } else if (section == "white_balance_curve") {
            const std::size_t lights = plan.does("awb") ? known_lights(session) : 0;
            if (lights >= kLeastCurveLights && lights <= kMostCurveLights) {
                table.rows.push_back({{section, "yes", text("%zu lights", lights)}, ""});
            } else {
                missing(section, text("%zu lights of known temperature", lights), section);
            }
        } else {
            table.rows.push_back({{section, "yes", made_of(section, session, plan, headers)}, ""});
        }
    });
    return table;
}

Table lights(const Session& session, CaptureHeaders& headers) {
    std::map<Conditions, std::array<std::string, 3>, ByConditions> rows;
    const std::array<const std::vector<CaptureEntry>*, 3> kinds = {&session.flat, &session.grey, &session.chart};
    for (std::size_t k = 0; k < kinds.size(); ++k) {
        for (const CaptureEntry& entry : *kinds[k]) {
            std::string& cell = rows[headers.conditions_of(entry)][k];
            cell += (cell.empty() ? "" : ", ") + entry.file().filename().string() +
                    (entry.files.size() > 1 ? text(" and %zu more", entry.files.size() - 1) : "");
        }
    }
    Table table;
    table.columns = {{"light", 20, true}, {"flat field", 26, true}, {"grey card", 26, true}, {"chart", 26, true}};
    for (const auto& [taken, cells] : rows) {
        const std::string light = to_text(taken);
        const auto shown = [](const std::string& cell) { return cell.empty() ? std::string("-") : cell; };
        table.rows.push_back(
            {{light.empty() ? "not known" : light, shown(cells[0]), shown(cells[1]), shown(cells[2])}, ""});
    }
    return table;
}

}  // namespace

Section coverage(const Session& session, const ChainPlan& plan, CaptureHeaders& headers) {
    Section section;
    section.title = session.file.filename().string() + ": what can be calibrated";
    section.tables = {calibrations(session, plan, headers), lights(session, headers)};
    return section;
}

}  // namespace cali::host
