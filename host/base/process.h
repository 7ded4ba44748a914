/// What the program needs of the operating system for itself: arguments, environment, streams, and a clean end.
#pragma once

#include <atomic>
#include <cstdio>
#include <span>
#include <string>
#include <vector>

namespace cali::host::process {

/// Of main, in UTF-8, without the program's name.
[[nodiscard]] std::vector<std::string> arguments(int argc, char** argv);

/// Standard output and error take bytes as they are; on a Windows console these are UTF-8.
void prepare_streams();

/// In the environment of this process, as libraries of any runtime see it.
void set_variable(const char* name, const char* value);

/// Points a stream where `target` goes. Returns what `restore` takes, once; -1 where nothing was done.
[[nodiscard]] int redirect(std::FILE* stream, std::FILE* target);
void restore(std::FILE* stream, int before);

[[nodiscard]] bool is_terminal(std::FILE* file);

/// Has SIGINT, SIGTERM and SIGHUP remove temporary files and end the program with status 128 + signal, and makes a
/// closed pipe an error of writing; on Windows Ctrl-C, Ctrl-Break and the closed console do. Called once, by main.
void clean_up_on_signals();

/// What a signal does before it ends the program: copies of the process end, temporary files go. For other ends that
/// nothing unwinds.
void clean_up();

/// For the handlers.
[[nodiscard]] std::span<const std::atomic<const char*>> temporary_names();
/// `name` is removed where a signal ends the program. At most 1024 at a time; more are left for the next run to remove.
/// The text stays where it is until it is taken back.
void remove_on_signal(const char* name);
void keep_on_signal(const char* name);
/// In a copy of the process, which lists its own.
void forget_temporary_names();

/// Signals that end the program wait while it lives: for steps that are done all or none. On Windows they do not wait.
/// Not nested.
class HeldSignals {
public:
    HeldSignals();
    ~HeldSignals() { let_through(); }
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;

    static void let_through();
};

}  // namespace cali::host::process
