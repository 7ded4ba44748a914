/// A copy of this process that does one piece of work beside it.
#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace cali::host {

class ChildProcess {
public:
    /// What the copy sends; false where nobody listens any more.
    using Send = std::function<bool(std::string_view)>;

    /// Runs `work` in the copy, which then ends, whatever is left on its stack. Null where the system grants none, and
    /// on Windows, which has no copies. No other thread may run.
    [[nodiscard]] static std::unique_ptr<ChildProcess> start(const std::function<void(const Send&)>& work);
    /// Waits until one of them, at least one, has sent something or ended.
    static void wait_for_any(std::span<ChildProcess* const> children);

    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    /// Ends the copy where it is.
    ~ChildProcess();

    /// Adds what has come, without waiting; false where no more will.
    [[nodiscard]] bool receive(std::string& into);
    /// How it ended, for a message: "ended with status 3", "was ended by signal 9". Waits for the end.
    [[nodiscard]] std::string end();

private:
    ChildProcess(int process, int pipe) : process_(process), pipe_(pipe) {}

    int process_;
    int pipe_;
};

}  // namespace cali::host
