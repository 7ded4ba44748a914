#include "base/process_posix.h"

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>

#include "base/process.h"

namespace cali::host::process {
namespace {

constexpr std::array kEnding = {SIGHUP, SIGINT, SIGTERM};

// Read by handlers, too.
std::array<std::atomic<pid_t>, 512> g_copies;
static_assert(std::atomic<pid_t>::is_always_lock_free);

void mask_signals(int how) {
    sigset_t ending;
    ::sigemptyset(&ending);
    for (const int signal : kEnding) {
        ::sigaddset(&ending, signal);
    }
    ::sigprocmask(how, &ending, nullptr);
}

extern "C" void clean_up_and_exit(int signal) {
    clean_up();
    ::_exit(128 + signal);
}

}  // namespace

void clean_up() {
    for (const std::atomic<pid_t>& slot : g_copies) {
        if (const pid_t copy = slot.load()) {
            ask_to_end(copy);
        }
    }
    for (const std::atomic<pid_t>& slot : g_copies) {
        if (const pid_t copy = slot.load()) {
            ::waitpid(copy, nullptr, 0);
        }
    }
    for (const std::atomic<const char*>& slot : temporary_names()) {
        if (const char* const name = slot.load()) {
            ::unlink(name);
        }
    }
}

std::vector<std::string> arguments(int argc, char** argv) { return {argv + (argc > 0 ? 1 : 0), argv + argc}; }

void prepare_streams() {}

void set_variable(const char* name, const char* value) { ::setenv(name, value, 1); }

int redirect(std::FILE* stream, std::FILE* target) {
    const int before = ::dup(::fileno(stream));
    if (before >= 0) {
        ::dup2(::fileno(target), ::fileno(stream));
    }
    return before;
}

void restore(std::FILE* stream, int before) {
    ::dup2(before, ::fileno(stream));
    ::close(before);
}

bool is_terminal(std::FILE* file) { return ::isatty(::fileno(file)) != 0; }

HeldSignals::HeldSignals() { mask_signals(SIG_BLOCK); }
void HeldSignals::let_through() { mask_signals(SIG_UNBLOCK); }

void enter_copy(pid_t process) {
    for (std::atomic<pid_t>& slot : g_copies) {
        pid_t empty = 0;
        if (slot.compare_exchange_strong(empty, process)) {
            return;
        }
    }
}

void strike_copy(pid_t process) {
    for (std::atomic<pid_t>& slot : g_copies) {
        pid_t found = process;
        if (slot.compare_exchange_strong(found, 0)) {
            return;
        }
    }
}

void begin_as_copy() {
    for (std::atomic<pid_t>& slot : g_copies) {
        slot = 0;
    }
    forget_temporary_names();
}

void ask_to_end(pid_t copy) {
    struct sigaction now = {};
    ::sigaction(SIGTERM, nullptr, &now);
    ::kill(copy, now.sa_handler == SIG_IGN ? SIGKILL : SIGTERM);
}

void clean_up_on_signals() {
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    // A closed pipe and a file that grows too large are errors of writing, and said as such.
    ::sigaction(SIGPIPE, &ignore, nullptr);
    ::sigaction(SIGXFSZ, &ignore, nullptr);
    for (const int signal : kEnding) {
        struct sigaction before = {};
        ::sigaction(signal, nullptr, &before);
        if (before.sa_handler != SIG_IGN) {  // nohup, jobs in the background
            struct sigaction clean_up = {};
            clean_up.sa_handler = clean_up_and_exit;
            ::sigfillset(&clean_up.sa_mask);
            ::sigaction(signal, &clean_up, nullptr);
        }
    }
}

}  // namespace cali::host::process
