/// What has been calibrated, whole: everything that is written is read back.
#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "calibrations/black_level.h"
#include "calibrations/colour_matrix.h"
#include "calibrations/colour_table.h"
#include "calibrations/lens_shading.h"
#include "calibrations/noise.h"
#include "calibrations/white_balance.h"
#include "calibrations/white_balance_curve.h"
#include "checks/check.h"
#include "results/truth.h"

namespace cali::host {

struct Results {
    std::filesystem::path file;                  ///< that they were read from
    SensorGeometry sensor;                       ///< of the first capture measured
    std::vector<BlackLevelResults> black_level;  ///< one for a gain
    std::vector<LensShading> lens_shading;
    std::vector<WhiteBalance> white_balance;
    std::optional<CurveResult> curve;
    std::vector<MatrixCalibration> matrices;
    std::vector<ColourTable> tables;
    std::vector<NoiseResults> noise;  ///< likewise
    std::vector<Finding> findings;
    Limits limits;                               ///< in force in the run that wrote them
    std::vector<std::filesystem::path> outputs;  ///< other files that runs wrote
    std::optional<SimulatedTruth> truth;         ///< of a simulated sensor, where the session names it
    std::string version;                         ///< of the program that wrote them; empty: this one
};

class Archive;

/// One codec per section of the results file, each in a file of its own: the fields of a result, written and read by
/// the same walk.
void fields(Archive& archive, BlackLevelResults& results);
void fields(Archive& archive, LensShading& result);
void fields(Archive& archive, WhiteBalance& result);
void fields(Archive& archive, CurveResult& curve);
void fields(Archive& archive, MatrixCalibration& result);
void fields(Archive& archive, ColourTable& table);
void fields(Archive& archive, NoiseResults& results);
void fields(Archive& archive, Finding& finding);

}  // namespace cali::host
