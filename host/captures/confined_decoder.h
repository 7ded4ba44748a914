/// Decoders that are not ours, in a process that can do nothing but decode.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/child_process.h"
#include "captures/frame.h"

namespace cali::host {

/// Twice the largest frame beside its file, and minutes where whole seconds are usual.
inline constexpr Confinement kDecoderLimits = {uint64_t{1} << 31U, 120};

/// What is decoded; its name, for messages, is the frame's.
struct EncodedFrame {
    FileContent& content;
    uint64_t bytes;  ///< of the file, whose first ones the content may be where only its head is wanted
    const Geometry& geometry;
    bool head_alone = false;  ///< sensor and metadata, no codes
};

/// Sets sensor, metadata and codes.
using Decode = std::function<void(FileFrame&, const EncodedFrame&)>;

/// Sets what `decode` sets in a process of its own. Throws its InputError, or one that says what became of it. Where a
/// sanitizer or a coverage count watches, `decode` works here; so it does on Windows in programs whose main does
/// not serve.
void decode_confined(FileFrame& frame, const EncodedFrame& encoded, const Decode& decode,
                     const Confinement& limits = kDecoderLimits);

/// Called by main before all else. Windows has no copies of a process: there the program starts itself again, with one
/// argument that nobody else uses, and the exit status is that of having decoded. Nothing otherwise, and elsewhere.
[[nodiscard]] std::optional<int> serve_as_decoder(const std::vector<std::string>& arguments, const Decode& decode);

}  // namespace cali::host
