#include "zaUtils/Os/Crash.h"

#include <elf.h>
#include <fcntl.h>
#include <setjmp.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysinfo.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <exception>

#include "zaUtils/Os/Posix/PosixPath.h"
#include "zaUtils/Os/Posix/PosixStack.h"
#include "zaUtils/Os/ThreadSlot.h"
#include "zaUtils/Os/UncaughtException.h"

namespace za::os {

namespace {

constexpr int kFatalSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGTRAP, SIGSYS};

enum State : int { Waiting, Writing, Written };

struct sigaction g_previous[NSIG];
std::terminate_handler g_previousTerminate = nullptr;
CrashWriter g_writer = nullptr;
CrashEvent g_event;
char g_folder[PATH_MAX];
std::atomic<int> g_state{Waiting};
std::atomic<pid_t> g_owner{0};
sigjmp_buf* volatile g_wayOut = nullptr;  ///< of the part of the report that is being written

pid_t callingThread() {
    return static_cast<pid_t>(::syscall(SYS_gettid));
}

/// What lies at an address of this process.
template <typename T>
T* pointerTo(std::uint64_t address) {
    return reinterpret_cast<T*>(address);  // NOLINT(performance-no-int-to-ptr)
}

/// True for the first thread that crashes. The others wait until its report is written, or should
/// be.
bool beginReport() {
    int expected = Waiting;
    if (g_state.compare_exchange_strong(expected, Writing)) {
        g_owner.store(callingThread());
        return true;
    }
    constexpr timespec kMoment = {0, 10'000'000};
    for (int i = 0; i < 200 && g_state.load() != Written; ++i)
        ::nanosleep(&kMoment, nullptr);
    return false;
}

void finishReport() {
    g_writer(g_event);
    g_state.store(Written);
}

// --- what happened ---

struct Cause {
    int signal;
    const char* name;
    const char* text;
};
constexpr Cause kCauses[] = {{SIGSEGV, "SIGSEGV", "segmentation fault"},
                             {SIGBUS, "SIGBUS", "bus error"},
                             {SIGILL, "SIGILL", "illegal instruction"},
                             {SIGFPE, "SIGFPE", "arithmetic error"},
                             {SIGABRT, "SIGABRT", "abort"},
                             {SIGTRAP, "SIGTRAP", "breakpoint"},
                             {SIGSYS, "SIGSYS", "bad system call"}};

void describe(int signal, const siginfo_t& information, const DwarfRegisters& registers) {
    const Cause* cause = kCauses;
    while (cause->signal != signal && cause->signal != SIGSYS)
        ++cause;
    const auto address = reinterpret_cast<std::uint64_t>(information.si_addr);
    const bool isFault = (signal == SIGSEGV || signal == SIGBUS) && information.si_code > 0;
    if (!isFault || information.si_code == SI_KERNEL) {
        // What is no address at all is not told.
        std::snprintf(g_event.reason, sizeof g_event.reason, "%s (%s)%s", cause->text, cause->name,
                      isFault ? " at an impossible address" : "");
        return;
    }
    constexpr std::uint64_t kNearStack = 65536;
    constexpr std::uint64_t kNearNull = 4096;
    const std::uint64_t stack = registers[kStackPointerRegister];
    const char* text = cause->text;
    if (address + kNearStack > stack && address < stack + kNearNull) {
        text = "stack overflow";
    } else if (address < kNearNull) {
        const bool isCall = registers[kProgramCounterRegister] == address;
        text = isCall ? "call of a null pointer" : "null pointer access";
    }
    std::snprintf(g_event.reason, sizeof g_event.reason, "%s (%s) at address %016llX", text,
                  cause->name, static_cast<unsigned long long>(address));
}

void describeThread(int error) {
    g_event.thread = static_cast<unsigned long>(callingThread());
    g_event.process = static_cast<unsigned long>(::getpid());
    const char* text = ::strerrordesc_np(error);  // neither translates nor allocates
    std::snprintf(g_event.lastError, sizeof g_event.lastError, "%d (%s)", error,
                  text ? text : "unknown");
}

bool readWord(std::uint64_t address, std::uint64_t& word) {
    const iovec local = {&word, sizeof word};
    const iovec remote = {pointerTo<void>(address), sizeof word};
    return ::process_vm_readv(::getpid(), &local, 1, &remote, 1, 0) == sizeof word;
}

/// The frames from the interrupted instruction on. Where that is nowhere, a call led there: then
/// the frames are those after its return.
void captureInterrupted(ucontext_t& context) {
    FrameList frames{g_event.frames.counters, kMostCrashFrames, 0};
    const std::uint64_t counter = registersOf(context)[kProgramCounterRegister];
    if (counter != 0) captureFrames(frames, counter, nullptr);
    std::uint64_t caller = 0;
    if (frames.count <= 1 && readWord(registersOf(context)[kStackPointerRegister], caller)) {
        auto& registers = context.uc_mcontext.gregs;
        const auto stack = registers[REG_RSP];
        registers[REG_RIP] = static_cast<greg_t>(caller);
        registers[REG_RSP] += static_cast<greg_t>(sizeof caller);
        FrameList rest{g_event.frames.counters + 1, kMostCrashFrames - 1, 0};
        captureFrames(rest, caller, nullptr);
        registers[REG_RIP] = static_cast<greg_t>(counter);
        registers[REG_RSP] = stack;
        g_event.frames.counters[0] = counter;
        frames.count = rest.count + 1;
    }
    g_event.frames.count = frames.count;
    g_event.frames.firstIsExact = true;
}

// --- handlers ---

/// Lets happen what would have happened without us.
void goOn(int signal, const siginfo_t& information) {
    ::sigaction(signal, &g_previous[signal], nullptr);
    const bool recurs = information.si_code > 0 && signal != SIGTRAP && signal != SIGSYS;
    if (!recurs) ::syscall(SYS_tgkill, ::getpid(), callingThread(), signal);
}

void onFatalSignal(int signal, siginfo_t* information, void* context) {
    const int error = errno;
    if (g_state.load() == Writing && g_owner.load() == callingThread()) {
        if (g_wayOut) ::siglongjmp(*g_wayOut, 1);
        g_state.store(Written);
    } else if (beginReport()) {
        auto& registers = *static_cast<ucontext_t*>(context);
        describe(signal, *information, registersOf(registers));
        describeThread(error);
        captureInterrupted(registers);
        finishReport();
    }
    errno = error;
    goOn(signal, *information);
}

[[noreturn]] void onTerminate() {
    const int error = errno;
    if (beginReport()) {
        describeTermination(g_event);
        describeThread(error);
        FrameList frames{g_event.frames.counters, kMostCrashFrames, 0};
        captureFrames(frames, 0, nullptr);
        g_event.frames.count = frames.count;
        g_event.frames.firstIsExact = false;
        finishReport();
    }
    if (g_previousTerminate) g_previousTerminate();
    std::abort();
}

// --- stacks for signal handlers ---

/// A thread's stack for signal handlers, with a page in front that nobody may touch.
struct SignalStack {
    static constexpr std::size_t kGuard = 4096;
    static constexpr std::size_t kSize = std::size_t{256} * 1024;

    void* memory;
    stack_t before;

    static void remove(void* self) {
        auto* stack = static_cast<SignalStack*>(self);
        ::sigaltstack(&stack->before, nullptr);
        ::munmap(stack->memory, kGuard + kSize);
        delete stack;
    }
};

// --- files without the C library ---

/// A small file of the process table, read line by line.
class LineReader {
public:
    explicit LineReader(const char* path) : _file(::open(path, O_RDONLY | O_CLOEXEC)) {}
    ~LineReader() {
        if (_file >= 0) ::close(_file);
    }
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    /// A line that is too long is cut.
    template <std::size_t Size>
    bool next(char (&line)[Size]) {
        std::size_t length = 0;
        int c = get();
        if (c < 0) return false;
        for (; c >= 0 && c != '\n'; c = get()) {
            if (length + 1 < Size) line[length++] = static_cast<char>(c);
        }
        line[length] = '\0';
        return true;
    }

private:
    int get() {
        if (_at == _end) {
            const ssize_t count = _file < 0 ? 0 : ::read(_file, _buffer, sizeof _buffer);
            if (count <= 0) return -1;
            _at = 0;
            _end = static_cast<std::size_t>(count);
        }
        return static_cast<unsigned char>(_buffer[_at++]);
    }

    int _file;
    char _buffer[2048];
    std::size_t _at = 0;
    std::size_t _end = 0;
};

/// Reads the note that identifies the build, from the module's memory.
void readBuildId(CrashModule& module) {
    const auto* header = pointerTo<const Elf64_Ehdr>(module.base);
    if (std::memcmp(header->e_ident, ELFMAG, SELFMAG) != 0) return;
    const auto* segment = pointerTo<const Elf64_Phdr>(module.base + header->e_phoff);
    std::uint64_t linkedAt = 0;
    for (int i = header->e_phnum - 1; i >= 0; --i)
        if (segment[i].p_type == PT_LOAD) linkedAt = segment[i].p_vaddr & ~std::uint64_t{4095};
    for (int i = 0; i < header->e_phnum; ++i) {
        if (segment[i].p_type != PT_NOTE) continue;
        std::uint64_t at = module.base + segment[i].p_vaddr - linkedAt;
        const std::uint64_t end = at + segment[i].p_memsz;
        while (at + sizeof(Elf64_Nhdr) < end) {
            const auto* note = pointerTo<const Elf64_Nhdr>(at);
            const auto padded = [](std::uint64_t size) { return (size + 3) & ~std::uint64_t{3}; };
            const std::uint64_t content = at + sizeof(Elf64_Nhdr) + padded(note->n_namesz);
            if (note->n_type == NT_GNU_BUILD_ID) {
                const auto* id = pointerTo<const unsigned char>(content);
                for (unsigned k = 0; k < note->n_descsz && 2 * k + 3 < sizeof module.version; ++k)
                    std::snprintf(module.version + 2 * std::size_t{k}, 3, "%02x", id[k]);
                return;
            }
            at = content + padded(note->n_descsz);
        }
    }
}

}  // namespace

bool installCrashHandlers(CrashWriter writer) {
    g_writer = writer;
    prepareCapture();
    FrameList frames{g_event.frames.counters, kMostCrashFrames, 0};
    captureFrames(frames, 0, nullptr);  // the unwinder loads what it needs now
    struct sigaction action {};
    action.sa_sigaction = onFatalSignal;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
    for (const int signal : kFatalSignals) {
        if (::sigaction(signal, &action, &g_previous[signal]) != 0) return false;
    }
    g_previousTerminate = std::set_terminate(onTerminate);
    return true;
}

bool prepareThreadForCrashes() {
    static const ThreadSlot slot(SignalStack::remove);
    if (slot.get()) return true;
    constexpr std::size_t kWhole = SignalStack::kGuard + SignalStack::kSize;
    void* memory = ::mmap(nullptr, kWhole, PROT_READ | PROT_WRITE,
                          MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED) return false;
    ::mprotect(memory, SignalStack::kGuard, PROT_NONE);
    stack_t stack{};
    stack.ss_sp = static_cast<char*>(memory) + SignalStack::kGuard;
    stack.ss_size = SignalStack::kSize;
    auto* owned = new SignalStack{memory, {}};
    if (::sigaltstack(&stack, &owned->before) != 0) {
        ::munmap(memory, kWhole);
        delete owned;
        return false;
    }
    slot.set(owned);
    return true;
}

bool prepareReportFolder(const std::string& folder) {
    char path[PATH_MAX];
    if (!::realpath(nativePath(folder).c_str(), path)) return false;
    struct stat status {};
    if (::stat(path, &status) != 0 || !S_ISDIR(status.st_mode)) return false;
    if (::access(path, W_OK | X_OK) != 0) return false;
    std::memcpy(g_folder, path, sizeof path);
    return true;
}

bool runGuarded(void (*part)(void*), void* argument) {
    sigjmp_buf here;
    sigjmp_buf* const outer = g_wayOut;
    if (sigsetjmp(here, 0) != 0) {
        g_wayOut = outer;
        return false;
    }
    g_wayOut = &here;
    part(argument);
    g_wayOut = outer;
    return true;
}

std::intptr_t createReport(const char* asciiName) {
    char path[PATH_MAX + 256];
    std::snprintf(path, sizeof path, "%s/%s", g_folder, asciiName);
    const int file = ::open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    return file >= 0 ? file : STDERR_FILENO;
}

void writeReport(std::intptr_t report, const char* text, std::size_t size) {
    while (size > 0) {
        const ssize_t count = ::write(static_cast<int>(report), text, size);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return;
        text += count;
        size -= static_cast<std::size_t>(count);
    }
}

void closeReport(std::intptr_t report) {
    if (report != STDERR_FILENO) ::close(static_cast<int>(report));
}

std::size_t otherThreads(unsigned long except, unsigned long (&threads)[kMostCrashThreads]) {
    struct Entry {  // as the system writes it
        std::uint64_t inode;
        std::int64_t offset;
        unsigned short size;
        unsigned char type;
        char name[1];
    };
    const int folder = ::open("/proc/self/task", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) return 0;
    alignas(Entry) char buffer[4096];
    std::size_t count = 0;
    for (;;) {
        const long size = ::syscall(SYS_getdents64, folder, buffer, sizeof buffer);
        if (size <= 0) break;
        for (long at = 0; at < size;) {
            const auto* entry = reinterpret_cast<const Entry*>(buffer + at);
            const unsigned long id = std::strtoul(entry->name, nullptr, 10);
            if (id != 0 && id != except && count < kMostCrashThreads) threads[count++] = id;
            at += entry->size;
        }
    }
    ::close(folder);
    return count;
}

bool framesOfThread(unsigned long thread, CrashFrames& frames, char (&name)[64]) {
    constexpr int kPatience = 100;  // ms
    char path[64];
    std::snprintf(path, sizeof path, "/proc/self/task/%lu/comm", thread);
    if (!LineReader(path).next(name)) name[0] = '\0';
    FrameList list{frames.counters, kMostCrashFrames, 0};
    frames.firstIsExact = true;
    frames.count = 0;
    if (!captureFramesOf(static_cast<pid_t>(thread), Requester::CrashReport, kPatience, list,
                         nullptr)) {
        return false;
    }
    frames.count = list.count;
    return true;
}

// Every mapped file is listed; those with code are kept.
std::size_t loadedModules(CrashModule (&modules)[kMostCrashModules]) {
    LineReader maps("/proc/self/maps");
    std::size_t count = 0;
    bool hasCode = true;  // of the last one
    char line[1024];
    while (maps.next(line)) {
        char* rest = nullptr;
        const std::uint64_t start = std::strtoull(line, &rest, 16);
        if (*rest != '-') continue;
        const std::uint64_t end = std::strtoull(rest + 1, &rest, 16);
        const char* path = std::strchr(line, '/');
        if (!path) path = std::strstr(line, "[vdso]");
        if (!path) continue;
        if (std::strlen(rest) < 6) continue;
        const bool isCode = rest[1] == 'r' && rest[3] == 'x';
        // A file may be mapped again elsewhere, from its beginning: that is no part of the module.
        const bool continues = std::strtoull(rest + 6, nullptr, 16) != 0;
        if (count > 0 && continues &&
            std::strncmp(modules[count - 1].path, path, sizeof modules->path - 1) == 0) {
            modules[count - 1].end = end;
            hasCode = hasCode || isCode;
            continue;
        }
        if (!hasCode) --count;
        if (count == kMostCrashModules) break;
        CrashModule& module = modules[count++];
        module.base = start;
        module.end = end;
        module.version[0] = '\0';
        std::snprintf(module.path, sizeof module.path, "%s", path);
        hasCode = isCode;
    }
    if (!hasCode) --count;
    for (std::size_t i = 0; i < count; ++i) {
        runGuarded([](void* module) { readBuildId(*static_cast<CrashModule*>(module)); },
                   &modules[i]);
    }
    return count;
}

const void* mapModule(const CrashModule& module, std::size_t& size) {
    const int file = ::open(module.path, O_RDONLY | O_CLOEXEC);
    if (file < 0) return nullptr;
    struct stat status {};
    void* data = MAP_FAILED;
    if (::fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0) {
        size = static_cast<std::size_t>(status.st_size);
        data = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);
    }
    ::close(file);
    return data == MAP_FAILED ? nullptr : data;
}

MemoryFacts memoryFacts() {
    MemoryFacts facts{};
    struct sysinfo machine {};
    if (::sysinfo(&machine) == 0) {
        facts.total = std::uint64_t{machine.totalram} * machine.mem_unit;
        facts.available = std::uint64_t{machine.freeram} * machine.mem_unit;
    }
    char line[128];
    if (LineReader("/proc/self/statm").next(line)) {
        char* resident = nullptr;
        std::strtoull(line, &resident, 10);
        facts.process = std::strtoull(resident, nullptr, 10) * 4096;
    }
    return facts;
}

}  // namespace za::os
