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
#include <cstring>
#include <vector>

#include "base/child_process.h"
#include "base/confine.h"
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

/// The files that signals remove are its parent's.
void become_child(pid_t parent) {
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
        struct sigaction now = {};
        ::sigaction(signal, nullptr, &now);
        if (now.sa_handler != SIG_IGN) {
            ::signal(signal, SIG_DFL);
        }
    }
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
    (void)std::fflush(nullptr);  // else the copy prints it, too
    const pid_t parent = ::getpid();
    const pid_t process = ::fork();
    if (process == 0) {
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
    ::close(ends[1]);
    if (process < 0) {
        ::close(ends[0]);
        return nullptr;
    }
    return std::unique_ptr<ChildProcess>(new ChildProcess(process, ends[0]));
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
        ::kill(process_, SIGKILL);
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
