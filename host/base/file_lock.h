/// One process at a time reads a file, changes it and writes it back.
#pragma once

#include <cstdint>
#include <filesystem>

namespace cali::host {

/// Held while it lives; waits for others. It is the file's folder that is locked, behind links, so that the file may be
/// replaced meanwhile and nothing stays behind: two files of one folder wait for each other, and a process takes one
/// lock at a time. Standard output, pipes and devices need none. Throws InputError where there is no such folder.
class FileLock {
public:
    explicit FileLock(const std::filesystem::path& file);
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

private:
    std::intptr_t handle_ = -1;
};

}  // namespace cali::host
