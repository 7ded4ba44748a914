/// What files need of the operating system beyond the standard library. On Windows permissions are those of new files.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <vector>

namespace cali::host::system_file {

/// Makes a file for writing, locked, with the permissions of `like` where that exists, else those of a new file. Null
/// where it cannot be made, for the reason in errno; EEXIST where the name is taken.
[[nodiscard]] std::FILE* create_locked(const std::filesystem::path& name, const std::filesystem::path& like);

/// For writing, as it is: nothing is made or cut off. Waits for the reader of a pipe. Null, with errno.
[[nodiscard]] std::FILE* open_existing(const std::filesystem::path& name);

/// A second handle on standard output. Null, with errno.
[[nodiscard]] std::FILE* duplicate_standard_output();

/// A device, a pipe: what is there and neither a file nor a folder.
[[nodiscard]] bool is_device(const std::filesystem::path& name);

[[nodiscard]] bool may_be_written(const std::filesystem::path& existing);

/// Hands everything to the disk. False where it does not take it, with errno.
[[nodiscard]] bool flush_to_disk(std::FILE* file);
/// Keeps a new name in the folder from being lost. False where the disk does not take it, with errno; what cannot be
/// flushed is passed over.
[[nodiscard]] bool flush_folder(const std::filesystem::path& folder);

/// For writing, in place of what is there. Null, with errno.
[[nodiscard]] std::FILE* create_log(const std::filesystem::path& name);
/// For writing and reading, and gone once it is closed. Null where none can be made.
[[nodiscard]] std::FILE* temporary_file();

/// Gives a file the name of another, which it replaces. On Windows it waits a moment where somebody has that one open.
void replace(const std::filesystem::path& file, const std::filesystem::path& by_name, std::error_code& error);

/// What the folder holds, by names alone, in no order; an error where it cannot be read. Throws std::bad_alloc, where
/// the standard library's walk would end the program.
[[nodiscard]] std::vector<std::filesystem::path> names_in(const std::filesystem::path& folder, std::error_code& error);

/// Removes a file that `create_locked` made unless its maker still has it open.
void remove_abandoned(const std::filesystem::path& name);

/// A folder held by one process at a time. -1 where it cannot be opened, with errno; waits for others. A file system
/// without locks gives none.
[[nodiscard]] std::intptr_t lock_folder(const std::filesystem::path& folder);
void unlock_folder(std::intptr_t handle);

/// Whether the error is the user's to mend by another name: no such folder, no permission. Else the disk's.
[[nodiscard]] bool is_wrong_name(int error);

}  // namespace cali::host::system_file
