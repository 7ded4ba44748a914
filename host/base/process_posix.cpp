#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "base/process.h"

namespace cali::host::process {
namespace {

extern "C" void remove_temporary_files_and_exit(int signal) {
    for (const std::atomic<const char*>& slot : temporary_names()) {
        if (const char* const name = slot.load()) {
            ::unlink(name);
        }
    }
    ::_exit(128 + signal);
}

}  // namespace

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

void clean_up_on_signals() {
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    // A closed pipe and a file that grows too large are errors of writing, and said as such.
    ::sigaction(SIGPIPE, &ignore, nullptr);
    ::sigaction(SIGXFSZ, &ignore, nullptr);
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
        struct sigaction before = {};
        ::sigaction(signal, nullptr, &before);
        if (before.sa_handler != SIG_IGN) {  // nohup, jobs in the background
            struct sigaction clean_up = {};
            clean_up.sa_handler = remove_temporary_files_and_exit;
            ::sigfillset(&clean_up.sa_mask);
            ::sigaction(signal, &clean_up, nullptr);
        }
    }
}

}  // namespace cali::host::process
