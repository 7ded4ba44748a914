#include "captures/confined_decoder.h"

#include <new>
#include <string>
#include <string_view>
#include <type_traits>

#include "base/error.h"
#include "base/text.h"

namespace cali::host {
namespace {

/// What the copy says first; behind it come the codes, or the message of an InputError.
struct Answer {
    enum class Kind { frame, refused, no_memory };

    Kind kind = Kind::frame;
    SensorGeometry sensor = {};
    CaptureMetadata metadata = {};
    uint64_t count = 0;  ///< of codes, or of the message's bytes
};
static_assert(std::is_trivially_copyable_v<Answer>);

std::string_view bytes_of(const auto& values) {
    return {reinterpret_cast<const char*>(std::data(values)), std::size(values) * sizeof(*std::data(values))};
}

void answer(FileFrame& frame, const std::function<void(FileFrame&)>& decode, const ChildProcess::Send& send) {
    Answer said;
    std::string message;
    try {
        decode(frame);
        said = {Answer::Kind::frame, frame.capture.sensor, frame.capture.metadata, frame.codes.size()};
    } catch (const InputError& problem) {
        message = problem.what();
        said = {Answer::Kind::refused, {}, {}, message.size()};
    } catch (const std::bad_alloc&) {
        said.kind = Answer::Kind::no_memory;
    }
    (void)(send(bytes_of(std::span(&said, 1))) && send(bytes_of(message)) &&
           (said.kind != Answer::Kind::frame || send(bytes_of(frame.codes))));
}

template <typename Values>
bool fill(ChildProcess& from, Values& values) {
    return from.receive(
        {reinterpret_cast<uint8_t*>(std::data(values)), std::size(values) * sizeof(*std::data(values))});
}

}  // namespace

void decode_confined(FileFrame& frame, const std::function<void(FileFrame&)>& decode, const Confinement& limits) {
    if (!CALI_CONFINE_DECODERS || !ChildProcess::kAvailable) {
        decode(frame);
        return;
    }
    const std::unique_ptr<ChildProcess> copy =
        ChildProcess::start([&](const ChildProcess::Send& send) { answer(frame, decode, send); }, limits);
    const std::string file = frame.capture.file.string();
    if (!copy) {
        throw InputError(file + ": the system grants no process to decode it in");
    }
    Answer said;
    std::span<Answer> whole(&said, 1);
    if (fill(*copy, whole)) {
        if (said.kind == Answer::Kind::no_memory) {
            throw InputError(file + text(": decoding it takes more than %llu MB",
                                         static_cast<unsigned long long>(limits.memory_bytes >> 20U)));
        }
        std::string message(said.kind == Answer::Kind::refused ? said.count : 0, ' ');
        Codes codes(said.kind == Answer::Kind::frame ? said.count : 0);
        if (fill(*copy, message) && fill(*copy, codes)) {
            if (said.kind == Answer::Kind::refused) {
                throw InputError(message);
            }
            frame.capture.sensor = said.sensor;
            frame.capture.metadata = said.metadata;
            frame.codes = std::move(codes);
            return;
        }
    }
    throw InputError(file + ": cannot be read: its decoder " + copy->end());
}

}  // namespace cali::host
