/// Takes from this process what it is not to use.
#pragma once

#include "base/child_process.h"

namespace cali::host {

/// For good. Only `pipe`, which may get another number, stays open. False where the system refuses.
[[nodiscard]] bool confine(const Confinement& confinement, int& pipe);

}  // namespace cali::host
