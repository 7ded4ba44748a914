/// Pieces of work side by side, each in a process of its own.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "base/child_process.h"

namespace cali::host {

/// At most so many at a time, in the order in which they are added, but one that is waited for before all others. Where
/// the system grants no process at all, a job is done here when it is waited for.
class Jobs {
public:
    /// Passes a text on to this process at once.
    using Tell = std::function<void(const std::string&)>;
    using Work = std::function<std::string(const Tell&)>;

    /// `told` is called while a job is waited for, with what any of them tells.
    Jobs(std::size_t most, Tell told) : most_(most), told_(std::move(told)) {}
    Jobs(const Jobs&) = delete;
    Jobs& operator=(const Jobs&) = delete;
    ~Jobs() = default;  ///< ends those that still run

    /// Returns its number. The work sees everything as it is when it begins, which may be later, and alters nothing
    /// here.
    std::size_t add(Work work);
    /// What the work returns, once for each job. Throws std::runtime_error with the text of what the work throws, and
    /// for a process that ended without an answer.
    [[nodiscard]] std::string wait(std::size_t job);
    /// Nobody will wait for it.
    void drop(std::size_t job);

private:
    struct Job {
        Work work;
        std::unique_ptr<ChildProcess> process = {};
        std::string received = {};  ///< and not looked at
        std::string answer = {};
        std::optional<std::string> problem = {};
        bool begun = false;
        bool done = false;
    };

    [[nodiscard]] std::size_t running() const;
    /// Where there is room for it.
    void begin(Job& job);
    void begin_next();
    void take_messages(Job& job);
    void receive();

    std::size_t most_;
    Tell told_;
    bool granted_ = true;  ///< by the system
    std::deque<Job> jobs_;
};

}  // namespace cali::host
