#include "outputs/report.h"

#include <algorithm>
#include <map>
#include <set>

#include "base/text.h"
#include "outputs/report_page.h"
#include "results/sections.h"
#include "results/verdict.h"

namespace cali::host {
namespace {

using Cell = ReportPage::Cell;

/// For people, of the keys in results.
std::string name_of(const std::string& key) {
    static const std::map<std::string, std::string> kNames = {{"black_level", "Black level"},
                                                              {"lens_shading", "Lens shading"},
                                                              {"white_balance", "White balance"},
                                                              {"white_balance_curve", "White-balance curve"},
                                                              {"colour_matrix", "Colour matrix"},
                                                              {"colour_table", "Colour table"},
                                                              {"noise", "Noise"},
                                                              {"gain_model", "Over gains"}};
    const auto known = kNames.find(key);
    return known == kNames.end() ? key : known->second;
}

/// The word tells it, the colour helps.
std::string badge(const std::string& state) {
    return "<span class=\"state " + (state == "not done" ? "none" : state) + "\">" + html(state) + "</span>";
}

std::vector<Finding> all_findings(const Results& results) {
    std::vector<Finding> findings = results.findings;
    std::ranges::move(stale_sections(results), std::back_inserter(findings));
    std::ranges::stable_sort(findings, std::greater<>(), &Finding::severity);
    return findings;
}

std::string with_unit(double value, const std::string& unit) {
    return text("%.4g", value) + (unit.empty() ? "" : " " + unit);
}

std::string subject_of(const Finding& finding) {
    const std::string file = finding.subject.capture.filename().string();
    return file + (finding.place.empty() ? "" : (file.empty() ? "" : ", ") + finding.place);
}

void add_verdicts(const Results& results, ReportPage& page) {
    ReportPage::Grid grid{
        "Verdicts", {"calibration", "verdict", "decided by", "measured", "uncertainty", "limit", "what to do"}, {}};
    for (const CalibrationVerdict& verdict : verdicts(results)) {
        const Finding& finding = verdict.deciding;
        grid.rows.push_back({{html(name_of(verdict.calibration))},
                             {badge(state_name(verdict))},
                             {html(finding.code + (finding.code.empty() ? "" : " ") + subject_of(finding))},
                             {finding.value ? html(with_unit(*finding.value, finding.unit)) : "", true},
                             {finding.uncertainty ? html(with_unit(*finding.uncertainty, finding.unit))
                              : finding.value     ? "not known"
                                                  : "",
                              true},
                             {finding.limit ? html(with_unit(*finding.limit, finding.unit)) : "", true},
                             {html(finding.severity == Severity::pass ? "" : finding.message)}});
    }
    page.grid(grid);
}

void add_findings(const std::vector<Finding>& findings, ReportPage& page) {
    ReportPage::Grid doubtful{
        "Findings", {"severity", "calibration", "capture", "check", "measured", "limit", "what to do"}, {}};
    ReportPage::Grid passed = doubtful;
    passed.caption = "Checks that passed";
    passed.columns.pop_back();
    for (const Finding& finding : findings) {
        std::vector<Cell> row = {{badge(severity_name(finding.severity))},
                                 {html(name_of(finding.subject.calibration))},
                                 {html(subject_of(finding))},
                                 {html(finding.code)},
                                 {finding.value ? html(with_unit(*finding.value, finding.unit)) : "", true},
                                 {finding.limit ? html(with_unit(*finding.limit, finding.unit)) : "", true}};
        if (finding.severity == Severity::pass) {
            passed.rows.push_back(std::move(row));
        } else {
            row.push_back({html(finding.message)});
            doubtful.rows.push_back(std::move(row));
        }
    }
    if (doubtful.rows.empty()) {
        page.paragraph("Every check passed.");
    }
    page.grid(doubtful);
    if (!passed.rows.empty()) {
        page.add(text("<details><summary>%zu checks passed</summary>\n", passed.rows.size()));
        page.grid(passed);
        page.add("</details>\n");
    }
}

/// What it was made of: files by name, size and digest.
void add_inputs(const Results& results, ReportPage& page) {
    ReportPage::Grid inputs{"Inputs", {"file", "bytes", "digest (XXH3, 128 bits)", "for"}, {}};
    std::map<std::pair<std::string, std::string>, std::size_t> known;
    std::set<std::string> settings;
    for_each_record(results, [&](const char* key, const std::string&, const Record& record) {
        for (const InputRecord& input : record.inputs) {
            const std::string name = input.file.filename().string();
            const auto [at, fresh] = known.try_emplace({name, input.digest}, inputs.rows.size());
            if (fresh) {
                inputs.rows.push_back({{html(name)},
                                       {text("%llu", static_cast<unsigned long long>(input.bytes)), true},
                                       {"<code>" + html(input.digest) + "</code>"},
                                       {html(name_of(key))}});
            } else if (std::string& use = inputs.rows[at->second][3].markup;
                       use.find(name_of(key)) == std::string::npos) {
                use += ", " + html(name_of(key));
            }
        }
        for (const Setting& setting : record.in_force) {
            settings.insert(setting.name + " " + setting.value + " (" +
                            kSourceNames[static_cast<std::size_t>(setting.source)] + ")");
        }
    });
    if (!settings.empty()) {
        std::string line;
        for (const std::string& setting : settings) {
            line += (line.empty() ? "In force: " : ", ") + setting;
        }
        page.paragraph(line);
    }
    page.add(text("<details><summary>%zu input files</summary>\n", inputs.rows.size()));
    page.grid(inputs);
    page.add("</details>\n");
}

/// "session.toml", where the whole chain made it.
std::string session_of(const Results& results) {
    std::string session;
    for_each_record(results, [&](const char*, const std::string&, const Record& record) {
        for (const auto& [name, value] : record.options) {
            if (name == "SESSION" || name == "--session") {
                session = value;
            }
        }
    });
    return session;
}

void add_head(const Results& results, ReportPage& page) {
    const std::string session = session_of(results);
    std::string line = "Sensor of " + to_text(results.sensor);
    line += session.empty() ? "" : "; session " + session;
    line += "; cali " + (results.version.empty() ? std::string(CALI_VERSION_STRING) : results.version);
    line +=
        results.truth ? text("; simulated with seed %llu", static_cast<unsigned long long>(results.truth->seed)) : "";
    page.paragraph(line);
}

Severity whole_verdict(const Results& results) { return worst(all_findings(results)); }

void add_sections(const std::vector<DescribedSection>& sections, const Results& results, ReportPage& page) {
    const std::vector<CalibrationVerdict> table = verdicts(results);
    std::string key;
    for (const DescribedSection& described : sections) {
        if (described.key != key) {
            page.add(key.empty() ? "" : "</div></section>\n");
            key = described.key;
            page.add("<section class=\"calibration\">\n");
            const auto verdict = std::ranges::find(table, key, &CalibrationVerdict::calibration);
            page.add("<h2 id=\"" + html(key) + "\">" + html(name_of(key)) +
                     (verdict == table.end() ? "" : " " + badge(state_name(*verdict))) +
                     "</h2>\n<div class=\"entries\">\n");
        }
        page.section(described.section, 3);
    }
    page.add(key.empty() ? "" : "</div></section>\n");
}

void add_contents(const std::vector<DescribedSection>& sections, ReportPage& page) {
    std::string links;
    std::string key;
    for (const DescribedSection& described : sections) {
        if (described.key != key) {
            key = described.key;
            links += "<li><a href=\"#" + html(key) + "\">" + html(name_of(key)) + "</a></li>";
        }
    }
    if (!links.empty()) {
        page.add("<nav aria-label=\"Calibrations\"><ul>" + links + "</ul></nav>\n");
    }
}

void add_unit(const Results& results, ReportPage& page) {
    const std::vector<DescribedSection> sections = describe_all(results);
    add_head(results, page);
    add_contents(sections, page);
    page.heading(2, "Verdict");
    add_verdicts(results, page);
    page.heading(2, "Findings");
    add_findings(all_findings(results), page);
    page.heading(2, "Inputs");
    add_inputs(results, page);
    add_sections(sections, results, page);
}

void add_overview(const std::vector<Unit>& units, ReportPage& page) {
    ReportPage::Grid grid{"Units and their verdicts", {"unit", "verdict"}, {}};
    for_each_section_name([&](const char* name) { grid.columns.push_back(name_of(name)); });
    for (const Unit& unit : units) {
        std::vector<Cell> row = {{html(unit.name)}, {badge(severity_name(whole_verdict(unit.results)))}};
        for (const CalibrationVerdict& verdict : verdicts(unit.results)) {
            row.push_back({badge(state_name(verdict))});
        }
        grid.rows.push_back(std::move(row));
    }
    page.grid(grid);
}

void add_outliers(const UnitComparison& comparison, std::size_t units, ReportPage& page) {
    page.heading(2, "Units off the others");
    if (units < kLeastUnitsForOutliers) {
        page.paragraph(text("Judged from %zu units on; these are %zu.", kLeastUnitsForOutliers, units));
        return;
    }
    if (comparison.outliers.empty()) {
        page.paragraph(text("No figure lies more than %.1f robust deviations off.", kOutlier));
        return;
    }
    ReportPage::Grid grid{"Figures off those of the other units",
                          {"unit", "calibration", "figure", "value", "median of all", "robust z"},
                          {}};
    for (const Outlier& outlier : comparison.outliers) {
        grid.rows.push_back({{html(outlier.unit)},
                             {html(outlier.section)},
                             {html(outlier.figure.name)},
                             {html(number_text(outlier.figure.value) + " " + outlier.figure.unit), true},
                             {number_text(outlier.middle), true},
                             {text("%.1f", outlier.z), true}});
    }
    page.grid(grid);
}

void add_units(const std::vector<Unit>& units, ReportPage& page) {
    const UnitComparison comparison = compare_units(units);
    page.paragraph(text("%zu units; cali %s", units.size(), CALI_VERSION_STRING));
    page.heading(2, "Verdicts");
    add_overview(units, page);
    add_outliers(comparison, units.size(), page);
    page.heading(2, "Figures of all units");
    for (const DescribedSection& described : comparison.sections) {
        page.add("<div class=\"small\">\n");
        page.section(described.section, 3);
        page.add("</div>\n");
    }
    page.heading(2, "Units");
    for (const Unit& unit : units) {
        page.add("<details class=\"unit\"><summary>" + html(unit.name) + " " +
                 badge(severity_name(whole_verdict(unit.results))) + "</summary>\n");
        add_head(unit.results, page);
        std::vector<Finding> findings = all_findings(unit.results);
        add_findings(findings, page);
        page.add("</details>\n");
    }
}

}  // namespace

std::string report_text(const std::vector<Unit>& units) {
    ReportPage page;
    Severity whole = Severity::pass;
    for (const Unit& unit : units) {
        whole = std::max(whole, whole_verdict(unit.results));
    }
    page.add("<header><h1>Calibration report " + badge(severity_name(whole)) + "</h1></header>\n");
    if (units.size() == 1) {
        add_unit(units.front().results, page);
    } else {
        add_units(units, page);
    }
    return page.text("Calibration report: " + std::string(severity_name(whole)));
}

}  // namespace cali::host
