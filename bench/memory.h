/// What a call's own memory adds up to at its peak.
#pragma once

#include <cstddef>
#include <functional>

namespace cali::bench {

/// Largest sum of allocations that live at once while `body` runs, beyond those that live before it.
[[nodiscard]] std::size_t peak_memory(const std::function<void()>& body);

}  // namespace cali::bench
