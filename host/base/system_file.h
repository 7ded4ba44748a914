/// What files need of the operating system beyond the standard library: all of POSIX stands behind this. On Windows
/// there are no locks, nothing is flushed to disk, and permissions are those of new files.
#pragma once

#include <cstdio>
#include <filesystem>

namespace cali::host::system_file {

/// Makes a file for writing, locked, with the permissions of `like` where that exists, else those of a new file. Null
/// where it cannot be made, for the reason in errno; EEXIST where the name is taken.
[[nodiscard]] std::FILE* create_locked(const std::filesystem::path& name, const std::filesystem::path& like);

/// For writing, as it is: nothing is made or cut off. Waits for the reader of a pipe. Null, with errno.
[[nodiscard]] std::FILE* open_existing(const std::filesystem::path& name);

/// A second handle on standard output. Null, with errno.
[[nodiscard]] std::FILE* duplicate_standard_output();

[[nodiscard]] bool may_be_written(const std::filesystem::path& existing);

/// Hands everything to the disk. False where it does not take it, with errno.
[[nodiscard]] bool flush_to_disk(std::FILE* file);
/// Keeps a new name in the folder from being lost; does what can be done.
void flush_folder(const std::filesystem::path& folder);

/// Removes a file that `create_locked` made unless its maker still has it open.
void remove_abandoned(const std::filesystem::path& name);

/// A folder held by one process at a time. -1 where it cannot be opened, with errno; waits for others. A file system
/// without locks gives none.
[[nodiscard]] int lock_folder(const std::filesystem::path& folder);
void unlock_folder(int handle);

/// Whether the error is the user's to mend by another name: no such folder, no permission. Else the disk's.
[[nodiscard]] bool is_wrong_name(int error);

/// Has SIGINT, SIGTERM and SIGHUP remove temporary files and end the program with status 128 + signal, and makes a
/// closed pipe an error of writing. Called once, by main.
void clean_up_on_signals();

/// `name` is removed where a signal ends the program. At most 1024 at a time; more are left for the next run to remove.
/// The text stays where it is until it is taken back.
void remove_on_signal(const char* name);
void keep_on_signal(const char* name);

}  // namespace cali::host::system_file
