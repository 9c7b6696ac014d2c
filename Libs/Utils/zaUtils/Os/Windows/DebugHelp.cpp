#include "zaUtils/Os/DebugHelp.h"

#include "zaUtils/Os/Windows/WindowsApi.h"

#include <dbghelp.h>

#include <cstdio>
#include <cstring>
#include <utility>

#include "zaUtils/Os/Library.h"
#include "zaUtils/Os/Windows/WindowsStack.h"

namespace za::os {

namespace {

/// The system's narrow texts are in its own code page.
std::string toCodePage(const char* text) {
    const std::wstring name = wide(text);
    const int length = static_cast<int>(name.size());
    const int size =
        WideCharToMultiByte(CP_ACP, 0, name.data(), length, nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_ACP, 0, name.data(), length, result.data(), size, nullptr, nullptr);
    return result;
}

void fromCodePage(const char* text, char* target, std::size_t targetSize) {
    const int length = static_cast<int>(std::strlen(text));
    const int size = MultiByteToWideChar(CP_ACP, 0, text, length, nullptr, 0);
    std::wstring converted(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(CP_ACP, 0, text, length, converted.data(), size);
    std::snprintf(target, targetSize, "%s", narrow(converted.c_str()).c_str());
}

/// A function pointer that is set by the name of the function it points to.
template <typename Function>
bool bind(Function*& target, void* library, const char* name) {
    target = reinterpret_cast<Function*>(librarySymbol(library, name));
    return target != nullptr;
}

/// What StackWalk64 calls back. There is one walk at a time, and no room for a pointer of ours in
/// these calls.
struct CurrentWalk {
    decltype(::SymFunctionTableAccess64)* functionTableAccess;
    decltype(::SymGetModuleBase64)* moduleBase;
    HANDLE session;
    HANDLE process;
    ReadMemory reader;
};
CurrentWalk g_walk;

BOOL CALLBACK readForWalk(HANDLE, DWORD64 base, PVOID buffer, DWORD size, LPDWORD bytesRead) {
    return g_walk.reader(g_walk.process, base, buffer, size, bytesRead);
}

PVOID CALLBACK functionTableForWalk(HANDLE, DWORD64 address) {
    return g_walk.functionTableAccess(g_walk.session, address);
}

DWORD64 CALLBACK moduleBaseForWalk(HANDLE, DWORD64 address) {
    return g_walk.moduleBase(g_walk.session, address);
}

class WindowsDebugHelp : public DebugHelp {
public:
    explicit WindowsDebugHelp(void* library) : _library(library) {}
    ~WindowsDebugHelp() override {
        if (_session) CloseHandle(_session);
        unloadLibrary(_library);
    }
    WindowsDebugHelp(const WindowsDebugHelp&) = delete;
    WindowsDebugHelp& operator=(const WindowsDebugHelp&) = delete;

    bool resolve(const char* entryPoint) override;
    bool symInitialize(void* process, unsigned long, const char* searchPath) override;
    void symCleanup(void* process) override { _symCleanup(session(process)); }
    std::uint32_t symGetOptions() override { return _symGetOptions(); }
    std::uint32_t symSetOptions(std::uint32_t options) override { return _symSetOptions(options); }
    bool symGetSearchPath(void* process, char* path, std::size_t size) override;
    std::uint64_t symLoadModule64(void* process, const char* image, const char* module,
                                  std::uint64_t base, std::uint32_t size) override;
    bool symGetSymFromAddr64(void* process, std::uint64_t address, SymbolRecord& symbol) override;
    bool symGetLineFromAddr64(void* process, std::uint64_t address, LineRecord& line) override;
    bool symGetModuleInfo64(void* process, std::uint64_t address, ModuleRecord& module) override;
    void unDecorateSymbolName(const char* name, char* text, std::size_t size,
                              std::uint32_t flags) override;
    bool stackWalk64(void* process, void* thread, StackFrame& frame, StackContext& context,
                     ReadMemory reader) override;

private:
    HANDLE session(void* process) const { return _session ? _session : process; }

    void* _library;
    HANDLE _session = nullptr;  ///< the process under a handle of our own
    decltype(::SymCleanup)* _symCleanup = nullptr;
    decltype(::SymFunctionTableAccess64)* _symFunctionTableAccess64 = nullptr;
    decltype(::SymGetLineFromAddr64)* _symGetLineFromAddr64 = nullptr;
    decltype(::SymGetModuleBase64)* _symGetModuleBase64 = nullptr;
    decltype(::SymGetModuleInfo64)* _symGetModuleInfo64 = nullptr;
    decltype(::SymGetOptions)* _symGetOptions = nullptr;
    decltype(::SymGetSymFromAddr64)* _symGetSymFromAddr64 = nullptr;
    decltype(::SymInitialize)* _symInitialize = nullptr;
    decltype(::SymLoadModule64)* _symLoadModule64 = nullptr;
    decltype(::SymSetOptions)* _symSetOptions = nullptr;
    decltype(::StackWalk64)* _stackWalk64 = nullptr;
    decltype(::UnDecorateSymbolName)* _unDecorateSymbolName = nullptr;
    decltype(::SymGetSearchPath)* _symGetSearchPath = nullptr;
};

bool WindowsDebugHelp::resolve(const char* entryPoint) {
    const auto is = [&](const char* name) { return std::strcmp(entryPoint, name) == 0; };
    const auto found = [&](auto& target) { return bind(target, _library, entryPoint); };
    if (is("SymCleanup")) return found(_symCleanup);
    if (is("SymFunctionTableAccess64")) return found(_symFunctionTableAccess64);
    if (is("SymGetLineFromAddr64")) return found(_symGetLineFromAddr64);
    if (is("SymGetModuleBase64")) return found(_symGetModuleBase64);
    if (is("SymGetModuleInfo64")) return found(_symGetModuleInfo64);
    if (is("SymGetOptions")) return found(_symGetOptions);
    if (is("SymGetSymFromAddr64")) return found(_symGetSymFromAddr64);
    if (is("SymInitialize")) return found(_symInitialize);
    if (is("SymLoadModule64")) return found(_symLoadModule64);
    if (is("SymSetOptions")) return found(_symSetOptions);
    if (is("StackWalk64")) return found(_stackWalk64);
    if (is("UnDecorateSymbolName")) return found(_unDecorateSymbolName);
    if (is("SymGetSearchPath")) return found(_symGetSearchPath);
    return false;
}

// The library keeps one set of modules for each handle. With a handle of our own, two walkers of
// one process do not take each other's modules away.
bool WindowsDebugHelp::symInitialize(void* process, unsigned long, const char* searchPath) {
    const HANDLE self = GetCurrentProcess();
    if (!DuplicateHandle(self, process, self, &_session, 0, FALSE, DUPLICATE_SAME_ACCESS)) {
        _session = nullptr;
    }
    if (!searchPath) return _symInitialize(session(process), nullptr, FALSE);
    return _symInitialize(session(process), toCodePage(searchPath).c_str(), FALSE);
}

bool WindowsDebugHelp::symGetSearchPath(void* process, char* path, std::size_t size) {
    std::string text(size, '\0');
    if (!_symGetSearchPath(session(process), text.data(), static_cast<DWORD>(size))) return false;
    fromCodePage(text.c_str(), path, size);
    return true;
}

std::uint64_t WindowsDebugHelp::symLoadModule64(void* process, const char* image,
                                                const char* module, std::uint64_t base,
                                                std::uint32_t size) {
    return _symLoadModule64(session(process), nullptr, toCodePage(image).c_str(),
                            toCodePage(module).c_str(), base, size);
}

bool WindowsDebugHelp::symGetSymFromAddr64(void* process, std::uint64_t address,
                                           SymbolRecord& symbol) {
    alignas(IMAGEHLP_SYMBOL64) char memory[sizeof(IMAGEHLP_SYMBOL64) + kStackTextSize] = {};
    auto* record = reinterpret_cast<IMAGEHLP_SYMBOL64*>(memory);
    record->SizeOfStruct = sizeof(IMAGEHLP_SYMBOL64);
    record->MaxNameLength = kStackTextSize;
    DWORD64 displacement = 0;
    if (!_symGetSymFromAddr64(session(process), address, &displacement, record)) return false;
    fromCodePage(record->Name, symbol.name, sizeof symbol.name);
    symbol.displacement = displacement;
    return true;
}

bool WindowsDebugHelp::symGetLineFromAddr64(void* process, std::uint64_t address,
                                            LineRecord& line) {
    IMAGEHLP_LINE64 record{};
    record.SizeOfStruct = sizeof record;
    DWORD displacement = 0;
    if (!_symGetLineFromAddr64(session(process), address, &displacement, &record)) return false;
    fromCodePage(record.FileName ? record.FileName : "", line.file, sizeof line.file);
    line.number = record.LineNumber;
    return true;
}

bool WindowsDebugHelp::symGetModuleInfo64(void* process, std::uint64_t address,
                                          ModuleRecord& module) {
    IMAGEHLP_MODULE64 record{};
    // Old versions of the library take the beginning of the record only.
    record.SizeOfStruct = sizeof record;
    if (!_symGetModuleInfo64(session(process), address, &record)) {
        record.SizeOfStruct = offsetof(IMAGEHLP_MODULE64, LoadedPdbName);
        if (!_symGetModuleInfo64(session(process), address, &record)) return false;
    }
    module.symbolType = record.SymType;
    module.base = record.BaseOfImage;
    fromCodePage(record.ModuleName, module.name, sizeof module.name);
    fromCodePage(record.LoadedImageName, module.loadedImage, sizeof module.loadedImage);
    fromCodePage(record.LoadedPdbName, module.symbolFile, sizeof module.symbolFile);
    return true;
}

void WindowsDebugHelp::unDecorateSymbolName(const char* name, char* text, std::size_t size,
                                            std::uint32_t flags) {
    if (_unDecorateSymbolName(name, text, static_cast<DWORD>(size), flags) == 0) *text = '\0';
}

bool WindowsDebugHelp::stackWalk64(void* process, void* thread, StackFrame& frame,
                                   StackContext& context, ReadMemory reader) {
    auto& state = static_cast<WindowsContext&>(context);
    if (!state.hasStarted) {
        state.hasStarted = true;
        state.frame.AddrPC = {frame.programCounter, 0, AddrModeFlat};
        state.frame.AddrFrame = {frame.frameAddress, 0, AddrModeFlat};
        state.frame.AddrStack = {frame.stackAddress, 0, AddrModeFlat};
    }
    g_walk = {_symFunctionTableAccess64, _symGetModuleBase64, session(process), process, reader};
    if (!_stackWalk64(IMAGE_FILE_MACHINE_AMD64, session(process), thread, &state.frame,
                      &state.registers, readForWalk, functionTableForWalk, moduleBaseForWalk,
                      nullptr)) {
        return false;
    }
    frame = {state.frame.AddrPC.Offset, state.frame.AddrReturn.Offset, state.frame.AddrFrame.Offset,
             state.frame.AddrStack.Offset};
    return true;
}

}  // namespace

std::unique_ptr<DebugHelp> loadDebugHelpLibrary(const std::string& path) {
    void* library = loadLibrary(path, false);
    if (!library) return nullptr;
    return std::make_unique<WindowsDebugHelp>(library);
}

}  // namespace za::os
