#include "outputs/run_report.h"

#include <algorithm>
#include <cstdio>

#include "base/json.h"
#include "base/text.h"
#include "outputs/console.h"
#include "results/archive.h"
#include "results/verdict.h"

namespace cali::host {
namespace {

Json to_json(const Section& section) {
    Json json;
    json["title"] = section.title;
    json["figures"] = Json::array();
    for (const Figure& figure : section.figures) {
        Json entry;
        entry["name"] = figure.name;
        entry["value"] = figure.value;
        entry["unit"] = figure.unit;
        if (figure.uncertainty) {
            entry["uncertainty"] = *figure.uncertainty;
        }
        json["figures"].push_back(std::move(entry));
    }
    json["notes"] = section.notes;
    json["warnings"] = section.warnings;
    return json;
}

Json to_json(Finding finding) {
    Json json = Json::object();
    Archive archive = Archive::writer(json, std::filesystem::current_path());
    fields(archive, finding);
    return json;
}

std::string deciding_number(const Finding& finding) {
    if (finding.code.empty() || !finding.value) {
        return finding.code.empty() ? "" : finding.code + (finding.message.empty() ? "" : ": " + finding.message);
    }
    return finding.code + text(" %.4g%s%s", *finding.value, finding.unit.empty() ? "" : " ", finding.unit.c_str()) +
           (finding.limit ? text(", limit %.4g", *finding.limit) : "");
}

}  // namespace

void RunReport::section(const Section& section) {
    sections_.push_back(section);
    if (prints()) {
        print(section);
    }
}

void RunReport::findings(const std::vector<Finding>& findings) {
    findings_.insert(findings_.end(), findings.begin(), findings.end());
    if (json() || mute()) {
        return;
    }
    (void)std::fflush(stdout);
    for (const Finding& finding : findings) {
        if (finding.severity != Severity::pass) {
            (void)std::fprintf(stderr, "cali: %s\n", to_text(finding).c_str());
        } else if (style_ == Style::verbose) {
            std::printf("  %s\n", to_text(finding).c_str());
        }
    }
}

void RunReport::not_done(const std::string& section, const std::string& why) {
    not_done_.emplace_back(section, why);
    if (prints()) {
        std::printf("%s: not done: %s\n", section.c_str(), why.c_str());
    }
}

void RunReport::note(const std::string& text) {
    notes_.push_back(text);
    if (prints()) {
        std::printf("%s\n", text.c_str());
    }
}

void RunReport::warn(const std::string& text) {
    if (json() || mute()) {
        notes_.push_back(text);
    } else {
        (void)std::fflush(stdout);
        (void)std::fprintf(stderr, "cali: %s\n", text.c_str());
    }
}

void RunReport::written(const std::filesystem::path& file) {
    written_.push_back(file);
    if (prints()) {
        print_written(file);
    }
}

void RunReport::verdict(const Results& results) {
    results_ = results;
    if (!prints()) {
        return;
    }
    Section table;
    table.title = "Calibration, verdict and its deciding number";
    table.tables.push_back({{{"", 20, true}, {"", 9, true}, {"", 0, true}}, {}, false});
    Severity whole = Severity::pass;
    for (const CalibrationVerdict& verdict : verdicts(results)) {
        const auto missing =
            std::ranges::find(not_done_, verdict.calibration, [](const auto& entry) { return entry.first; });
        table.tables[0].rows.push_back(
            {{verdict.calibration, state_name(verdict),
              missing != not_done_.end() && !verdict.done ? missing->second : deciding_number(verdict.deciding)},
             ""});
        whole = std::max(whole, verdict.severity);
    }
    print(table);
    const Severity own = worst(findings_);
    std::printf("verdict: %s%s\n", severity_name(own),
                own == whole ? "" : (std::string("; of all in the file: ") + severity_name(whole)).c_str());
}

void RunReport::closing(bool judged) {
    if (judged && prints()) {
        std::printf("verdict: %s\n", severity_name(worst(findings_)));
    }
}

void RunReport::finish() {
    if (!json()) {
        return;
    }
    Json document;
    document["command"] = command_;
    document["sections"] = Json::array();
    for (const Section& section : sections_) {
        document["sections"].push_back(to_json(section));
    }
    document["findings"] = Json::array();
    for (const Finding& finding : findings_) {
        document["findings"].push_back(to_json(finding));
    }
    document["not_done"] = Json::array();
    for (const auto& [section, why] : not_done_) {
        Json entry;
        entry["section"] = section;
        entry["why"] = why;
        document["not_done"].push_back(std::move(entry));
    }
    document["notes"] = notes_;
    document["written"] = Json::array();
    for (const std::filesystem::path& file : written_) {
        document["written"].push_back(file.generic_string());
    }
    if (results_) {
        document["calibrations"] = Json::array();
        for (const CalibrationVerdict& verdict : verdicts(*results_)) {
            Json entry;
            entry["calibration"] = verdict.calibration;
            entry["verdict"] = state_name(verdict);
            if (!verdict.deciding.code.empty()) {
                entry["deciding"] = to_json(verdict.deciding);
            }
            document["calibrations"].push_back(std::move(entry));
        }
    }
    document["verdict"] = severity_name(worst(findings_));
    std::printf("%s\n", document.dump().c_str());
}

}  // namespace cali::host
