#include <algorithm>
#include <cstring>
#include <iterator>

#include "zaUtils/Diagnostics/Internal/StackWalkerParts.h"
#include "zaUtils/Diagnostics/zaStackWalker.h"

using za::diagnostics::HostMemory;
using za::diagnostics::kInitialisationFailed;
using za::diagnostics::kNotEnoughMemory;
using za::diagnostics::symbolTypeText;
using za::diagnostics::walkMutex;
using za::os::DebugHelp;
using za::os::ModuleRecord;
using za::os::stackHost;
using za::os::StackHost;

namespace {

constexpr std::uint32_t kLoadLines = 0x10;
constexpr std::uint32_t kFailCriticalErrors = 0x200;

constexpr std::size_t kSearchPathSize = 4096;
constexpr std::size_t kDirectorySize = 1024;
constexpr std::uint32_t kModuleBufferSize = 8096;

constexpr const char* kSymbolServer = "https://msdl.microsoft.com/download/symbols";

/// A copy of a text, null when there is no memory for it.
class TextCopy : public HostMemory<char> {
public:
    explicit TextCopy(const char* text) : HostMemory(std::strlen(text) + 1) {
        if (get()) std::memcpy(get(), text, std::strlen(text) + 1);
    }
};

/// A search path in a buffer of fixed size. An element that does not fit is left out: a part of it
/// would be another folder.
class SearchPath {
public:
    explicit SearchPath(char* buffer) : _buffer(buffer) { *_buffer = '\0'; }

    void add(const std::string& element) {
        if (_length + element.size() + 1 >= kSearchPathSize) return;
        std::memcpy(_buffer + _length, (element + ';').c_str(), element.size() + 2);
        _length += element.size() + 1;
    }

private:
    char* _buffer;
    std::size_t _length = 0;
};

std::string symbolServerElement() {
    std::string drive;
    if (!stackHost().environment("SYSTEMDRIVE", drive)) drive = "c:";
    return "SRV*" + drive + "\\websymbols*" + kSymbolServer;
}

/// Finds what a walk needs; false when something is missing.
bool resolveEntryPoints(DebugHelp& library, bool& hasLines, bool& hasSearchPath) {
    constexpr const char* kRequired[] = {"SymCleanup",          "SymFunctionTableAccess64",
                                         "SymGetModuleBase64",  "SymGetModuleInfo64",
                                         "SymGetOptions",       "SymGetSymFromAddr64",
                                         "SymInitialize",       "SymLoadModule64",
                                         "SymSetOptions",       "StackWalk64",
                                         "UnDecorateSymbolName"};
    hasLines = library.resolve("SymGetLineFromAddr64");
    hasSearchPath = library.resolve("SymGetSearchPath");
    return std::all_of(std::begin(kRequired), std::end(kRequired),
                       [&](const char* name) { return library.resolve(name); });
}

}  // namespace

const char* za::diagnostics::symbolTypeText(int type) {
    constexpr const char* kTexts[] = {"-nosymbols-", "COFF", "CV",  "PDB",    "-exported-",
                                      "-deferred-",  "SYM",  "DIA", "Virtual"};
    return type >= 0 && type < static_cast<int>(std::size(kTexts)) ? kTexts[type] : "-unknown-";
}

int zaStackWalker::LoadModules() {
    const std::lock_guard<std::recursive_mutex> turn(walkMutex());
    if (_modulesLoaded) return true;

    std::unique_ptr<HostMemory<char>> searchPath;
    if (_options & OptBuildSearchPath) {
        searchPath = std::make_unique<HostMemory<char>>(kSearchPathSize);
        if (!searchPath->get()) {
            stackHost().setLastError(kNotEnoughMemory);
            return false;
        }
        buildSearchPath(searchPath->get());
    }
    if (!initialise(searchPath ? searchPath->get() : nullptr)) {
        OnDbgHelpErr("Error while initializing dbghelp.dll", 0, 0);
        stackHost().setLastError(kInitialisationFailed);
        return false;
    }
    _modulesLoaded = registerModules();
    return _modulesLoaded;
}

void zaStackWalker::buildSearchPath(char* buffer) const {
    SearchPath path(buffer);
    if (_symPath) path.add(*_symPath);
    path.add(".");
    const std::string directory = stackHost().currentDirectory();
    if (!directory.empty() && directory.size() < kDirectorySize) path.add(directory);
    const std::string program = stackHost().programPath();
    const std::size_t separator = program.find_last_of("\\/:");
    if (separator != std::string::npos && separator > 0) path.add(program.substr(0, separator));
    std::string value;
    for (const char* name : {"_NT_SYMBOL_PATH", "_NT_ALTERNATE_SYMBOL_PATH"}) {
        if (stackHost().environment(name, value)) path.add(value);
    }
    if (stackHost().environment("SYSTEMROOT", value)) {
        path.add(value);
        path.add(value + "\\system32");
    }
    if (_options & OptSymbolServer) path.add(symbolServerElement());
}

bool zaStackWalker::initialise(const char* searchPath) {
    if (_internal->library) return true;
    if (!loadLibrary()) return false;
    DebugHelp& library = *_internal->library;
    _internal->searchPath = searchPath ? searchPath : "";
    StackHost& host = stackHost();
    if (!library.symInitialize(_process, _processId, searchPath)) {
        OnDbgHelpErr("SymInitialize", host.lastError(), 0);
    }
    const std::uint32_t wanted = library.symGetOptions() | kLoadLines | kFailCriticalErrors;
    const std::uint32_t options = library.symSetOptions(wanted);
    char path[kTextSize] = "";
    if (_internal->hasSearchPath && !library.symGetSearchPath(_process, path, sizeof path)) {
        OnDbgHelpErr("SymGetSearchPath", host.lastError(), 0);
    }
    const std::string user = host.userName();
    OnSymInit(path, options, user.c_str());
    return true;
}

bool zaStackWalker::loadLibrary() {
    StackHost& host = stackHost();
    std::unique_ptr<DebugHelp> library;
    std::string programs;
    // With such a file the application redirects its libraries itself.
    if (!host.fileExists(host.programPath() + ".local") &&
        host.environment("ProgramFiles", programs)) {
        for (const char* folder : {"\\Debugging Tools for Windows (x64)\\dbghelp.dll",
                                   "\\Debugging Tools for Windows\\dbghelp.dll",
                                   "\\Debugging Tools for Windows 64-Bit\\dbghelp.dll"}) {
            if (library) break;
            if (host.fileExists(programs + folder)) library = host.loadDebugHelp(programs + folder);
        }
    }
    if (!library) library = host.loadDebugHelp("dbghelp.dll");
    if (!library) return false;
    if (!resolveEntryPoints(*library, _internal->hasLines, _internal->hasSearchPath)) return false;
    _internal->library = std::move(library);
    return true;
}

bool zaStackWalker::registerModules() {
    return registerFromToolHelp() || registerFromProcessStatus();
}

bool zaStackWalker::registerFromToolHelp() {
    StackHost& host = stackHost();
    auto snapshot = host.toolHelpModules("kernel32.dll", _processId);
    if (!snapshot) snapshot = host.toolHelpModules("tlhelp32.dll", _processId);
    if (!snapshot) return false;
    bool any = false;
    za::os::ModuleEntry module;
    for (bool more = snapshot->first(module); more; more = snapshot->next(module)) {
        registerModule(module.image.c_str(), module.name.c_str(), module.base, module.size);
        any = true;
    }
    return any;
}

bool zaStackWalker::registerFromProcessStatus() {
    const auto status = stackHost().processStatus();
    if (!status) return false;
    const HostMemory<void*> modules(kModuleBufferSize);
    const HostMemory<char> image(kModuleBufferSize);
    const HostMemory<char> name(kModuleBufferSize);
    if (!modules.get() || !image.get() || !name.get()) return false;

    std::uint32_t needed = 0;
    if (!status->enumProcessModules(_process, modules.get(), kModuleBufferSize, needed)) {
        return false;
    }
    // A longer list is deliberately not asked for again with a larger buffer.
    if (needed > kModuleBufferSize || needed < sizeof(void*)) return false;
    for (std::size_t i = 0; i < needed / sizeof(void*); ++i) {
        std::uint64_t base = 0;
        std::uint32_t size = 0;
        *image.get() = *name.get() = '\0';
        status->getModuleInformation(_process, modules.get()[i], base, size);
        status->getModuleFileName(_process, modules.get()[i], image.get(), kModuleBufferSize);
        status->getModuleBaseName(_process, modules.get()[i], name.get(), kModuleBufferSize);
        const unsigned long result = registerModule(image.get(), name.get(), base, size);
        if (result != 0) OnDbgHelpErr("LoadModule", result, 0);
    }
    return true;
}

unsigned long zaStackWalker::registerModule(const char* image, const char* module,
                                            unsigned long long base, unsigned long size) {
    DebugHelp& library = *_internal->library;
    const TextCopy imageCopy(image);
    const TextCopy moduleCopy(module);
    ModuleRecord record;
    unsigned long result = 0;
    if (!imageCopy.get() || !moduleCopy.get()) {
        result = kNotEnoughMemory;
    } else {
        const auto size32 = static_cast<std::uint32_t>(size);
        if (!library.symLoadModule64(_process, imageCopy.get(), moduleCopy.get(), base, size32)) {
            result = stackHost().lastError();
        }
        if (!library.symGetModuleInfo64(_process, base, record)) record = {};
    }
    const bool asksVersion = (_options & OptFileVersion) != 0;
    const std::uint64_t version = asksVersion ? stackHost().fileVersion(image) : 0;
    OnLoadModule(image, module, base, size, result, symbolTypeText(record.symbolType),
                 record.symbolFile, version);
    return result;
}
