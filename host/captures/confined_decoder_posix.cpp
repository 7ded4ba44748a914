#include "captures/confined_decoder.h"

#include <memory>

#include "base/child_process.h"
#include "base/error.h"
#include "captures/decoder_answer.h"

namespace cali::host {

void decode_confined(FileFrame& frame, const EncodedFrame& encoded, const Decode& decode, const Confinement& limits) {
    if (!CALI_CONFINE_DECODERS) {
        decode(frame, encoded);
        return;
    }
    const std::unique_ptr<ChildProcess> copy =
        ChildProcess::start([&](const ChildProcess::Send& send) { send_answer(frame, encoded, decode, send); }, limits);
    if (!copy) {
        throw InputError(frame.capture.file.string() + ": the system grants no process to decode it in");
    }
    take_answer(
        frame, encoded, limits, [&](std::span<uint8_t> into) { return copy->receive(into); },
        [&] { return copy->end(); });
}

std::optional<int> serve_as_decoder(const std::vector<std::string>& /*arguments*/, const Decode& /*decode*/) {
    return {};
}

}  // namespace cali::host
