/// Results that grow step by step.
#pragma once

#include "results/results.h"

namespace cali::host {

/// Puts what a step made into what was there: its sections take the place of those of the same light (or capture, where
/// no light is given), its findings of those on the same subjects. The step's sensor and limits count.
void merge(Results& results, Results step);

}  // namespace cali::host
