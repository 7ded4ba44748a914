/// A copy of this process that does one piece of work beside it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace cali::host {

/// Of a copy that works on what is not to be trusted. It sees the memory of this process and what it sends, and nothing
/// else: it opens, changes and removes no file, starts no process, and prints nothing.
struct Confinement {
    uint64_t memory_bytes = 0;  ///< beyond what this process has
    unsigned seconds = 0;       ///< of computing
};

class ChildProcess {
public:
    /// What the copy sends; false where nobody listens any more.
    using Send = std::function<bool(std::string_view)>;

    /// Runs `work` in the copy, which then ends, whatever is left on its stack. Null where the system grants none, and
    /// on Windows, which has no copies. No other thread may run.
    [[nodiscard]] static std::unique_ptr<ChildProcess> start(const std::function<void(const Send&)>& work,
                                                             const std::optional<Confinement>& confinement = {});
    /// Waits until one of them, at least one, has sent something or ended.
    static void wait_for_any(std::span<ChildProcess* const> children);

    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    /// Ends the copy where it is.
    ~ChildProcess();

    /// Adds what has come, without waiting; false where no more will.
    [[nodiscard]] bool receive(std::string& into);
    /// Fills `into`, waiting; false where it ends before.
    [[nodiscard]] bool receive(std::span<uint8_t> into);
    /// How it ended, for a message: "ended with status 3", "was ended by signal 9 (Killed)". Waits for the end.
    [[nodiscard]] std::string end();

private:
    ChildProcess(int process, int pipe) : process_(process), pipe_(pipe) {}

    int process_;
    int pipe_;
};

}  // namespace cali::host
