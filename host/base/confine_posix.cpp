#include "base/confine.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>
#if defined(__linux__) && defined(__x86_64__)
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#endif

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <vector>

namespace cali::host {
namespace {

/// Of the address space, in bytes; 0 where the system does not tell.
uint64_t address_space() {
    unsigned long long pages = 0;
    if (std::FILE* const file = std::fopen("/proc/self/statm", "r")) {
        pages = std::fscanf(file, "%llu", &pages) == 1 ? pages : 0;
        (void)std::fclose(file);
    }
    return pages * static_cast<uint64_t>(::sysconf(_SC_PAGESIZE));
}

bool limit(int what, uint64_t most) {
    const rlimit limits = {static_cast<rlim_t>(most), static_cast<rlim_t>(most)};
    return ::setrlimit(what, &limits) == 0;
}

#if defined(__linux__) && defined(__x86_64__)

/// What computing, memory, threads and the pipe need. Everything else is refused as a lack of rights, so that a library
/// which asks for more (the time zone, the number of cores) goes on without.
bool filter_system_calls() {
    constexpr std::array kAllowed = {SYS_read,         SYS_write,           SYS_close,         SYS_brk,
                                     SYS_mmap,         SYS_munmap,          SYS_mremap,        SYS_mprotect,
                                     SYS_madvise,      SYS_futex,           SYS_exit,          SYS_exit_group,
                                     SYS_rt_sigaction, SYS_rt_sigreturn,    SYS_gettid,        SYS_rt_sigprocmask,
                                     SYS_getpid,       SYS_tgkill,          SYS_clock_gettime, SYS_gettimeofday,
                                     SYS_sched_yield,  SYS_set_robust_list, SYS_rseq,          SYS_getrandom};
    std::vector<sock_filter> program;
    const auto load = [&](std::size_t offset) {
        program.push_back(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<uint32_t>(offset)));
    };
    const auto end = [&](uint32_t action) { program.push_back(BPF_STMT(BPF_RET | BPF_K, action)); };
    const auto if_equal = [&](uint32_t value, uint32_t action) {
        program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, value, 0, 1));
        end(action);
    };
    load(offsetof(seccomp_data, arch));
    program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, AUDIT_ARCH_X86_64, 1, 0));
    end(SECCOMP_RET_KILL_PROCESS);
    load(offsetof(seccomp_data, nr));
    for (const auto number : kAllowed) {
        if_equal(static_cast<uint32_t>(number), SECCOMP_RET_ALLOW);
    }
    // Threads, but no processes; its flags are in memory that a filter cannot see, so that the older call is taken.
    if_equal(SYS_clone3, SECCOMP_RET_ERRNO | ENOSYS);
    program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clone, 1, 0));
    end(SECCOMP_RET_ERRNO | EPERM);
    load(offsetof(seccomp_data, args[0]));
    program.push_back(BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, CLONE_THREAD, 1, 0));
    end(SECCOMP_RET_ERRNO | EPERM);
    end(SECCOMP_RET_ALLOW);
    const sock_fprog filter = {static_cast<unsigned short>(program.size()), program.data()};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           (::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0 || errno == EINVAL);  // a kernel without
}

#else

bool filter_system_calls() { return true; }

#endif

}  // namespace

bool confine(const Confinement& confinement, int& pipe) {
    constexpr int kFirstFree = 3;
    const uint64_t memory = address_space() + confinement.memory_bytes;
    const int nowhere = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        ::dup2(nowhere, stream);
    }
    if (pipe != kFirstFree && ::dup2(pipe, kFirstFree) < 0) {
        return false;
    }
    pipe = kFirstFree;
    ::closefrom(kFirstFree + 1);
    // No new descriptors, no longer files: also where calls are not filtered.
    return limit(RLIMIT_CORE, 0) && limit(RLIMIT_NOFILE, 0) && limit(RLIMIT_FSIZE, 0) &&
           limit(RLIMIT_CPU, confinement.seconds) && limit(RLIMIT_AS, memory) && filter_system_calls();
}

}  // namespace cali::host
