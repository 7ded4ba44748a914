#include "base/process.h"

#include <array>

namespace cali::host::process {
namespace {

// Handlers may touch nothing but lock-free atomics.
std::array<std::atomic<const char*>, 1024> g_temporary_names;
static_assert(std::atomic<const char*>::is_always_lock_free);

}  // namespace

std::span<const std::atomic<const char*>> temporary_names() { return g_temporary_names; }

void remove_on_signal(const char* name) {
    for (std::atomic<const char*>& slot : g_temporary_names) {
        const char* empty = nullptr;
        if (slot.compare_exchange_strong(empty, name)) {
            return;
        }
    }
}

void keep_on_signal(const char* name) {
    for (std::atomic<const char*>& slot : g_temporary_names) {
        const char* found = name;
        if (slot.compare_exchange_strong(found, nullptr)) {
            return;
        }
    }
}

void forget_temporary_names() {
    for (std::atomic<const char*>& slot : g_temporary_names) {
        slot = nullptr;
    }
}

}  // namespace cali::host::process
