/// What the export prints of the fit.
#pragma once

#include "ccm_optimised/optimiser.h"

namespace cali::ccm_optimised {

/// Both minima on standard output.
class PrintedMinima : public MinimumObserver {
public:
    void hue_and_saturation(double hue, double saturation, double error) override;
    void matrix(const Matrix3& matrix, double error) override;
};

}  // namespace cali::ccm_optimised
