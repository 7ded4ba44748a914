/// Files that the calibration writes to the current directory behind its debug switch. A file that cannot be opened is
/// passed over.
#pragma once

#include "core/channel.h"
#include "lsc/channel_planes.h"
#include "lsc/flat_field.h"
#include "lsc/gain_tables.h"

namespace cali::lsc {

/// Grey pictures, red plane first.
void write_planes(const PerChannel<const char*>& names, const ChannelPlanes& planes);

void write_profiles(const LightProfiles& profiles);

/// Register text, coefficients, pictures of the node samples, and the radial statistics.
void lsc_write_register_text(const ShadingTables& tables, const NodeSamples& samples);

}  // namespace cali::lsc
