/// What a run tells: readable text as it goes, or one JSON document at its end.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/section.h"
#include "results/results.h"

namespace cali::host {

class RunReport {
public:
    /// `silent`: standard output is taken by a file of the run. `mute`: one run of many, nothing is told at all.
    enum class Style { text, verbose, json, silent, mute };

    RunReport(std::string command, Style style) : command_(std::move(command)), style_(style) {}

    void section(const Section& section);
    /// Warnings and failures on standard error, one line each; with the verbose style also what passed, on standard
    /// output.
    void findings(const std::vector<Finding>& findings);
    /// A calibration that the run leaves out.
    void not_done(const std::string& section, const std::string& why);
    void note(const std::string& text);
    /// On standard error.
    void warn(const std::string& text);
    void written(const std::filesystem::path& file);

    /// The table of calibrations and the line of the verdict.
    void verdict(const Results& results);

    /// The line of the verdict alone, for runs that calibrate nothing; none where nothing was judged.
    void closing(bool judged);

    /// The document, where that is the style.
    void finish();

    [[nodiscard]] bool mute() const { return style_ == Style::mute; }

private:
    [[nodiscard]] bool json() const { return style_ == Style::json; }
    [[nodiscard]] bool prints() const { return style_ == Style::text || style_ == Style::verbose; }

    std::string command_;
    Style style_;
    std::vector<Section> sections_;
    std::vector<Finding> findings_;
    std::vector<std::pair<std::string, std::string>> not_done_;
    std::vector<std::string> notes_;
    std::vector<std::filesystem::path> written_;
    std::optional<Results> results_;
};

}  // namespace cali::host
