/// Decoders that are not ours, in a copy of this process that can do nothing but decode.
#pragma once

#include <functional>

#include "base/child_process.h"
#include "captures/frame.h"

namespace cali::host {

/// Twice the largest frame beside its file, and minutes where whole seconds are usual.
inline constexpr Confinement kDecoderLimits = {uint64_t{1} << 31U, 120};

/// Sets what `decode` sets in the copy: sensor, metadata and codes. Throws the copy's InputError, or one that says what
/// became of it. Where the system has no copies, and where a sanitizer or a coverage count watches, `decode` works
/// here.
void decode_confined(FileFrame& frame, const std::function<void(FileFrame&)>& decode,
                     const Confinement& limits = kDecoderLimits);

}  // namespace cali::host
