#include "zaUtils/Diagnostics/zaStackWalker.h"

#include <cstdint>
#include <cstdio>
#include <mutex>

#include "zaUtils/Diagnostics/Internal/FunctionName.h"
#include "zaUtils/Diagnostics/Internal/StackWalkerParts.h"
#include "zaUtils/Os/Stack.h"

using za::diagnostics::HostMemory;
using za::diagnostics::kInitialisationFailed;
using za::diagnostics::symbolTypeText;
using za::diagnostics::walkMutex;
using za::os::DebugHelp;
using za::os::LineRecord;
using za::os::ModuleRecord;
using za::os::StackContext;
using za::os::StackFrame;
using za::os::stackHost;
using za::os::StackHost;
using za::os::SymbolRecord;

namespace {

constexpr std::uint32_t kUndecorateCompletely = 0;
constexpr std::uint32_t kUndecorateNameOnly = 0x1000;

/// More frames than fit on a stack of ordinary size.
constexpr std::size_t kMostFrames = 65536;

struct Reader {
    zaStackWalker::ReadMemoryCallback callback = nullptr;
    void* userData = nullptr;
};

Reader g_reader;

/// Puts a walk's reader in place while it lives.
class ReaderInPlace {
public:
    explicit ReaderInPlace(const Reader& reader) : _before(g_reader) { g_reader = reader; }
    ~ReaderInPlace() { g_reader = _before; }
    ReaderInPlace(const ReaderInPlace&) = delete;
    ReaderInPlace& operator=(const ReaderInPlace&) = delete;

private:
    Reader _before;
};

/// Resumes a suspended thread on every way out.
class Suspension {
public:
    explicit Suspension(void* thread)
        : _thread(thread), _suspended(stackHost().suspendThread(thread)) {}
    ~Suspension() {
        if (_suspended) stackHost().resumeThread(_thread);
    }
    Suspension(const Suspension&) = delete;
    Suspension& operator=(const Suspension&) = delete;

    bool holds() const { return _suspended; }

private:
    void* _thread;
    bool _suspended;
};

void copyText(char (&target)[zaStackWalker::kTextSize], const char* text) {
    std::snprintf(target, sizeof target, "%s", text);
}

}  // namespace

/// The frames of one walk: read one by one, or, of a thread that was suspended, beforehand.
struct zaStackWalker::Walk {
    bool next(StackFrame& result) {
        if (!isRecorded) {
            if (!readNext()) return false;
        } else {
            if (nextRecorded == recorded.size()) return false;
            frame = recorded[nextRecorded++];
        }
        result = frame;
        return true;
    }

    /// Allocates nothing: room was made before.
    void record() {
        while (recorded.size() < recorded.capacity() && readNext()) {
            recorded.push_back(frame);
            if (frame.returnAddress == 0) break;
        }
    }

    void start() {
        frame.programCounter = context->instructionPointer();
        frame.frameAddress = context->stackPointer();
        frame.stackAddress = context->stackPointer();
    }

    bool readNext() {
        return library.stackWalk64(process, thread, frame, *context, &zaStackWalker::myReadProcMem);
    }

    DebugHelp& library;
    void* process;
    void* thread;
    std::unique_ptr<StackContext> context;
    SymbolRecord* symbol;
    bool startsAtReturnAddress = false;
    StackFrame frame{};
    bool isRecorded = false;
    std::vector<StackFrame> recorded{};
    std::size_t nextRecorded = 0;
};

zaStackWalker::zaStackWalker()
    : zaStackWalker(OptAll, nullptr, stackHost().currentProcessId(), stackHost().currentProcess()) {
}

zaStackWalker::zaStackWalker(unsigned long processId, void* process)
    : zaStackWalker(OptAll, nullptr, processId, process) {}

zaStackWalker::zaStackWalker(int options, const char* symPath, unsigned long processId,
                             void* process)
    : _internal(std::make_unique<Internal>(process)),
      _process(process),
      _processId(processId),
      _symPath(symPath ? std::make_unique<std::string>(symPath) : nullptr),
      _options(symPath ? options | OptBuildSearchPath : options) {}

zaStackWalker::zaStackWalker(const zaStackWalker& other)
    : zaStackWalker(other._options, other._symPath ? other._symPath->c_str() : nullptr,
                    other._processId, other._process) {
    _maxRecursionCount = other._maxRecursionCount;
    _output = other._output;
}

zaStackWalker& zaStackWalker::operator=(const zaStackWalker& other) {
    if (this == &other) return *this;
    const std::lock_guard<std::recursive_mutex> turn(walkMutex());
    _internal = std::make_unique<Internal>(other._process);
    _process = other._process;
    _processId = other._processId;
    _modulesLoaded = false;
    _symPath = other._symPath ? std::make_unique<std::string>(*other._symPath) : nullptr;
    _options = other._options;
    _maxRecursionCount = other._maxRecursionCount;
    _output = other._output;
    return *this;
}

zaStackWalker::~zaStackWalker() {
    const std::lock_guard<std::recursive_mutex> turn(walkMutex());
    _internal.reset();
}

int zaStackWalker::ShowCallstack(void* thread, const CONTEXT* context,
                                 ReadMemoryCallback readMemory, void* userData) {
    const std::lock_guard<std::recursive_mutex> turn(walkMutex());
    _output.clear();
    if (!_modulesLoaded) LoadModules();
    StackHost& host = stackHost();
    if (!_internal->library) {
        host.setLastError(kInitialisationFailed);
        return false;
    }
    const ReaderInPlace reader({readMemory, userData});
    const HostMemory<SymbolRecord> symbol(sizeof(SymbolRecord));
    auto registers = host.newContext(_processId, readMemory != nullptr);
    Walk walk{*_internal->library, _process, thread, std::move(registers), symbol.get()};
    if (context) {
        host.copyContext(*walk.context, context);
        walk.start();
    } else if (host.isCallingThread(thread)) {
        host.captureContext(*walk.context);  // here, where the frame lives as long as the walk
        walk.startsAtReturnAddress = true;
        walk.start();
    } else if (!collectFrames(walk)) {
        return false;
    }
    if (walk.symbol) reportFrames(walk);
    return true;
}

// No allocation and no lock between suspension and resumption: the thread may hold any.
bool zaStackWalker::collectFrames(Walk& walk) {
    walk.isRecorded = true;
    walk.recorded.reserve(kMostFrames);
    const Suspension suspension(walk.thread);
    if (!suspension.holds() || !stackHost().readContext(walk.thread, *walk.context)) return false;
    walk.start();
    walk.record();
    return true;
}

void zaStackWalker::reportFrames(Walk& walk) {
    CallstackEntry entry;
    StackFrame frame;
    int recursionCount = 0;
    const char* stopReason = "StackWalk64";
    bool isFirst = true;
    while (walk.next(frame)) {
        entry = {};
        entry.offset = frame.programCounter;
        if (frame.programCounter != frame.returnAddress) {
            recursionCount = 0;
        } else if (++recursionCount > _maxRecursionCount && _maxRecursionCount > 0) {
            stopReason = "StackWalk64-Endless-Callstack!";
            break;
        }
        if (frame.programCounter != 0) {
            // What a frame returns to may belong to the next line, or to the next function even.
            const bool isExact = isFirst && !walk.startsAtReturnAddress;
            lookUp(entry, isExact ? frame.programCounter : frame.programCounter - 1, walk);
        }
        OnCallstackEntry(isFirst ? EntryFirst : EntryNext, entry);
        isFirst = false;
        if (frame.returnAddress == 0) {
            OnCallstackEntry(EntryLast, entry);
            stackHost().setLastError(0);
            return;
        }
    }
    OnDbgHelpErr(stopReason, 0, walk.frame.programCounter);
    if (!isFirst) OnCallstackEntry(EntryLast, entry);
}

void zaStackWalker::lookUp(CallstackEntry& entry, unsigned long long address, Walk& walk) {
    DebugHelp& library = walk.library;
    StackHost& host = stackHost();
    SymbolRecord& symbol = *walk.symbol;
    if (library.symGetSymFromAddr64(_process, address, symbol)) {
        copyText(entry.name, symbol.name);
        entry.offsetFromSymbol =
            static_cast<long long>(symbol.displacement + entry.offset - address);
        library.unDecorateSymbolName(entry.name, entry.undName, sizeof entry.undName,
                                     kUndecorateNameOnly);
        library.unDecorateSymbolName(entry.name, entry.undFullName, sizeof entry.undFullName,
                                     kUndecorateCompletely);
        // The library knows one compiler's names only.
        const std::string readable = za::diagnostics::demangled(entry.name);
        if (readable != entry.name) {
            copyText(entry.undName, za::diagnostics::withoutParameters(readable).c_str());
            copyText(entry.undFullName, readable.c_str());
        }
    } else {
        OnDbgHelpErr("SymGetSymFromAddr64", host.lastError(), entry.offset);
    }

    LineRecord line;
    if (_internal->hasLines) {
        if (library.symGetLineFromAddr64(_process, address, line)) {
            entry.lineNumber = line.number;
            copyText(entry.lineFileName, line.file);
        } else {
            OnDbgHelpErr("SymGetLineFromAddr64", host.lastError(), entry.offset);
        }
    }

    ModuleRecord module;
    if (library.symGetModuleInfo64(_process, address, module)) {
        entry.symTypeString = symbolTypeText(module.symbolType);
        copyText(entry.moduleName, module.name);
        entry.baseOfImage = module.base;
        copyText(entry.loadedImageName, module.loadedImage);
    } else {
        OnDbgHelpErr("SymGetModuleInfo64", host.lastError(), entry.offset);
    }
}

const std::string& zaStackWalker::getOutput() const {
    return _output;
}

int zaStackWalker::myReadProcMem(void* process, unsigned long long base, void* buffer,
                                 unsigned long size, unsigned long* bytesRead) {
    if (g_reader.callback) {
        return g_reader.callback(process, base, buffer, size, bytesRead, g_reader.userData);
    }
    std::size_t count = 0;
    const bool done = stackHost().readProcessMemory(process, base, buffer, size, count);
    if (bytesRead) *bytesRead = static_cast<unsigned long>(count);
    return done;
}

void* zaStackWalker::getCurrentThread() {
    return stackHost().currentThread();
}

void* zaStackWalker::openProcess(unsigned long processId) {
    return za::os::openProcess(processId);
}

void zaStackWalker::closeProcess(void* process) {
    za::os::closeProcess(process);
}

void* zaStackWalker::openThread(unsigned long threadId) {
    return za::os::openThread(threadId);
}

void zaStackWalker::closeThread(void* thread) {
    za::os::closeThread(thread);
}

std::vector<unsigned long> zaStackWalker::getThreadIds(unsigned long processId) {
    return za::os::threadIds(processId);
}
