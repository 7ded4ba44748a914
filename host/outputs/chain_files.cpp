#include "outputs/chain_files.h"

#include <algorithm>

#include "base/error.h"
#include "base/text.h"
#include "outputs/cube_file.h"
#include "outputs/patch_picture.h"
#include "outputs/svg_plot.h"

namespace cali::host {
namespace {

std::filesystem::path plot_of(const Conditions& taken) {
    return path_of(taken.gain ? text("noise_gain_%g.svg", *taken.gain) : "noise.svg");
}

std::filesystem::path picture_of(const std::filesystem::path& chart) {
    return path_of(chart.stem().string() + "_patches.png");
}
std::filesystem::path cube_of(const std::filesystem::path& chart) { return path_of(chart.stem().string() + ".cube"); }

void require_distinct_names(const std::vector<CaptureEntry>& captures, const char* options) {
    for (std::size_t i = 0; i < captures.size(); ++i) {
        for (std::size_t k = 0; k < i; ++k) {
            if (captures[i].file().stem() == captures[k].file().stem()) {
                throw InputError(captures[i].file().string() + " and " + captures[k].file().string() +
                                 ": both would give files named " + captures[i].file().stem().string() +
                                 ", expected distinct names for " + options);
            }
        }
    }
}

}  // namespace

ChainFiles::ChainFiles(std::filesystem::path folder, const ChainFileChoice& choice, std::size_t captures,
                       RunReport& report, PendingFiles& files)
    : folder_(std::move(folder)),
      choice_(choice),
      report_(report),
      files_(files),
      lines_(report.mute() ? Progress::Lines::silent : Progress::Lines::all),
      progress_(captures, lines_) {}

std::vector<std::filesystem::path> ChainFiles::names(const Session& session, const ChainPlan& plan,
                                                     const std::filesystem::path& folder,
                                                     const ChainFileChoice& choice) {
    std::vector<std::filesystem::path> names;
    if (plan.does("lsc") && (choice.shading.registers || choice.shading.corrected)) {
        require_distinct_names(session.flat, "--registers and --corrected");
        for (const CaptureEntry& flat : session.flat) {
            const auto more = shading_file_names(folder, flat.file(), choice.shading);
            names.insert(names.end(), more.begin(), more.end());
        }
    }
    const bool pictures = choice.pictures && plan.does("ccm");
    const bool tables = choice.tables && plan.does("clut");
    if (pictures || tables) {
        require_distinct_names(session.chart, "--pictures and --tables");
    }
    for (const CaptureEntry& chart : session.chart) {
        if (pictures) {
            names.push_back(folder / picture_of(chart.file()));
        }
        if (tables) {
            names.push_back(folder / cube_of(chart.file()));
        }
    }
    if (choice.pictures) {
        for (const auto& [taken, levels] : plan.series) {
            names.push_back(folder / plot_of(taken));
        }
    }
    return names;
}

void ChainFiles::end_line() {
    progress_.finish();
    if (tables_) {
        tables_->finish();
    }
}

void ChainFiles::section(const Section& section) {
    end_line();
    report_.section(section);
}

void ChainFiles::findings(const std::vector<Finding>& findings) {
    end_line();
    report_.findings(findings);
}

void ChainFiles::not_done(const std::string& section, const std::string& why) {
    end_line();
    report_.not_done(section, why);
}

void ChainFiles::capture_read(const std::filesystem::path& frame) { progress_.step(frame.filename().string()); }

void ChainFiles::table_done(const std::filesystem::path& chart, std::size_t count) {
    progress_.finish();
    if (!tables_) {
        tables_.emplace(count, lines_);
    }
    tables_->step("colour table of " + chart.filename().string());
}

void ChainFiles::flat_field(const LensShading& shading, const BlackLevels& black_level,
                            const std::function<Capture()>& read) {
    add_shading_files(files_, folder_, shading, black_level, read, choice_.shading);
}

void ChainFiles::add_from(const Results& results) {
    end_line();
    for (const ColourTable& table : results.tables) {
        if (choice_.tables && table.record.usable() && table.needed) {
            files_.add_text(folder_ / cube_of(table.input.file), cube_text(table));
        }
    }
    for (const MatrixCalibration& matrix : results.matrices) {
        if (choice_.pictures && matrix.record.usable()) {
            files_.add_text(folder_ / picture_of(matrix.file),
                            patch_picture({matrix.measured, matrix.corrected, matrix.reference}));
        }
    }
    for (const NoiseResults& noise : results.noise) {
        if (choice_.pictures && noise.record.usable()) {
            files_.add_text(folder_ / plot_of(noise.taken), svg_text(describe(noise), "deviation"));
        }
    }
}

}  // namespace cali::host
