#include "captures/confined_decoder.h"

#include <exception>
#include <memory>
#include <type_traits>

#include "base/confined_program.h"
#include "base/error.h"
#include "base/text.h"
#include "captures/decoder_answer.h"

namespace cali::host {
namespace {

constexpr const char* kArgument = "--serve-as-decoder";

bool g_main_serves = false;

/// Behind it come the file's name, the geometry's source and the content.
struct Question {
    uint64_t name_bytes = 0;
    uint64_t source_bytes = 0;
    uint64_t content_bytes = 0;
    uint64_t file_bytes = 0;
    std::optional<int> width = {};
    std::optional<int> height = {};
    std::optional<int> pattern = {};
    std::optional<int> bits = {};
    bool mono = false;
    bool head_alone = false;
};
static_assert(std::is_trivially_copyable_v<Question>);

bool send_question(ConfinedProgram& program, const std::string& name, const EncodedFrame& encoded) {
    const Geometry& geometry = encoded.geometry;
    const std::span<uint8_t> content = encoded.content.bytes();
    const Question question = {name.size(),    geometry.source.size(), content.size(),   encoded.bytes,
                               geometry.width, geometry.height,        geometry.pattern, geometry.bits,
                               geometry.mono,  encoded.head_alone};
    return program.send(bytes_of(std::span(&question, 1))) && program.send(name) && program.send(geometry.source) &&
           program.send(bytes_of(content));
}

int serve(const Decode& decode) {
    const ServedPipes pipes;
    Question question;
    std::span<Question> whole(&question, 1);
    if (!pipes.receive(memory_of(whole))) {
        return 1;
    }
    std::string name(question.name_bytes, ' ');
    Geometry geometry = {question.width, question.height, question.pattern, question.bits};
    geometry.mono = question.mono;
    geometry.source.resize(question.source_bytes);
    FileContent content(question.content_bytes);
    if (!pipes.receive(memory_of(name)) || !pipes.receive(memory_of(geometry.source)) ||
        !pipes.receive(content.bytes())) {
        return 1;
    }
    FileFrame frame;
    frame.capture.file = path_of(name);
    send_answer(frame, {content, question.file_bytes, geometry, question.head_alone}, decode,
                [&](std::string_view bytes) { return pipes.send(bytes); });
    return 0;
}

}  // namespace

void decode_confined(FileFrame& frame, const EncodedFrame& encoded, const Decode& decode, const Confinement& limits) {
    if (!g_main_serves) {
        decode(frame, encoded);
        return;
    }
    // As a copy would have it from this process.
    Confinement own = limits;
    own.memory_bytes += encoded.content.bytes().size();
    const std::unique_ptr<ConfinedProgram> program = ConfinedProgram::start(kArgument, own);
    if (!program) {
        throw InputError(frame.capture.file.string() + ": the system grants no process to decode it in");
    }
    // Where it ends before it has all, its end tells why.
    (void)send_question(*program, frame.capture.file.string(), encoded);
    take_answer(
        frame, encoded, limits, [&](std::span<uint8_t> into) { return program->receive(into); },
        [&] { return program->end(); });
}

std::optional<int> serve_as_decoder(const std::vector<std::string>& arguments, const Decode& decode) {
    g_main_serves = true;
    if (arguments.size() != 1 || arguments[0] != kArgument) {
        return {};
    }
    try {
        return serve(decode);
    } catch (const std::exception&) {
        return 1;
    }
}

}  // namespace cali::host
