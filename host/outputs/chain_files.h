/// What a run of the whole chain shows and writes.
#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "base/output_file.h"
#include "base/progress.h"
#include "outputs/register_files.h"
#include "outputs/run_report.h"
#include "session/chain.h"

namespace cali::host {

struct ChainFileChoice {
    ShadingFileChoice shading;
    bool pictures = false;
    bool tables = false;
};

/// Files that need a frame are written while it is there; all appear at the end.
class ChainFiles : public ChainObserver {
public:
    ChainFiles(std::filesystem::path folder, const ChainFileChoice& choice, std::size_t captures, RunReport& report,
               PendingFiles& files);

    /// What may be written for the plan. Throws InputError where two captures' files would have one name.
    [[nodiscard]] static std::vector<std::filesystem::path> names(const Session& session, const ChainPlan& plan,
                                                                  const std::filesystem::path& folder,
                                                                  const ChainFileChoice& choice);

    void section(const Section& section) override;
    void findings(const std::vector<Finding>& findings) override;
    void not_done(const std::string& section, const std::string& why) override;
    void capture_read(const std::filesystem::path& frame) override;
    void table_done(const std::filesystem::path& chart, std::size_t count) override;
    void flat_field(const LensShading& shading, const BlackLevels& black_level,
                    const std::function<Capture()>& read) override;

    /// What follows from the results.
    void add_from(const Results& results);

private:
    /// Makes room for other text.
    void end_line();

    std::filesystem::path folder_;
    ChainFileChoice choice_;
    RunReport& report_;
    PendingFiles& files_;
    Progress::Lines lines_;
    Progress progress_;
    std::optional<Progress> tables_;
};

}  // namespace cali::host
