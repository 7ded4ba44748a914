/// Copies of this process, which end with it.
#pragma once

#include <sys/types.h>

namespace cali::host::process {

/// A signal that ends this process ends those that are listed before it, and waits until they have removed their
/// temporary files. At most 512 at a time; others end a moment after this process, and leave theirs to a later run.
void enter_copy(pid_t process);
void strike_copy(pid_t process);

/// In a copy, while signals are held: what is listed is its parent's.
void begin_as_copy();

/// So that it removes its temporary files; where it was told to ignore SIGTERM, as this process was, at once.
void ask_to_end(pid_t copy);

}  // namespace cali::host::process
