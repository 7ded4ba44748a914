/// What a run of the whole chain shows and writes.
#pragma once

#include <filesystem>
#include <vector>

#include "base/output_file.h"
#include "outputs/register_files.h"
#include "session/chain.h"

namespace cali::host {

struct ChainFileChoice {
    ShadingFileChoice shading;
    bool pictures = false;
    bool tables = false;
    bool progress = false;  ///< shown also without a terminal
};

/// Files that need a frame or a table are written while it is there; they appear with the others at the end.
class ChainFiles : public ChainObserver {
public:
    /// Throws InputError where two captures' files would have one name.
    ChainFiles(const Session& session, std::filesystem::path folder, const ChainFileChoice& choice);

    void section(const Section& section) override { sections_.push_back(section); }
    void flat_field(const LensShading& shading, const SensorGeometry& sensor, const CorrectedFlat& corrected) override;
    [[nodiscard]] bool wants_tables() const override { return choice_.tables; }
    void colour_table(const ColourTable& table) override;
    [[nodiscard]] bool shows_progress() const override { return choice_.progress; }

    /// Writes results.json, prints the sections, and makes the other files appear.
    void finish(const Results& results);

private:
    void make_room();

    std::filesystem::path folder_;
    ChainFileChoice choice_;
    std::vector<Section> sections_;
    PendingFiles tables_;
    PendingFiles shading_;
};

}  // namespace cali::host
