/// Whether a capture is a flat field to calibrate on, and whether its mesh flattens it.
#pragma once

#include "calibrations/lens_shading.h"
#include "captures/frame.h"
#include "checks/check.h"
#include "library/tuning_values.h"

namespace cali::host {

/// Before it is calibrated. One too dark at the centre is not judged further: what is left of it is noise.
void check_flat(const Capture& flat, const BlackLevels& black_level, Judge& judge);

/// What the mesh leaves of the field it was made of, on frames of 640 x 480 and more, and nodes at the largest gain.
/// `sensor` is the capture's.
void check_flattened(const LensShading& shading, const SensorGeometry& sensor, Judge& judge);

}  // namespace cali::host
