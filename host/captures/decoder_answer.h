/// What the process in which a file is decoded tells the one that asked.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "base/child_process.h"
#include "captures/confined_decoder.h"

namespace cali::host {

/// The memory of values of any kind.
std::string_view bytes_of(const auto& values) {
    return {reinterpret_cast<const char*>(std::data(values)), std::size(values) * sizeof(*std::data(values))};
}
std::span<uint8_t> memory_of(auto& values) {
    return {reinterpret_cast<uint8_t*>(std::data(values)), std::size(values) * sizeof(*std::data(values))};
}

/// Decodes, and sends the frame, or why there is none.
void send_answer(FileFrame& frame, const EncodedFrame& encoded, const Decode& decode, const ChildProcess::Send& send);

/// `receive` fills its bytes, or is false where the process has ended before; `end` tells how it ended. A hostile file
/// may speak for the process: nothing that it says is taken for granted. Throws InputError.
void take_answer(FileFrame& frame, const EncodedFrame& encoded, const Confinement& limits,
                 const std::function<bool(std::span<uint8_t>)>& receive, const std::function<std::string()>& end);

}  // namespace cali::host
