#include "base/confined_program.h"

#include <windows.h>
// Behind it, which they need.
#include <sddl.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <utility>
#include <vector>

#include "base/text.h"

namespace cali::host {
namespace {

class Handle {
public:
    Handle() = default;
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() {
        if (handle_ != nullptr) {
            CloseHandle(handle_);
        }
    }

    [[nodiscard]] HANDLE get() const { return handle_; }
    [[nodiscard]] HANDLE* out() { return &handle_; }
    void set(HANDLE handle) { handle_ = handle; }
    [[nodiscard]] HANDLE release() { return std::exchange(handle_, nullptr); }

private:
    HANDLE handle_ = nullptr;
};

constexpr DWORD kMostAtOnce = 1U << 20U;

bool read_all(HANDLE pipe, std::span<uint8_t> into) {
    while (!into.empty()) {
        DWORD count = 0;
        const DWORD wanted = static_cast<DWORD>(std::min<std::size_t>(into.size(), kMostAtOnce));
        if (ReadFile(pipe, into.data(), wanted, &count, nullptr) == 0 || count == 0) {
            return false;
        }
        into = into.subspan(count);
    }
    return true;
}

bool write_all(HANDLE pipe, std::string_view bytes) {
    while (!bytes.empty()) {
        DWORD count = 0;
        const DWORD wanted = static_cast<DWORD>(std::min<std::size_t>(bytes.size(), kMostAtOnce));
        if (WriteFile(pipe, bytes.data(), wanted, &count, nullptr) == 0) {
            return false;
        }
        bytes.remove_prefix(count);
    }
    return true;
}

/// `theirs` is inherited.
bool make_pipe(HANDLE* read, HANDLE* write, HANDLE* theirs) {
    return CreatePipe(read, write, nullptr, 0) != 0 &&
           SetHandleInformation(*theirs, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT) != 0;
}

/// This process's token without its privileges, at the low integrity level: what it may write to are the few folders
/// that the system keeps for such processes.
bool make_token(Handle& made) {
    Handle own;
    constexpr DWORD kAccess = TOKEN_DUPLICATE | TOKEN_QUERY | TOKEN_ADJUST_DEFAULT | TOKEN_ASSIGN_PRIMARY;
    if (OpenProcessToken(GetCurrentProcess(), kAccess, own.out()) == 0 ||
        CreateRestrictedToken(own.get(), DISABLE_MAX_PRIVILEGE, 0, nullptr, 0, nullptr, 0, nullptr, made.out()) == 0) {
        return false;
    }
    PSID low = nullptr;
    if (ConvertStringSidToSidW(L"S-1-16-4096", &low) == 0) {
        return false;
    }
    TOKEN_MANDATORY_LABEL label = {{low, SE_GROUP_INTEGRITY}};
    const bool set = SetTokenInformation(made.get(), TokenIntegrityLevel, &label, sizeof label) != 0;
    LocalFree(low);
    return set;
}

bool make_job(Handle& made, const Confinement& confinement) {
    made.set(CreateJobObjectW(nullptr, nullptr));
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE | JOB_OBJECT_LIMIT_ACTIVE_PROCESS |
                                              JOB_OBJECT_LIMIT_DIE_ON_UNHANDLED_EXCEPTION |
                                              JOB_OBJECT_LIMIT_PROCESS_MEMORY | JOB_OBJECT_LIMIT_PROCESS_TIME;
    limits.BasicLimitInformation.ActiveProcessLimit = 1;
    constexpr LONGLONG kTicksOfASecond = 10'000'000;
    limits.BasicLimitInformation.PerProcessUserTimeLimit.QuadPart = confinement.seconds * kTicksOfASecond;
    limits.ProcessMemoryLimit = static_cast<SIZE_T>(confinement.memory_bytes);
    JOBOBJECT_BASIC_UI_RESTRICTIONS surface = {
        JOB_OBJECT_UILIMIT_DESKTOP | JOB_OBJECT_UILIMIT_EXITWINDOWS | JOB_OBJECT_UILIMIT_GLOBALATOMS |
        JOB_OBJECT_UILIMIT_HANDLES | JOB_OBJECT_UILIMIT_READCLIPBOARD | JOB_OBJECT_UILIMIT_WRITECLIPBOARD |
        JOB_OBJECT_UILIMIT_SYSTEMPARAMETERS | JOB_OBJECT_UILIMIT_DISPLAYSETTINGS};
    return made.get() != nullptr &&
           SetInformationJobObject(made.get(), JobObjectExtendedLimitInformation, &limits, sizeof limits) != 0 &&
           SetInformationJobObject(made.get(), JobObjectBasicUIRestrictions, &surface, sizeof surface) != 0;
}

std::wstring own_program() {
    std::wstring name(32768, L'\0');
    name.resize(GetModuleFileNameW(nullptr, name.data(), static_cast<DWORD>(name.size())));
    return name;
}

/// What a process inherits, which is nothing else.
class InheritedHandles {
public:
    explicit InheritedHandles(std::span<HANDLE> handles) {
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        memory_.resize(size);
        whole_ = InitializeProcThreadAttributeList(list(), 1, 0, &size) != 0 &&
                 UpdateProcThreadAttribute(list(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles.data(),
                                           handles.size_bytes(), nullptr, nullptr) != 0;
    }
    InheritedHandles(const InheritedHandles&) = delete;
    InheritedHandles& operator=(const InheritedHandles&) = delete;
    ~InheritedHandles() { DeleteProcThreadAttributeList(list()); }

    [[nodiscard]] bool whole() const { return whole_; }
    [[nodiscard]] LPPROC_THREAD_ATTRIBUTE_LIST list() {
        return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory_.data());
    }

private:
    std::vector<char> memory_;
    bool whole_ = false;
};

}  // namespace

std::unique_ptr<ConfinedProgram> ConfinedProgram::start(const std::string& argument, const Confinement& confinement) {
    Handle job;
    Handle token;
    Handle to_it;
    Handle from_it;
    Handle its_input;
    Handle its_output;
    if (!make_token(token) || !make_job(job, confinement) ||
        !make_pipe(its_input.out(), to_it.out(), its_input.out()) ||
        !make_pipe(from_it.out(), its_output.out(), its_output.out())) {
        return nullptr;
    }
    std::array inherited = {its_input.get(), its_output.get()};
    InheritedHandles attributes(inherited);
    STARTUPINFOEXW info = {};
    info.StartupInfo.cb = sizeof info;
    info.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    info.StartupInfo.hStdInput = its_input.get();
    info.StartupInfo.hStdOutput = its_output.get();
    info.lpAttributeList = attributes.list();
    const std::wstring program = own_program();
    std::wstring line = L"\"" + program + L"\" " + path_of(argument).wstring();
    PROCESS_INFORMATION made = {};
    if (!attributes.whole() || CreateProcessAsUserW(token.get(), program.c_str(), line.data(), nullptr, nullptr, TRUE,
                                                    CREATE_SUSPENDED | CREATE_NO_WINDOW | EXTENDED_STARTUPINFO_PRESENT,
                                                    nullptr, nullptr, &info.StartupInfo, &made) == 0) {
        return nullptr;
    }
    Handle process;
    process.set(made.hProcess);
    Handle thread;
    thread.set(made.hThread);
    if (AssignProcessToJobObject(job.get(), made.hProcess) == 0 ||
        ResumeThread(made.hThread) == static_cast<DWORD>(-1)) {
        TerminateProcess(made.hProcess, 1);
        return nullptr;
    }
    return std::unique_ptr<ConfinedProgram>(
        new ConfinedProgram(job.release(), process.release(), to_it.release(), from_it.release()));
}

ConfinedProgram::~ConfinedProgram() {
    TerminateJobObject(job_, 1);
    WaitForSingleObject(process_, INFINITE);
    close_pipes();
    CloseHandle(process_);
    CloseHandle(job_);
}

void ConfinedProgram::close_pipes() {
    for (void** const pipe : {&to_it_, &from_it_}) {
        if (*pipe != nullptr) {
            CloseHandle(*pipe);
            *pipe = nullptr;
        }
    }
}

bool ConfinedProgram::send(std::string_view bytes) { return write_all(to_it_, bytes); }

bool ConfinedProgram::receive(std::span<uint8_t> into) { return read_all(from_it_, into); }

std::string ConfinedProgram::end() {
    close_pipes();
    WaitForSingleObject(process_, INFINITE);
    DWORD status = 0;
    GetExitCodeProcess(process_, &status);
    constexpr DWORD kOwn = 256;  // above are the system's
    return text(status < kOwn ? "ended with status %lu" : "was ended with status 0x%08lx", status);
}

ServedPipes::ServedPipes() : input_(GetStdHandle(STD_INPUT_HANDLE)), output_(nullptr) {
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    DuplicateHandle(GetCurrentProcess(), GetStdHandle(STD_OUTPUT_HANDLE), GetCurrentProcess(), &output_, 0, FALSE,
                    DUPLICATE_SAME_ACCESS);
    (void)std::freopen("NUL", "w", stdout);
}

bool ServedPipes::receive(std::span<uint8_t> into) const { return read_all(input_, into); }
bool ServedPipes::send(std::string_view bytes) const { return write_all(output_, bytes); }

}  // namespace cali::host
