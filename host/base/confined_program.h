/// Windows has no copies of a process: there the program runs itself again for what is not to be trusted.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "base/child_process.h"

namespace cali::host {

/// This program in another process, which reads and writes two pipes. It changes no file (its integrity level is the
/// low one, its privileges are gone), starts no process, shows nothing, and ends with this one.
class ConfinedProgram {
public:
    /// Null where the system grants none.
    [[nodiscard]] static std::unique_ptr<ConfinedProgram> start(const std::string& argument,
                                                                const Confinement& confinement);

    ConfinedProgram(const ConfinedProgram&) = delete;
    ConfinedProgram& operator=(const ConfinedProgram&) = delete;
    /// Ends it where it is.
    ~ConfinedProgram();

    /// False where it has ended.
    [[nodiscard]] bool send(std::string_view bytes);
    /// Fills `into`, waiting; false where it ends before.
    [[nodiscard]] bool receive(std::span<uint8_t> into);
    /// How it ended, for a message: "ended with status 3". Waits for the end.
    [[nodiscard]] std::string end();

private:
    ConfinedProgram(void* job, void* process, void* to_it, void* from_it)
        : job_(job), process_(process), to_it_(to_it), from_it_(from_it) {}

    void close_pipes();

    void* job_;
    void* process_;
    void* to_it_;
    void* from_it_;
};

/// In that process, before all else: its pipes. What libraries print goes nowhere; faults show no boxes.
struct ServedPipes {
    ServedPipes();

    [[nodiscard]] bool receive(std::span<uint8_t> into) const;
    [[nodiscard]] bool send(std::string_view bytes) const;

private:
    void* input_;
    void* output_;
};

}  // namespace cali::host
