/// Ownership of level lists that cross the boundary by value.
#pragma once

#include "cali/cali.h"

namespace cali::noise {

/// Releases a list that an export has taken over, exactly once, on every path.
class LevelListRelease {
public:
    explicit LevelListRelease(LevelList& list) : list_(list) {}
    ~LevelListRelease() {
        if (list_.release != nullptr) {
            list_.release(&list_);
        }
    }
    LevelListRelease(const LevelListRelease&) = delete;
    LevelListRelease& operator=(const LevelListRelease&) = delete;

private:
    LevelList& list_;
};

}  // namespace cali::noise
