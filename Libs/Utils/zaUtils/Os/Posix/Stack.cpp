#include "zaUtils/Os/Stack.h"

#include <dirent.h>
#include <dlfcn.h>
#include <elf.h>
#include <linux/futex.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>
#include <unwind.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <mutex>

#include "zaUtils/Os/Directory.h"
#include "zaUtils/Os/Posix/PosixAccount.h"
#include "zaUtils/Os/Posix/PosixStack.h"

namespace za::os {

namespace {

// A handle is the id of the process or thread, which is never 0.

void* toHandle(unsigned long id) {
    return reinterpret_cast<void*>(id);  // NOLINT(performance-no-int-to-ptr)
}

pid_t toId(void* handle) {
    return static_cast<pid_t>(reinterpret_cast<std::uintptr_t>(handle));
}

pid_t callingThread() {
    return static_cast<pid_t>(::syscall(SYS_gettid));
}

// --- the frames of the calling thread ---

struct Capture {
    FrameList& frames;
    std::uint64_t firstCounter;
    int toSkip;  ///< frames, when there is no first counter
    DwarfRegisters* registers;
};

/// The registers of a frame, as far as the unwinder keeps track of them.
void copyRegisters(_Unwind_Context* context, std::uint64_t counter, DwarfRegisters& registers) {
    for (const int preserved : {3, 6, 12, 13, 14, 15})
        registers[static_cast<std::size_t>(preserved)] = _Unwind_GetGR(context, preserved);
    registers[kStackPointerRegister] = _Unwind_GetCFA(context);
    registers[kProgramCounterRegister] = counter;
}

_Unwind_Reason_Code addFrame(_Unwind_Context* context, void* argument) {
    auto& capture = *static_cast<Capture*>(argument);
    FrameList& frames = capture.frames;
    const std::uint64_t counter = _Unwind_GetIP(context);
    if (frames.count == 0) {
        if (capture.firstCounter != 0 && counter != capture.firstCounter) return _URC_NO_REASON;
        if (capture.firstCounter == 0 && capture.toSkip-- > 0) return _URC_NO_REASON;
        if (capture.registers) copyRegisters(context, counter, *capture.registers);
    }
    if (counter == 0 || frames.count == frames.capacity) return _URC_END_OF_STACK;
    frames.counters[frames.count++] = counter;
    return _URC_NO_REASON;
}

// --- the frames of another thread ---

/// What a thread is asked to do in its signal handler.
struct Request {
    enum State : int { Idle, Asked, Busy, Done };

    std::atomic<int> state{Idle};
    std::atomic<pid_t> thread{0};
    FrameList frames;
    DwarfRegisters registers{};
};

Request g_requests[2];
int g_signal = 0;

void answer(Request& request, const ucontext_t& context) {
    int expected = Request::Asked;
    if (!request.state.compare_exchange_strong(expected, Request::Busy)) return;
    request.registers = registersOf(context);
    const std::uint64_t counter = request.registers[kProgramCounterRegister];
    captureFrames(request.frames, counter, nullptr);
    // Whoever put this signal off (the thread sanitizer does) has other frames by now.
    if (request.frames.count == 0) captureFrames(request.frames, 0, nullptr);
    request.state.store(Request::Done);
    ::syscall(SYS_futex, &request.state, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

void onSignal(int, siginfo_t*, void* context) {
    const int error = errno;
    const pid_t self = callingThread();
    for (Request& request : g_requests) {
        if (request.thread.load() == self) answer(request, *static_cast<ucontext_t*>(context));
    }
    errno = error;
}

/// Keeps this library loaded, for the sake of what points into it.
void stayLoaded() {
    Dl_info information;
    if (::dladdr(reinterpret_cast<void*>(&stayLoaded), &information) == 0) return;
    ::dlopen(information.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
}

/// A signal that nobody uses. Its handler stays for ever: an answer may come late.
void installHandler() {
    stayLoaded();
    for (int signal = SIGRTMAX - 1; signal > SIGRTMIN; --signal) {
        struct sigaction present {};
        if (::sigaction(signal, nullptr, &present) != 0 || present.sa_handler != SIG_DFL) continue;
        struct sigaction action {};
        action.sa_sigaction = onSignal;
        action.sa_flags = SA_SIGINFO | SA_RESTART | SA_ONSTACK;
        ::sigfillset(&action.sa_mask);
        for (const int fatal : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGTRAP, SIGSYS})
            ::sigdelset(&action.sa_mask, fatal);
        if (::sigaction(signal, &action, nullptr) == 0) g_signal = signal;
        return;
    }
}

/// Waits until the state is no longer `state`; false when the time is up.
bool waitWhile(Request& request, int state, std::chrono::steady_clock::time_point deadline) {
    while (request.state.load() == state) {
        const auto left = deadline - std::chrono::steady_clock::now();
        const auto nanoseconds = std::chrono::nanoseconds(left).count();
        if (nanoseconds <= 0) return false;
        const timespec timeout = {nanoseconds / 1000000000, nanoseconds % 1000000000};
        ::syscall(SYS_futex, &request.state, FUTEX_WAIT_PRIVATE, state, &timeout, nullptr, 0);
    }
    return true;
}

/// Sends the signal, and waits until the thread has begun to answer. False, with errno set, when it
/// has ended or the time is up.
bool ask(Request& request, pid_t thread, std::chrono::milliseconds patience) {
    constexpr auto kSlice = std::chrono::milliseconds(20);
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + patience;
    bool isThere = ::syscall(SYS_tgkill, ::getpid(), thread, g_signal) == 0;
    while (isThere && Clock::now() < deadline) {
        if (waitWhile(request, Request::Asked, Clock::now() + kSlice)) return true;
        isThere = ::syscall(SYS_tgkill, ::getpid(), thread, 0) == 0;
    }
    const int error = isThere ? ETIMEDOUT : errno;
    int expected = Request::Asked;
    if (!request.state.compare_exchange_strong(expected, Request::Idle)) return true;
    errno = error;
    return false;
}

// --- threads of another process ---

/// Stops a thread of another process. Everything that belongs to it is to be done by the thread
/// that called this.
bool stopForeignThread(pid_t thread) {
    if (::ptrace(PTRACE_SEIZE, thread, nullptr, nullptr) != 0) return false;
    int status = 0;
    if (::ptrace(PTRACE_INTERRUPT, thread, nullptr, nullptr) == 0 &&
        ::waitpid(thread, &status, __WALL) == thread && WIFSTOPPED(status)) {
        return true;
    }
    const int error = errno;
    ::ptrace(PTRACE_DETACH, thread, nullptr, nullptr);
    errno = error;
    return false;
}

bool readForeignRegisters(pid_t thread, DwarfRegisters& registers) {
    user_regs_struct r{};
    iovec part = {&r, sizeof r};
    if (::ptrace(PTRACE_GETREGSET, thread, NT_PRSTATUS, &part) != 0) return false;
    registers = {r.rax, r.rdx, r.rcx, r.rbx, r.rsi, r.rdi, r.rbp, r.rsp, r.r8,
                 r.r9,  r.r10, r.r11, r.r12, r.r13, r.r14, r.r15, r.rip};
    return true;
}

bool isOwnThread(pid_t thread) {
    return thread > 0 && ::syscall(SYS_tgkill, ::getpid(), thread, 0) == 0;
}

// --- modules ---

/// The files that are mapped into a process, as the system's list of mappings has them.
class MappedModules : public ModuleSnapshot {
public:
    explicit MappedModules(unsigned long processId) {
        std::ifstream maps("/proc/" + std::to_string(processId) + "/maps");
        for (std::string line; std::getline(maps, line);)
            add(line);
    }

    bool first(ModuleEntry& module) override {
        _next = 0;
        return next(module);
    }
    bool next(ModuleEntry& module) override {
        if (_next == _modules.size()) return false;
        module = _modules[_next++];
        return true;
    }

private:
    void add(const std::string& line) {
        unsigned long long start = 0;
        unsigned long long end = 0;
        unsigned long long offset = 0;
        int pathAt = 0;
        if (std::sscanf(line.c_str(), "%llx-%llx %*s %llx %*s %*s %n", &start, &end, &offset,
                        &pathAt) < 3 ||
            pathAt == 0 || line.compare(static_cast<std::size_t>(pathAt), 1, "/") != 0) {
            return;
        }
        const std::string path = line.substr(static_cast<std::size_t>(pathAt));
        if (offset != 0 && !_modules.empty() && _modules.back().image == path) {
            _modules.back().size = static_cast<std::uint32_t>(end - _modules.back().base);
        } else if (offset == 0) {
            _modules.push_back({path, path.substr(path.rfind('/') + 1), start,
                                static_cast<std::uint32_t>(end - start)});
        }
    }

    std::vector<ModuleEntry> _modules;
    std::size_t _next = 0;
};

// --- the host ---

class PosixStackHost : public StackHost {
public:
    std::uint32_t lastError() override { return static_cast<std::uint32_t>(errno); }
    void setLastError(std::uint32_t code) override { errno = static_cast<int>(code); }

    std::string userName() override {
        Account account;
        return findAccount(::geteuid(), account).ok() ? account.name : std::string();
    }
    bool systemVersion(SystemVersion& version) override;
    std::uint64_t fileVersion(const std::string&) override { return 0; }  // not in these files

    std::unique_ptr<ModuleSnapshot> toolHelpModules(const char*, unsigned long processId) override {
        return std::make_unique<MappedModules>(processId);
    }
    std::unique_ptr<ProcessStatus> processStatus() override { return nullptr; }

    void* currentProcess() override { return toHandle(currentProcessId()); }
    unsigned long currentProcessId() override { return static_cast<unsigned long>(::getpid()); }
    void* currentThread() override { return toHandle(static_cast<unsigned long>(callingThread())); }
    bool readProcessMemory(void* process, std::uint64_t base, void* buffer, std::size_t size,
                           std::size_t& bytesRead) override {
        const iovec local = {buffer, size};
        auto* from = reinterpret_cast<void*>(base);  // NOLINT(performance-no-int-to-ptr)
        const iovec remote = {from, size};
        const ssize_t count = ::process_vm_readv(toId(process), &local, 1, &remote, 1, 0);
        bytesRead = count > 0 ? static_cast<std::size_t>(count) : 0;
        return bytesRead == size;
    }

    std::unique_ptr<StackContext> newContext(unsigned long processId, bool hasReader) override {
        auto context = std::make_unique<PosixContext>(processId, hasReader);
        context->reserveFrames();
        return context;
    }
    bool isCallingThread(void* thread) override { return toId(thread) == callingThread(); }
    void captureContext(StackContext& context) override {
        auto& posix = static_cast<PosixContext&>(context);
        captureFrames(posix.frames, 0, &posix.registers);
        posix.hasFrames = !posix.hasReader;
    }
    void copyContext(StackContext& context, const void* registers) override {
        static_cast<PosixContext&>(context).registers =
            registersOf(*static_cast<const ucontext_t*>(registers));
    }
    bool suspendThread(void* thread) override {
        const pid_t id = toId(thread);
        return isOwnThread(id) || stopForeignThread(id);
    }
    bool readContext(void* thread, StackContext& context) override;
    void resumeThread(void* thread) override {
        const int error = errno;
        const pid_t id = toId(thread);
        if (!isOwnThread(id)) ::ptrace(PTRACE_DETACH, id, nullptr, nullptr);
        errno = error;
    }
};

bool PosixStackHost::systemVersion(SystemVersion& version) {
    utsname name{};
    if (::uname(&name) != 0) return false;
    if (std::sscanf(name.release, "%d.%d.%d", &version.major, &version.minor, &version.build) < 2) {
        return false;
    }
    version.servicePack = std::string(name.sysname) + ' ' + name.release;
    return true;
}

// A thread of this process is not kept waiting: it has told everything by itself.
bool PosixStackHost::readContext(void* thread, StackContext& context) {
    constexpr int kPatience = 2000;  // ms
    auto& posix = static_cast<PosixContext&>(context);
    const pid_t id = toId(thread);
    if (!isOwnThread(id)) return readForeignRegisters(id, posix.registers);
    prepareCapture();
    if (!captureFramesOf(id, Requester::Walk, kPatience, posix.frames, &posix.registers)) {
        return false;
    }
    posix.hasFrames = true;
    return true;
}

}  // namespace

DwarfRegisters registersOf(const ucontext_t& context) {
    const auto& g = context.uc_mcontext.gregs;
    const auto value = [&](int index) { return static_cast<std::uint64_t>(g[index]); };
    return {value(REG_RAX), value(REG_RDX), value(REG_RCX), value(REG_RBX), value(REG_RSI),
            value(REG_RDI), value(REG_RBP), value(REG_RSP), value(REG_R8),  value(REG_R9),
            value(REG_R10), value(REG_R11), value(REG_R12), value(REG_R13), value(REG_R14),
            value(REG_R15), value(REG_RIP)};
}

// Itself a frame, and so is its caller, which is about to return.
__attribute__((noinline)) void captureFrames(FrameList& frames, std::uint64_t firstCounter,
                                             DwarfRegisters* registers) {
    Capture capture{frames, firstCounter, 2, registers};
    frames.count = 0;
    _Unwind_Backtrace(addFrame, &capture);
}

void prepareCapture() {
    static std::once_flag& once = *new std::once_flag;
    std::call_once(once, installHandler);
}

bool captureFramesOf(pid_t thread, Requester requester, int milliseconds, FrameList& frames,
                     DwarfRegisters* registers) {
    Request& request = g_requests[static_cast<int>(requester)];
    if (g_signal == 0) {
        errno = EAGAIN;
        return false;
    }
    request.frames = frames;
    request.frames.count = 0;
    request.thread.store(thread);
    request.state.store(Request::Asked);
    const bool answered = ask(request, thread, std::chrono::milliseconds(milliseconds));
    // Once it has begun it will be done: it waits for nothing.
    if (answered) waitWhile(request, Request::Busy, std::chrono::steady_clock::time_point::max());
    request.state.store(Request::Idle);
    request.thread.store(0);
    if (!answered) return false;
    frames.count = request.frames.count;
    if (registers) *registers = request.registers;
    return true;
}

StackHost& nativeStackHost() {
    static PosixStackHost& host = *new PosixStackHost;
    return host;
}

void* openProcess(unsigned long processId) {
    const std::string entry = "/proc/" + std::to_string(processId);
    return processId != 0 && pathKind(entry) == PathKind::Directory ? toHandle(processId) : nullptr;
}

void closeProcess(void*) {}

void* openThread(unsigned long threadId) {
    return openProcess(threadId);  // threads are there by their ids as well
}

void closeThread(void*) {}

std::vector<unsigned long> threadIds(unsigned long processId) {
    std::vector<unsigned long> ids;
    const std::string folder = "/proc/" + std::to_string(processId) + "/task";
    const std::unique_ptr<DIR, int (*)(DIR*)> threads(::opendir(folder.c_str()), ::closedir);
    if (!threads) return ids;
    while (const dirent* entry = ::readdir(threads.get())) {
        if (const unsigned long id = std::strtoul(entry->d_name, nullptr, 10)) ids.push_back(id);
    }
    std::sort(ids.begin(), ids.end());
    return ids;
}

}  // namespace za::os
