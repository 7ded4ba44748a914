#include "captures/decoder_answer.h"

#include <new>
#include <type_traits>
#include <utility>

#include "base/error.h"
#include "base/text.h"
#include "captures/limits.h"

namespace cali::host {
namespace {

/// Behind it come the codes, or the message of an InputError.
struct Answer {
    enum class Kind { frame, refused, no_memory };

    Kind kind = Kind::frame;
    SensorGeometry sensor = {};
    CaptureMetadata metadata = {};
    uint64_t count = 0;  ///< of codes, or of the message's bytes
};
static_assert(std::is_trivially_copyable_v<Answer>);

bool is_sound(const Answer& said, bool head_alone) {
    constexpr uint64_t kLongestMessage = 65536;
    const SensorGeometry& sensor = said.sensor;
    switch (said.kind) {
        case Answer::Kind::frame:
            return sensor.width > 0 && sensor.height > 0 && photosites(sensor) <= kMostPhotosites &&
                   sensor.pattern >= 0 && sensor.pattern < 4 && sensor.bits > 0 && sensor.bits <= 16 &&
                   said.count == (head_alone ? 0 : photosites(sensor));
        case Answer::Kind::refused: return said.count <= kLongestMessage;
        case Answer::Kind::no_memory: return true;
    }
    return false;
}

}  // namespace

void send_answer(FileFrame& frame, const EncodedFrame& encoded, const Decode& decode, const ChildProcess::Send& send) {
    Answer said;
    std::string message;
    try {
        decode(frame, encoded);
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

void take_answer(FileFrame& frame, const EncodedFrame& encoded, const Confinement& limits,
                 const std::function<bool(std::span<uint8_t>)>& receive, const std::function<std::string()>& end) {
    const std::string file = frame.capture.file.string();
    Answer said;
    std::span<Answer> whole(&said, 1);
    if (receive(memory_of(whole))) {
        if (!is_sound(said, encoded.head_alone)) {
            throw InputError(file + ": cannot be read: its decoder gives what is no frame");
        }
        if (said.kind == Answer::Kind::no_memory) {
            throw InputError(file + text(": decoding it takes more than %llu MB",
                                         static_cast<unsigned long long>(limits.memory_bytes >> 20U)));
        }
        std::string message(said.kind == Answer::Kind::refused ? said.count : 0, ' ');
        Codes codes(said.kind == Answer::Kind::frame ? said.count : 0);
        if (receive(memory_of(message)) && receive(memory_of(codes))) {
            if (said.kind == Answer::Kind::refused) {
                throw InputError(message);
            }
            frame.capture.sensor = said.sensor;
            frame.capture.metadata = said.metadata;
            frame.codes = std::move(codes);
            return;
        }
    }
    throw InputError(file + ": cannot be read: its decoder " + end());
}

}  // namespace cali::host
