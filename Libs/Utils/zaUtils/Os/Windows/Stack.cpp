#include "zaUtils/Os/Stack.h"

#include "zaUtils/Os/Windows/WindowsApi.h"

#include <tlhelp32.h>

#include <psapi.h>
#include <winternl.h>

#include <cstdio>

#include "zaUtils/Os/Library.h"
#include "zaUtils/Os/Windows/WindowsStack.h"

extern "C" NTSYSAPI NTSTATUS NTAPI RtlGetVersion(PRTL_OSVERSIONINFOW version);

namespace za::os {

namespace {

/// A library that is loaded while this object lives.
class LoadedLibrary {
public:
    explicit LoadedLibrary(const char* name) : _handle(loadLibrary(name, false)) {}
    ~LoadedLibrary() {
        if (_handle) unloadLibrary(_handle);
    }
    LoadedLibrary(const LoadedLibrary&) = delete;
    LoadedLibrary& operator=(const LoadedLibrary&) = delete;

    template <typename Function>
    bool find(Function*& target, const char* name) const {
        target = _handle ? reinterpret_cast<Function*>(librarySymbol(_handle, name)) : nullptr;
        return target != nullptr;
    }

private:
    void* _handle;
};

class ToolHelpSnapshot : public ModuleSnapshot {
public:
    explicit ToolHelpSnapshot(const char* library) : _library(library) {}
    ~ToolHelpSnapshot() override {
        if (_snapshot != INVALID_HANDLE_VALUE) CloseHandle(_snapshot);
    }
    ToolHelpSnapshot(const ToolHelpSnapshot&) = delete;
    ToolHelpSnapshot& operator=(const ToolHelpSnapshot&) = delete;

    /// False when one of the calls is missing in the library.
    bool take(unsigned long processId) {
        decltype(::CreateToolhelp32Snapshot)* create = nullptr;
        if (!_library.find(create, "CreateToolhelp32Snapshot") ||
            !_library.find(_first, "Module32FirstW") || !_library.find(_next, "Module32NextW")) {
            return false;
        }
        _snapshot = create(TH32CS_SNAPMODULE, processId);
        return true;
    }

    bool first(ModuleEntry& module) override { return read(_first, module); }
    bool next(ModuleEntry& module) override { return read(_next, module); }

private:
    bool read(decltype(::Module32FirstW)* call, ModuleEntry& module) {
        MODULEENTRY32W entry{};
        entry.dwSize = sizeof entry;
        if (_snapshot == INVALID_HANDLE_VALUE || !call(_snapshot, &entry)) return false;
        module = {narrow(entry.szExePath), narrow(entry.szModule),
                  reinterpret_cast<std::uint64_t>(entry.modBaseAddr), entry.modBaseSize};
        return true;
    }

    LoadedLibrary _library;
    decltype(::Module32FirstW)* _first = nullptr;
    decltype(::Module32NextW)* _next = nullptr;
    HANDLE _snapshot = INVALID_HANDLE_VALUE;
};

class WindowsProcessStatus : public ProcessStatus {
public:
    /// False when one of the calls is missing in the library.
    bool resolve() {
        return _library.find(_enumerate, "EnumProcessModules") &&
               _library.find(_fileName, "GetModuleFileNameExW") &&
               _library.find(_baseName, "GetModuleBaseNameW") &&
               _library.find(_information, "GetModuleInformation");
    }

    bool enumProcessModules(void* process, void** modules, std::uint32_t bytes,
                            std::uint32_t& bytesNeeded) override {
        DWORD needed = 0;
        if (!_enumerate(process, reinterpret_cast<HMODULE*>(modules), bytes, &needed)) return false;
        bytesNeeded = needed;
        return true;
    }

    void getModuleInformation(void* process, void* module, std::uint64_t& base,
                              std::uint32_t& size) override {
        MODULEINFO information{};
        _information(process, static_cast<HMODULE>(module), &information, sizeof information);
        base = reinterpret_cast<std::uint64_t>(information.lpBaseOfDll);
        size = information.SizeOfImage;
    }

    void getModuleFileName(void* process, void* module, char* text, std::size_t size) override {
        copyName(_fileName, process, module, text, size);
    }
    void getModuleBaseName(void* process, void* module, char* text, std::size_t size) override {
        copyName(_baseName, process, module, text, size);
    }

private:
    using NameCall = DWORD WINAPI(HANDLE, HMODULE, LPWSTR, DWORD);

    static void copyName(NameCall* call, void* process, void* module, char* text,
                         std::size_t size) {
        wchar_t name[1024] = L"";
        call(process, static_cast<HMODULE>(module), name, 1024);
        std::snprintf(text, size, "%s", narrow(name).c_str());
    }

    LoadedLibrary _library{"psapi.dll"};
    BOOL(WINAPI* _enumerate)(HANDLE, HMODULE*, DWORD, LPDWORD) = nullptr;
    BOOL(WINAPI* _information)(HANDLE, HMODULE, LPMODULEINFO, DWORD) = nullptr;
    NameCall* _fileName = nullptr;
    NameCall* _baseName = nullptr;
};

/// Turns the registers of a function that runs into those of its caller after the return.
void unwindOnce(CONTEXT& registers) {
    DWORD64 imageBase = 0;
    PRUNTIME_FUNCTION function = RtlLookupFunctionEntry(registers.Rip, &imageBase, nullptr);
    void* handlerData = nullptr;
    DWORD64 establisher = 0;
    RtlVirtualUnwind(UNW_FLAG_NHANDLER, imageBase, registers.Rip, function, &registers,
                     &handlerData, &establisher, nullptr);
}

class WindowsStackHost : public StackHost {
public:
    std::uint32_t lastError() override { return GetLastError(); }
    void setLastError(std::uint32_t code) override { SetLastError(code); }

    std::string userName() override;
    bool systemVersion(SystemVersion& version) override;
    std::uint64_t fileVersion(const std::string& image) override;

    std::unique_ptr<ModuleSnapshot> toolHelpModules(const char* library,
                                                    unsigned long processId) override {
        auto snapshot = std::make_unique<ToolHelpSnapshot>(library);
        return snapshot->take(processId) ? std::move(snapshot) : nullptr;
    }
    std::unique_ptr<ProcessStatus> processStatus() override {
        auto status = std::make_unique<WindowsProcessStatus>();
        return status->resolve() ? std::move(status) : nullptr;
    }

    void* currentProcess() override { return GetCurrentProcess(); }
    unsigned long currentProcessId() override { return GetCurrentProcessId(); }
    void* currentThread() override { return GetCurrentThread(); }
    bool readProcessMemory(void* process, std::uint64_t base, void* buffer, std::size_t size,
                           std::size_t& bytesRead) override {
        SIZE_T count = 0;
        const auto* from = reinterpret_cast<const void*>(base);
        const bool done = ReadProcessMemory(process, from, buffer, size, &count);
        bytesRead = count;
        return done;
    }

    std::unique_ptr<StackContext> newContext(unsigned long, bool) override {
        return std::make_unique<WindowsContext>();
    }
    bool isCallingThread(void* thread) override {
        return thread == GetCurrentThread() || GetThreadId(thread) == GetCurrentThreadId();
    }
    void captureContext(StackContext& context) override {
        CONTEXT& registers = static_cast<WindowsContext&>(context).registers;
        RtlCaptureContext(&registers);
        unwindOnce(registers);
    }
    void copyContext(StackContext& context, const void* registers) override {
        static_cast<WindowsContext&>(context).registers = *static_cast<const CONTEXT*>(registers);
    }
    bool suspendThread(void* thread) override {
        constexpr DWORD kFailed = static_cast<DWORD>(-1);
        return SuspendThread(thread) != kFailed;
    }
    bool readContext(void* thread, StackContext& context) override {
        CONTEXT& registers = static_cast<WindowsContext&>(context).registers;
        registers.ContextFlags = CONTEXT_FULL;
        return GetThreadContext(thread, &registers) != 0;
    }
    void resumeThread(void* thread) override { ResumeThread(thread); }
};

std::string WindowsStackHost::userName() {
    wchar_t name[1024] = L"";
    DWORD size = 1024;
    return GetUserNameW(name, &size) ? narrow(name) : std::string();
}

bool WindowsStackHost::systemVersion(SystemVersion& version) {
    RTL_OSVERSIONINFOEXW information{};
    information.dwOSVersionInfoSize = sizeof information;
    if (RtlGetVersion(reinterpret_cast<PRTL_OSVERSIONINFOW>(&information)) != 0) return false;
    version = {static_cast<int>(information.dwMajorVersion),
               static_cast<int>(information.dwMinorVersion),
               static_cast<int>(information.dwBuildNumber),
               narrow(information.szCSDVersion),
               information.wSuiteMask,
               information.wProductType};
    return true;
}

std::uint64_t WindowsStackHost::fileVersion(const std::string& image) {
    const std::wstring path = wide(image);
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &ignored);
    if (size == 0) return 0;
    std::vector<char> resource(size);
    VS_FIXEDFILEINFO* information = nullptr;
    UINT length = 0;
    if (!GetFileVersionInfoW(path.c_str(), 0, size, resource.data()) ||
        !VerQueryValueW(resource.data(), L"\\", reinterpret_cast<void**>(&information), &length) ||
        length < sizeof(VS_FIXEDFILEINFO)) {
        return 0;
    }
    return std::uint64_t{information->dwFileVersionMS} << 32 | information->dwFileVersionLS;
}

}  // namespace

StackHost& nativeStackHost() {
    static WindowsStackHost& host = *new WindowsStackHost;
    return host;
}

void* openProcess(unsigned long processId) {
    return OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, processId);
}

void closeProcess(void* process) {
    if (process) CloseHandle(process);
}

void* openThread(unsigned long threadId) {
    constexpr DWORD kRights = THREAD_SUSPEND_RESUME | THREAD_GET_CONTEXT | THREAD_QUERY_INFORMATION;
    return OpenThread(kRights, FALSE, threadId);
}

void closeThread(void* thread) {
    if (thread) CloseHandle(thread);
}

std::vector<unsigned long> threadIds(unsigned long processId) {
    std::vector<unsigned long> ids;
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    if (snapshot == INVALID_HANDLE_VALUE) return ids;
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
        if (entry.th32OwnerProcessID == processId) ids.push_back(entry.th32ThreadID);
    }
    CloseHandle(snapshot);
    return ids;
}

}  // namespace za::os
