/// The whole chain of calibrations on a session's captures.
#pragma once

#include "base/section.h"
#include "library/library_call.h"
#include "results/results.h"
#include "session/session.h"

namespace cali::host {

/// Receives what the chain finishes, in its order. Frames and tables are passed once and not kept.
class ChainObserver {
public:
    ChainObserver() = default;
    ChainObserver(const ChainObserver&) = delete;
    ChainObserver& operator=(const ChainObserver&) = delete;
    virtual ~ChainObserver() = default;

    /// A calibration's description; for one that the session names no capture for, a word on that.
    virtual void section(const Section& section) = 0;

    virtual void flat_field(const LensShading& shading, const SensorGeometry& sensor, const CorrectedFlat& corrected) {
        (void)shading, (void)sensor, (void)corrected;
    }

    /// Colour tables are made only where they are wanted.
    [[nodiscard]] virtual bool wants_tables() const { return false; }
    virtual void colour_table(const ColourTable& table) { (void)table; }

    /// Whether the noise series' progress is shown also without a terminal.
    [[nodiscard]] virtual bool shows_progress() const { return false; }
};

/// Computes; shows and writes nothing itself. The results hold no colour tables. Throws InputError, CalibrationError.
[[nodiscard]] Results run_chain(const Session& session, const LibraryOutput& output, ChainObserver& observer);

}  // namespace cali::host
