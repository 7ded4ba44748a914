/// Preloaded into the program, it fails what the system is asked for. Of the environment:
///   FAULT_ALLOCATION=n   the n-th allocation fails, from 1 in main on; "n-" that and all after it
///   FAULT_CALL=NAME:n    the n-th call of fsync, rename or fork fails with EIO or EAGAIN; "NAME:n-" likewise
///   FAULT_DECODER=1      libtiff crashes at whether a file has tiles
///   FAULT_COUNTS=FILE    when the program ends, how many allocations and calls of each there were
/// A process and its copies count together.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
void* __libc_memalign(size_t alignment, size_t size);

enum { kAllocation, kFsync, kRename, kFork, kKinds };
static const char* const kNames[kKinds] = {"allocation", "fsync", "rename", "fork"};

static struct {
    atomic_long count[kKinds];
} * shared;  // null outside of main: what runs before it is not the program's
static long first[kKinds];
static int all_after[kKinds];
static pid_t owner;

static int fails(int kind) {
    if (shared == NULL) {
        return 0;
    }
    const long number = atomic_fetch_add(&shared->count[kind], 1) + 1;
    return first[kind] > 0 && (number == first[kind] || (all_after[kind] && number > first[kind]));
}

static void* no_memory(void) {
    errno = ENOMEM;
    return NULL;
}

void* malloc(size_t size) { return fails(kAllocation) ? no_memory() : __libc_malloc(size); }
void* calloc(size_t count, size_t size) { return fails(kAllocation) ? no_memory() : __libc_calloc(count, size); }
void* realloc(void* memory, size_t size) { return fails(kAllocation) ? no_memory() : __libc_realloc(memory, size); }
void* memalign(size_t alignment, size_t size) {
    return fails(kAllocation) ? no_memory() : __libc_memalign(alignment, size);
}
void* aligned_alloc(size_t alignment, size_t size) { return memalign(alignment, size); }
int posix_memalign(void** memory, size_t alignment, size_t size) {
    void* const made = memalign(alignment, size);
    *memory = made != NULL ? made : *memory;
    return made != NULL ? 0 : ENOMEM;
}

static int failed(int error) {
    errno = error;
    return -1;
}

int fsync(int file) { return fails(kFsync) ? failed(EIO) : (int)syscall(SYS_fsync, file); }
int rename(const char* from, const char* to) {
    return fails(kRename) ? failed(EIO) : (int)syscall(SYS_renameat, AT_FDCWD, from, AT_FDCWD, to);
}
pid_t fork(void) {
    static pid_t (*next)(void);
    if (next == NULL) {
        *(void**)&next = dlsym(RTLD_NEXT, "fork");
    }
    return fails(kFork) ? failed(EAGAIN) : next();
}

int TIFFIsTiled(void* tiff) {
    int (*next)(void*);
    *(void**)&next = dlsym(RTLD_NEXT, "TIFFIsTiled");
    return getenv("FAULT_DECODER") != NULL ? raise(SIGSEGV) : next(tiff);
}

static void read_fault(int kind, const char* text) {
    char* end = NULL;
    first[kind] = strtol(text, &end, 10);
    all_after[kind] = *end == '-';
}

static void write_counts(void) {
    const char* const name = getenv("FAULT_COUNTS");
    if (name == NULL || getpid() != owner) {
        return;
    }
    const int file = open(name, O_WRONLY | O_CREAT | O_TRUNC, 0666);
    for (int kind = 0; kind < kKinds; ++kind) {
        dprintf(file, "%s %ld\n", kNames[kind], atomic_load(&shared->count[kind]));
    }
    close(file);
}

static int (*real_main)(int, char**, char**);

static int counted_main(int argc, char** argv, char** environment) {
    const char* const allocation = getenv("FAULT_ALLOCATION");
    const char* const call = getenv("FAULT_CALL");
    if (allocation != NULL) {
        read_fault(kAllocation, allocation);
    }
    for (int kind = kFsync; call != NULL && kind < kKinds; ++kind) {
        const size_t length = strlen(kNames[kind]);
        if (strncmp(call, kNames[kind], length) == 0 && call[length] == ':') {
            read_fault(kind, call + length + 1);
        }
    }
    owner = getpid();
    void* const page = mmap(NULL, sizeof(*shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    shared = page;
    const int status = real_main(argc, argv, environment);
    write_counts();
    return status;
}

int __libc_start_main(int (*main)(int, char**, char**), int argc, char** argv, void (*init)(void), void (*fini)(void),
                      void (*rtld_fini)(void), void* stack_end) {
    real_main = main;
    int (*next)(int (*)(int, char**, char**), int, char**, void (*)(void), void (*)(void), void (*)(void), void*);
    *(void**)&next = dlsym(RTLD_NEXT, "__libc_start_main");
    return next(counted_main, argc, argv, init, fini, rtld_fini, stack_end);
}
