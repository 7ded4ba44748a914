#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>
#ifdef __linux__
#include <sys/prctl.h>
#endif

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <utility>
#include <vector>

#include "base/child_process.h"
#include "base/confine.h"
#include "base/process.h"
#include "base/process_posix.h"
#include "base/text.h"

namespace cali::host {
namespace {

bool send_all(int pipe, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(pipe, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR) {
            return false;
        }
        bytes.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
    }
    return true;
}

void become_child(pid_t parent) {
    process::begin_as_copy();
    std::set_terminate([] {
        process::clean_up();
        std::abort();  // silently: its parent says it
    });
    process::HeldSignals::let_through();
#ifdef __linux__
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) {
        ::_exit(1);
    }
#else
    (void)parent;
#endif
}

int wait_for(pid_t process) {
    // Until it is off the list its number is nobody else's.
    siginfo_t ended = {};
    while (::waitid(P_PID, static_cast<id_t>(process), &ended, WEXITED | WNOWAIT) < 0 && errno == EINTR) {
    }
    process::strike_copy(process);
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

}  // namespace

std::unique_ptr<ChildProcess> ChildProcess::start(const std::function<void(const Send&)>& work,
                                                  const std::optional<Confinement>& confinement) {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) {
        return nullptr;
    }
    for (const int end : ends) {
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
    }
    ::fcntl(ends[0], F_SETFL, O_NONBLOCK);
    std::unique_ptr<ChildProcess> copy(new ChildProcess(0, ends[0]));
    (void)std::fflush(nullptr);  // else the copy prints it, too
    const pid_t parent = ::getpid();
    {
        const process::HeldSignals held;
        copy->process_ = ::fork();
        if (copy->process_ == 0) {
            become_child(parent);
            ::close(ends[0]);
            if (confinement && !confine(*confinement, ends[1])) {
                ::_exit(1);
            }
            try {
                work([&](std::string_view bytes) { return send_all(ends[1], bytes); });
                (void)std::fflush(stderr);
                ::_exit(0);
            } catch (...) {
                ::_exit(1);  // what stands on the stack is the parent's to clear up
            }
        }
        if (copy->process_ > 0) {
            process::enter_copy(copy->process_);
        }
    }
    ::close(ends[1]);
    return copy->process_ > 0 ? std::move(copy) : nullptr;
}

void ChildProcess::wait_for_any(std::span<ChildProcess* const> children) {
    std::vector<pollfd> pipes;
    for (const ChildProcess* const child : children) {
        pipes.push_back({child->pipe_, POLLIN, 0});
    }
    while (::poll(pipes.data(), pipes.size(), -1) < 0 && errno == EINTR) {
    }
}

ChildProcess::~ChildProcess() {
    ::close(pipe_);
    if (process_ > 0) {
        process::ask_to_end(process_);
        (void)wait_for(process_);
    }
}

bool ChildProcess::receive(std::string& into) {
    std::array<char, 65536> block;
    const ssize_t count = ::read(pipe_, block.data(), block.size());
    if (count > 0) {
        into.append(block.data(), static_cast<std::size_t>(count));
    }
    return count > 0 || (count < 0 && (errno == EINTR || errno == EAGAIN));
}

bool ChildProcess::receive(std::span<uint8_t> into) {
    while (!into.empty()) {
        const ssize_t count = ::read(pipe_, into.data(), into.size());
        if (count == 0 || (count < 0 && errno != EINTR && errno != EAGAIN)) {
            return false;
        }
        into = into.subspan(count < 0 ? 0 : static_cast<std::size_t>(count));
        if (count < 0) {
            ChildProcess* const only = this;
            wait_for_any({&only, 1});
        }
    }
    return true;
}

std::string ChildProcess::end() {
    const int status = wait_for(process_);
    process_ = 0;
    return WIFSIGNALED(status) ? text("was ended by signal %d (%s)", WTERMSIG(status), ::strsignal(WTERMSIG(status)))
                               : text("ended with status %d", WEXITSTATUS(status));
}

}  // namespace cali::host
