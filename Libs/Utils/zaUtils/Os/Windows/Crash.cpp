#include "zaUtils/Os/Crash.h"

#include "zaUtils/Os/Windows/WindowsApi.h"

#include <psapi.h>
#include <winternl.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <vector>

#include "zaUtils/Os/UncaughtException.h"

// The heap's lock and the loader's may be held by the thread that crashed or by one that is
// suspended. So files, threads and modules are reached by the system's lowest layer and by its own
// lists.

extern "C" {
NTSYSAPI PPEB NTAPI RtlGetCurrentPeb();
NTSYSAPI NTSTATUS NTAPI NtWriteFile(HANDLE, HANDLE, PIO_APC_ROUTINE, PVOID, PIO_STATUS_BLOCK, PVOID,
                                    ULONG, PLARGE_INTEGER, PULONG);
NTSYSAPI NTSTATUS NTAPI NtCreateSection(PHANDLE, ULONG, POBJECT_ATTRIBUTES, PLARGE_INTEGER, ULONG,
                                        ULONG, HANDLE);
NTSYSAPI NTSTATUS NTAPI NtMapViewOfSection(HANDLE, HANDLE, PVOID*, ULONG_PTR, SIZE_T,
                                           PLARGE_INTEGER, PSIZE_T, ULONG, ULONG, ULONG);
}

namespace za::os {

namespace {

constexpr std::size_t kPathSize = 1024;
constexpr DWORD kPatience = 1900;                  // ms for the whole report
constexpr DWORD kCompilersException = 0x20474343;  // of one compiler's C++ run time
constexpr DWORD kOtherCompilersException = 0xE06D7363;

CrashWriter g_writer = nullptr;
CrashEvent g_event;
wchar_t g_folder[kPathSize];
LPTOP_LEVEL_EXCEPTION_FILTER g_previousFilter = nullptr;
std::terminate_handler g_previousTerminate = nullptr;
void (*g_previousAbort)(int) = nullptr;

std::atomic<bool> g_hasCrashed{false};
HANDLE g_begin = nullptr;  ///< events
HANDLE g_end = nullptr;
DWORD g_helper = 0;  ///< the thread that writes
CONTEXT g_registers;
const EXCEPTION_RECORD* g_exception = nullptr;

CONTEXT g_wayOut;
volatile bool g_hasWayOut = false;
volatile bool g_wasThrown = false;

// --- modules, by the loader's own list ---

struct Image {
    std::uint64_t base;
    std::uint32_t size;
    const UNICODE_STRING* path;
};

template <typename T>
const T& at(std::uint64_t address) {
    return *reinterpret_cast<const T*>(address);
}

const IMAGE_NT_HEADERS64& headersOf(std::uint64_t base) {
    return at<IMAGE_NT_HEADERS64>(base +
                                  static_cast<std::uint64_t>(at<IMAGE_DOS_HEADER>(base).e_lfanew));
}

/// Calls `use` with each loaded module until it returns true.
template <typename Use>
bool forEachImage(Use use) {
    const LIST_ENTRY& list = RtlGetCurrentPeb()->Ldr->InMemoryOrderModuleList;
    int left = static_cast<int>(kMostCrashModules);
    for (const LIST_ENTRY* entry = list.Flink; entry != &list && left-- > 0; entry = entry->Flink) {
        const auto& module = *CONTAINING_RECORD(entry, LDR_DATA_TABLE_ENTRY, InMemoryOrderLinks);
        const auto base = reinterpret_cast<std::uint64_t>(module.DllBase);
        const Image image = {base, headersOf(base).OptionalHeader.SizeOfImage, &module.FullDllName};
        if (use(image)) return true;
    }
    return false;
}

bool findImage(std::uint64_t address, Image& result) {
    return forEachImage([&](const Image& image) {
        if (address < image.base || address - image.base >= image.size) return false;
        result = image;
        return true;
    });
}

/// The wide text in UTF-8, as much as fits.
void toUtf8(const wchar_t* text, std::size_t length, char* result, std::size_t size) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < length && count + 5 < size; ++i) {
        std::uint32_t c = text[i];
        if (c >= 0xD800 && c < 0xDC00 && i + 1 < length) {
            c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00u);
        }
        const int more = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
        constexpr unsigned char kFirst[] = {0, 0xC0, 0xE0, 0xF0};
        result[count++] = static_cast<char>(kFirst[more] | (c >> (6 * more)));
        for (int k = more - 1; k >= 0; --k)
            result[count++] = static_cast<char>(0x80 | ((c >> (6 * k)) & 0x3F));
    }
    result[count] = '\0';
}

/// Looks for the fixed part of the version, which begins with a signature, in the resources.
void readVersion(std::uint64_t base, char* text, std::size_t size) {
    const auto& resources =
        headersOf(base).OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_RESOURCE];
    const std::uint64_t start = base + resources.VirtualAddress;
    if (resources.VirtualAddress == 0) return;
    for (std::uint64_t i = 0; i + sizeof(VS_FIXEDFILEINFO) <= resources.Size; i += 4) {
        const auto& version = at<VS_FIXEDFILEINFO>(start + i);
        if (version.dwSignature != 0xFEEF04BD) continue;
        std::snprintf(text, size, "%u.%u.%u.%u", HIWORD(version.dwFileVersionMS),
                      LOWORD(version.dwFileVersionMS), HIWORD(version.dwFileVersionLS),
                      LOWORD(version.dwFileVersionLS));
        return;
    }
}

// --- frames ---

PRUNTIME_FUNCTION findFunction(const Image& image, std::uint64_t address) {
    const auto& table =
        headersOf(image.base).OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXCEPTION];
    auto* functions = reinterpret_cast<PRUNTIME_FUNCTION>(image.base + table.VirtualAddress);
    const auto offset = static_cast<DWORD>(address - image.base);
    std::size_t low = 0;
    std::size_t high = table.VirtualAddress ? table.Size / sizeof(RUNTIME_FUNCTION) : 0;
    while (low < high) {
        const std::size_t middle = (low + high) / 2;
        if (offset < functions[middle].BeginAddress) {
            high = middle;
        } else if (offset >= functions[middle].EndAddress) {
            low = middle + 1;
        } else {
            return &functions[middle];
        }
    }
    return nullptr;
}

void popReturnAddress(CONTEXT& registers) {
    registers.Rip = at<std::uint64_t>(registers.Rsp);
    registers.Rsp += sizeof(std::uint64_t);
}

/// Whether the address follows an instruction that calls, in a function.
bool isReturnAddress(std::uint64_t address) {
    Image image{};
    if (!findImage(address, image) || address < image.base + 16) return false;
    if (!findFunction(image, address)) return false;
    const auto byteBefore = [&](unsigned n) { return at<unsigned char>(address - n); };
    return byteBefore(5) == 0xE8 || byteBefore(2) == 0xFF || byteBefore(3) == 0xFF ||
           byteBefore(6) == 0xFF || byteBefore(7) == 0xFF;
}

/// Leaves what has no entry in any table: a function that keeps nothing on the stack, one that was
/// not written in a language, or no function at all.
void leaveUnknown(CONTEXT& registers) {
    constexpr int kMostWords = 8;
    const std::uint64_t stack = registers.Rsp;
    for (int i = 0; i < kMostWords; ++i) {
        popReturnAddress(registers);
        if (isReturnAddress(registers.Rip)) return;
    }
    registers.Rsp = stack;
    popReturnAddress(registers);
}

struct Unwinding {
    CONTEXT registers;
    CrashFrames* frames;
};

void unwind(void* argument) {
    auto& [registers, frames] = *static_cast<Unwinding*>(argument);
    while (frames->count < kMostCrashFrames) {
        if (registers.Rip == 0 && frames->count > 0) break;
        frames->counters[frames->count++] = registers.Rip;
        const std::uint64_t stack = registers.Rsp;
        Image image{};
        if (!findImage(registers.Rip, image)) {
            if (frames->count > 1) break;
            leaveUnknown(registers);  // a call that led nowhere
        } else if (PRUNTIME_FUNCTION function = findFunction(image, registers.Rip)) {
            void* data = nullptr;
            DWORD64 establisher = 0;
            RtlVirtualUnwind(UNW_FLAG_NHANDLER, image.base, registers.Rip, function, &registers,
                             &data, &establisher, nullptr);
        } else {
            leaveUnknown(registers);
        }
        if (registers.Rsp <= stack) break;
    }
}

void collectFrames(const CONTEXT& registers, CrashFrames& frames) {
    static Unwinding unwinding;
    unwinding = {registers, &frames};
    frames.count = 0;
    frames.firstIsExact = true;
    runGuarded(unwind, &unwinding);  // what was found before a fault stays
}

// --- what happened ---

void describeException(const EXCEPTION_RECORD& exception) {
    const auto say = [](const char* text) {
        std::snprintf(g_event.reason, sizeof g_event.reason, "%s", text);
    };
    switch (exception.ExceptionCode) {
        case EXCEPTION_ACCESS_VIOLATION: {
            const ULONG_PTR kind = exception.ExceptionInformation[0];
            const ULONG_PTR address = exception.ExceptionInformation[1];
            const char* what = address >= 4096 ? "invalid memory access"
                               : kind == 8     ? "call of a null pointer"
                                               : "null pointer access";
            std::snprintf(g_event.reason, sizeof g_event.reason,
                          "%s (access violation, %s) at address %016llX", what,
                          kind == 0   ? "reading"
                          : kind == 1 ? "writing"
                                      : "executing",
                          static_cast<unsigned long long>(address));
            return;
        }
        case EXCEPTION_STACK_OVERFLOW:
            return say("stack overflow");
        case EXCEPTION_ILLEGAL_INSTRUCTION:
            return say("illegal instruction");
        case EXCEPTION_INT_DIVIDE_BY_ZERO:
            return say("division by zero");
        case EXCEPTION_BREAKPOINT:
            return say("breakpoint");
        case 0xC0000374:
            return say("heap corruption");
        case kCompilersException:
        case kOtherCompilersException:
            return say("uncaught exception");
        default:
            std::snprintf(g_event.reason, sizeof g_event.reason, "exception %08lX",
                          exception.ExceptionCode);
    }
}

DWORD WINAPI writeReports(void*) {
    WaitForSingleObject(g_begin, INFINITE);
    if (g_exception) describeException(*g_exception);
    collectFrames(g_registers, g_event.frames);
    g_writer(g_event);
    SetEvent(g_end);
    return 0;
}

/// Hands the crash of this thread to the helper, if it is the first, and waits for its report.
/// There may be little stack left.
void report(const CONTEXT& registers, const EXCEPTION_RECORD* exception, DWORD error) {
    if (GetCurrentThreadId() == g_helper) return;
    if (!g_hasCrashed.exchange(true)) {
        g_registers = registers;
        g_exception = exception;
        g_event.thread = GetCurrentThreadId();
        g_event.process = GetCurrentProcessId();
        std::snprintf(g_event.lastError, sizeof g_event.lastError, "%lu", error);
        SetEvent(g_begin);
    }
    WaitForSingleObject(g_end, kPatience);
}

// --- handlers ---

LONG WINAPI onUnhandledException(EXCEPTION_POINTERS* pointers) {
    const DWORD error = GetLastError();
    const EXCEPTION_RECORD& exception = *pointers->ExceptionRecord;
    // That one comes back as a call of std::terminate.
    const bool comesBack = exception.ExceptionCode == kCompilersException &&
                           (exception.ExceptionFlags & EXCEPTION_NONCONTINUABLE) == 0;
    if (!comesBack) report(*pointers->ContextRecord, &exception, error);
    SetLastError(error);
    return g_previousFilter ? g_previousFilter(pointers) : EXCEPTION_CONTINUE_SEARCH;
}

/// A fault in the report itself: leaves the part that is being written.
LONG WINAPI onAnyException(EXCEPTION_POINTERS* pointers) {
    if (!g_hasWayOut || GetCurrentThreadId() != g_helper) return EXCEPTION_CONTINUE_SEARCH;
    g_wasThrown = true;
    *pointers->ContextRecord = g_wayOut;
    return EXCEPTION_CONTINUE_EXECUTION;
}

/// The registers of the thread's stack as it is now, from the caller on.
void reportCall() {
    CONTEXT registers;
    const DWORD error = GetLastError();
    RtlCaptureContext(&registers);
    report(registers, nullptr, error);
}

[[noreturn]] void onTerminate() {
    if (!g_hasCrashed.load()) describeTermination(g_event);
    reportCall();
    if (g_previousTerminate) g_previousTerminate();
    std::abort();
}

void onAbort(int signal) {
    if (!g_hasCrashed.load()) {
        std::snprintf(g_event.reason, sizeof g_event.reason, "abort (SIGABRT)");
    }
    reportCall();
    std::signal(SIGABRT, g_previousAbort);
    if (g_previousAbort != SIG_DFL && g_previousAbort != SIG_IGN) g_previousAbort(signal);
}

// --- files, by the lowest layer ---

UNICODE_STRING asUnicode(wchar_t* text) {
    const auto size = static_cast<USHORT>(std::wcslen(text) * sizeof(wchar_t));
    return {size, size, text};
}

/// Opens or creates a file by its full path, which the lowest layer wants a prefix for.
HANDLE openFile(wchar_t* path, ACCESS_MASK access, ULONG disposition) {
    UNICODE_STRING name = asUnicode(path);
    OBJECT_ATTRIBUTES attributes;
    InitializeObjectAttributes(&attributes, &name, OBJ_CASE_INSENSITIVE, nullptr, nullptr);
    IO_STATUS_BLOCK status;
    HANDLE file = nullptr;
    constexpr ULONG kSynchronous = 0x20 | 0x40;  // and not a directory
    const NTSTATUS result = NtCreateFile(&file, access | SYNCHRONIZE, &attributes, &status, nullptr,
                                         FILE_ATTRIBUTE_NORMAL, FILE_SHARE_READ | FILE_SHARE_DELETE,
                                         disposition, kSynchronous, nullptr, 0);
    return result == 0 ? file : nullptr;
}

bool isWritableFolder(const std::wstring& folder) {
    const DWORD attributes = GetFileAttributesW(folder.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || !(attributes & FILE_ATTRIBUTE_DIRECTORY)) {
        return false;
    }
    const std::wstring probe = folder + L"\\~" + std::to_wstring(GetCurrentProcessId());
    const HANDLE file = CreateFileW(probe.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                    FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    CloseHandle(file);
    return true;
}

}  // namespace

bool installCrashHandlers(CrashWriter writer) {
    g_writer = writer;
    HMODULE self = nullptr;  // stays loaded, for the sake of what points into it
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                       reinterpret_cast<const wchar_t*>(&writeReports), &self);
    g_begin = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    g_end = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (!g_begin || !g_end) return false;
    const HANDLE helper = CreateThread(nullptr, 0, writeReports, nullptr, 0, &g_helper);
    if (!helper) return false;
    CloseHandle(helper);
    AddVectoredExceptionHandler(TRUE, onAnyException);
    g_previousFilter = SetUnhandledExceptionFilter(onUnhandledException);
    g_previousTerminate = std::set_terminate(onTerminate);
    g_previousAbort = std::signal(SIGABRT, onAbort);
    return true;
}

bool prepareThreadForCrashes() {
    ULONG size = 32768;
    return SetThreadStackGuarantee(&size) != 0;
}

bool prepareReportFolder(const std::string& folder) {
    const std::wstring name = wide(folder);
    wchar_t path[kPathSize];
    const DWORD length = GetFullPathNameW(name.c_str(), kPathSize, path, nullptr);
    constexpr DWORD kRoom = 128;  // for the file's name
    if (name.empty() || length == 0 || length + kRoom > kPathSize) return false;
    if (!isWritableFolder(path)) return false;
    for (DWORD end = length; end > 0 && path[end - 1] == L'\\'; --end)
        path[end - 1] = L'\0';
    const bool isShare = path[0] == L'\\' && path[1] == L'\\';
    std::swprintf(g_folder, kPathSize, isShare ? L"\\??\\UNC%ls" : L"\\??\\%ls",
                  isShare ? path + 1 : path);
    return true;
}

bool runGuarded(void (*part)(void*), void* argument) {
    const CONTEXT outer = g_wayOut;
    const bool hadWayOut = g_hasWayOut;
    g_wasThrown = false;
    RtlCaptureContext(&g_wayOut);  // where a fault leads to
    if (!g_wasThrown) {
        g_hasWayOut = true;
        part(argument);
    }
    const bool done = !g_wasThrown;
    g_wasThrown = false;
    g_wayOut = outer;
    g_hasWayOut = hadWayOut;
    return done;
}

std::intptr_t createReport(const char* asciiName) {
    wchar_t path[kPathSize + 256];
    std::size_t length = std::wcslen(g_folder);
    std::wmemcpy(path, g_folder, length);
    path[length++] = L'\\';
    while (*asciiName && length + 1 < kPathSize + 256)
        path[length++] = static_cast<unsigned char>(*asciiName++);
    path[length] = L'\0';
    constexpr ULONG kCreateNew = 2;
    const HANDLE file = openFile(path, FILE_WRITE_DATA, kCreateNew);
    return reinterpret_cast<std::intptr_t>(file ? file : GetStdHandle(STD_ERROR_HANDLE));
}

void writeReport(std::intptr_t report, const char* text, std::size_t size) {
    IO_STATUS_BLOCK status;
    NtWriteFile(reinterpret_cast<HANDLE>(report), nullptr, nullptr, nullptr, &status,
                const_cast<char*>(text), static_cast<ULONG>(size), nullptr, nullptr);
}

void closeReport(std::intptr_t report) {
    const auto file = reinterpret_cast<HANDLE>(report);
    if (file != GetStdHandle(STD_ERROR_HANDLE)) NtClose(file);
}

std::size_t otherThreads(unsigned long except, unsigned long (&threads)[kMostCrashThreads]) {
    alignas(16) static char buffer[1 << 20];
    ULONG size = 0;
    if (NtQuerySystemInformation(SystemProcessInformation, buffer, sizeof buffer, &size) != 0) {
        return 0;
    }
    std::size_t count = 0;
    const auto* process = reinterpret_cast<const SYSTEM_PROCESS_INFORMATION*>(buffer);
    const auto self = reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(GetCurrentProcessId()));
    while (process->UniqueProcessId != self && process->NextEntryOffset != 0) {
        const auto* bytes = reinterpret_cast<const char*>(process);
        process =
            reinterpret_cast<const SYSTEM_PROCESS_INFORMATION*>(bytes + process->NextEntryOffset);
    }
    if (process->UniqueProcessId != self) return 0;
    const auto* thread = reinterpret_cast<const SYSTEM_THREAD_INFORMATION*>(process + 1);
    for (ULONG i = 0; i < process->NumberOfThreads && count < kMostCrashThreads; ++i, ++thread) {
        const auto id = static_cast<unsigned long>(
            reinterpret_cast<std::uintptr_t>(thread->ClientId.UniqueThread));
        if (id != except && id != g_helper) threads[count++] = id;
    }
    return count;
}

bool framesOfThread(unsigned long thread, CrashFrames& frames, char (&name)[64]) {
    name[0] = '\0';
    frames.count = 0;
    constexpr DWORD kRights = THREAD_SUSPEND_RESUME | THREAD_GET_CONTEXT;
    const HANDLE handle = OpenThread(kRights, FALSE, thread);
    if (!handle) return false;
    static CONTEXT registers;
    registers.ContextFlags = CONTEXT_FULL;
    bool done = false;
    if (SuspendThread(handle) != static_cast<DWORD>(-1)) {
        done = GetThreadContext(handle, &registers) != 0;
        if (done) collectFrames(registers, frames);
        ResumeThread(handle);
    }
    CloseHandle(handle);
    return done;
}

std::size_t loadedModules(CrashModule (&modules)[kMostCrashModules]) {
    std::size_t count = 0;
    forEachImage([&](const Image& image) {
        CrashModule& module = modules[count++];
        module = {};
        module.base = image.base;
        module.end = image.base + image.size;
        toUtf8(image.path->Buffer, image.path->Length / sizeof(wchar_t), module.path,
               sizeof module.path);
        readVersion(image.base, module.version, sizeof module.version);
        return count == kMostCrashModules;
    });
    return count;
}

const void* mapModule(const CrashModule& module, std::size_t& size) {
    Image image{};
    if (!findImage(module.base, image)) return nullptr;
    wchar_t path[kPathSize] = L"\\??\\";
    const std::size_t length = image.path->Length / sizeof(wchar_t);
    if (length + 5 > kPathSize) return nullptr;
    std::wmemcpy(path + 4, image.path->Buffer, length);
    path[4 + length] = L'\0';
    constexpr ULONG kOpen = 1;
    const HANDLE file = openFile(path, FILE_READ_DATA, kOpen);
    if (!file) return nullptr;
    HANDLE section = nullptr;
    void* data = nullptr;
    SIZE_T mapped = 0;
    if (NtCreateSection(&section, SECTION_MAP_READ, nullptr, nullptr, PAGE_READONLY, SEC_COMMIT,
                        file) == 0) {
        constexpr ULONG kShare = 1;
        if (NtMapViewOfSection(section, GetCurrentProcess(), &data, 0, 0, nullptr, &mapped, kShare,
                               0, PAGE_READONLY) != 0) {
            data = nullptr;
        }
        NtClose(section);
    }
    NtClose(file);
    size = mapped;
    return data;
}

MemoryFacts memoryFacts() {
    MemoryFacts facts{};
    MEMORYSTATUSEX machine{};
    machine.dwLength = sizeof machine;
    if (GlobalMemoryStatusEx(&machine)) {
        facts.total = machine.ullTotalPhys;
        facts.available = machine.ullAvailPhys;
    }
    PROCESS_MEMORY_COUNTERS process{};
    if (K32GetProcessMemoryInfo(GetCurrentProcess(), &process, sizeof process)) {
        facts.process = process.WorkingSetSize;
    }
    return facts;
}

}  // namespace za::os
