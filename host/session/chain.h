/// The whole chain of calibrations on a session's captures.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/section.h"
#include "results/results.h"
#include "session/plan.h"
#include "session/session.h"
#include "session/steps.h"

namespace cali::host {

/// Receives what the chain finishes, in its order, and captures as they are read.
class ChainObserver {
public:
    ChainObserver() = default;
    ChainObserver(const ChainObserver&) = delete;
    ChainObserver& operator=(const ChainObserver&) = delete;
    virtual ~ChainObserver() = default;

    /// A calibration's description and what its checks found, as soon as it is finished.
    virtual void section(const Section& section) = 0;
    virtual void findings(const std::vector<Finding>& findings) = 0;
    /// A part of the plan that cannot be done after all.
    virtual void not_done(const std::string& section, const std::string& why) = 0;

    virtual void capture_read(const std::filesystem::path& frame) { (void)frame; }
    /// After each colour table, of at most `count`; large ones take a second.
    virtual void table_done(const std::filesystem::path& chart, std::size_t count) { (void)chart, (void)count; }
    /// Of tables that passed, once all steps are done: behind which black level, and the flat field where it is wanted,
    /// which is read again.
    virtual void flat_field(const LensShading& shading, const BlackLevels& black_level,
                            const std::function<Capture()>& read) {
        (void)shading, (void)black_level, (void)read;
    }
};

/// Computes; shows and writes nothing itself. `earlier` holds what earlier runs left, which is applied where the plan
/// does not make it anew; `made` receives what is made. Returns the text of the first input that turned out wrong on
/// the way, if any: what does not need it was done.
[[nodiscard]] std::optional<std::string> run_chain(const Session& session, const ChainPlan& plan,
                                                   const StepRules& rules, ChainObserver& observer,
                                                   const Results& earlier, Results& made);

}  // namespace cali::host
