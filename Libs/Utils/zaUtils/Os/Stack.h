#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace za::os {

/// The memory reader of a walk, in the shape that the debug-help library calls.
using ReadMemory = int (*)(void* process, unsigned long long base, void* buffer, unsigned long size,
                           unsigned long* bytesRead);

constexpr std::size_t kStackTextSize = 1024;

/// What one step of a walk finds; the step after it starts from there.
struct StackFrame {
    std::uint64_t programCounter = 0;
    std::uint64_t returnAddress = 0;
    std::uint64_t frameAddress = 0;
    std::uint64_t stackAddress = 0;
};

struct SymbolRecord {
    std::uint64_t displacement;
    char name[kStackTextSize];
};

struct LineRecord {
    std::uint32_t number = 0;
    char file[kStackTextSize] = "";
};

struct ModuleRecord {
    int symbolType = -1;
    std::uint64_t base = 0;
    char name[kStackTextSize] = "";
    char loadedImage[kStackTextSize] = "";
    char symbolFile[kStackTextSize] = "";
};

/// A module as the lists of modules name it.
struct ModuleEntry {
    std::string image;
    std::string name;
    std::uint64_t base = 0;
    std::uint32_t size = 0;
};

struct SystemVersion {
    int major = 0;
    int minor = 0;
    int build = 0;
    std::string servicePack;
    int suiteMask = 0;
    int productType = 0;
};

/// The registers of a thread, and what the host keeps beside them for a walk.
class StackContext {
public:
    virtual ~StackContext() = default;
    virtual std::uint64_t instructionPointer() const = 0;
    virtual std::uint64_t stackPointer() const = 0;
};

/// A loaded debug-help library; the destructor unloads it. Its calls go to entry points that were
/// resolved before, by the names that the calls have here. Texts are UTF-8.
class DebugHelp {
public:
    virtual ~DebugHelp() = default;

    /// Finds an entry point; false when the library has none of that name.
    virtual bool resolve(const char* entryPoint) = 0;

    virtual bool symInitialize(void* process, unsigned long processId, const char* searchPath) = 0;
    virtual void symCleanup(void* process) = 0;
    virtual std::uint32_t symGetOptions() = 0;
    virtual std::uint32_t symSetOptions(std::uint32_t options) = 0;
    virtual bool symGetSearchPath(void* process, char* path, std::size_t size) = 0;
    /// The base of the module, 0 on failure.
    virtual std::uint64_t symLoadModule64(void* process, const char* image, const char* module,
                                          std::uint64_t base, std::uint32_t size) = 0;
    virtual bool symGetSymFromAddr64(void* process, std::uint64_t address,
                                     SymbolRecord& symbol) = 0;
    virtual bool symGetLineFromAddr64(void* process, std::uint64_t address, LineRecord& line) = 0;
    virtual bool symGetModuleInfo64(void* process, std::uint64_t address, ModuleRecord& module) = 0;
    virtual void unDecorateSymbolName(const char* name, char* text, std::size_t size,
                                      std::uint32_t flags) = 0;
    /// The walk of a 64-bit thread. Called while the thread is suspended: a back end takes no lock
    /// of this process and allocates nothing, unless the thread is another process's or runs.
    virtual bool stackWalk64(void* process, void* thread, StackFrame& frame, StackContext& context,
                             ReadMemory reader) = 0;
};

/// The modules of a process at one moment.
class ModuleSnapshot {
public:
    virtual ~ModuleSnapshot() = default;
    virtual bool first(ModuleEntry& module) = 0;
    virtual bool next(ModuleEntry& module) = 0;
};

/// The process-status library.
class ProcessStatus {
public:
    virtual ~ProcessStatus() = default;
    virtual bool enumProcessModules(void* process, void** modules, std::uint32_t bytes,
                                    std::uint32_t& bytesNeeded) = 0;
    virtual void getModuleInformation(void* process, void* module, std::uint64_t& base,
                                      std::uint32_t& size) = 0;
    virtual void getModuleFileName(void* process, void* module, char* text, std::size_t size) = 0;
    virtual void getModuleBaseName(void* process, void* module, char* text, std::size_t size) = 0;
};

/// Everything that a stack walk asks of the host.
class StackHost {
public:
    virtual std::uint32_t lastError() = 0;
    virtual void setLastError(std::uint32_t code) = 0;

    /// Memory whose exhaustion a walk reports; null when there is none.
    virtual void* allocate(std::size_t size);
    virtual void release(void* memory);

    virtual bool fileExists(const std::string& path);
    virtual bool environment(const char* name, std::string& value);
    virtual std::string currentDirectory();
    virtual std::string programPath();
    virtual std::string userName() = 0;
    virtual bool systemVersion(SystemVersion& version) = 0;
    /// The fixed version in an image's resources, most significant part first; 0 when it has none.
    virtual std::uint64_t fileVersion(const std::string& image) = 0;

    /// Loads the debug-help library; null on failure.
    virtual std::unique_ptr<DebugHelp> loadDebugHelp(const std::string& path);
    /// Takes a snapshot of a process's modules with the tool-help calls of the named library; null
    /// when a call is missing there. A snapshot that cannot be taken holds no modules.
    virtual std::unique_ptr<ModuleSnapshot> toolHelpModules(const char* library,
                                                            unsigned long processId) = 0;
    /// The process-status library; null when it or one of the calls is missing.
    virtual std::unique_ptr<ProcessStatus> processStatus() = 0;

    virtual void* currentProcess() = 0;
    virtual unsigned long currentProcessId() = 0;
    virtual void* currentThread() = 0;
    virtual bool readProcessMemory(void* process, std::uint64_t base, void* buffer,
                                   std::size_t size, std::size_t& bytesRead) = 0;

    /// An empty context for a thread of a process. With `hasReader` all memory of the thread is
    /// read through the reader of the walk.
    virtual std::unique_ptr<StackContext> newContext(unsigned long processId, bool hasReader) = 0;
    virtual bool isCallingThread(void* thread) = 0;
    /// The registers as they will be when this call has returned. They serve for a walk until the
    /// caller returns itself.
    virtual void captureContext(StackContext& context) = 0;
    /// Takes over the host's own record of registers.
    virtual void copyContext(StackContext& context, const void* registers) = 0;
    virtual bool suspendThread(void* thread) = 0;
    virtual bool readContext(void* thread, StackContext& context) = 0;
    virtual void resumeThread(void* thread) = 0;

protected:
    ~StackHost() = default;
};

/// The host in place: the real one, unless a test put its own there.
StackHost& stackHost();

/// Puts another host in place and returns the one before.
StackHost& exchangeStackHost(StackHost& host);

/// The back end's own.
StackHost& nativeStackHost();

// Handles of processes and threads, as a walk takes them; null when there is none or it is not
// allowed.
void* openProcess(unsigned long processId);
void closeProcess(void* process);
void* openThread(unsigned long threadId);
void closeThread(void* thread);
std::vector<unsigned long> threadIds(unsigned long processId);

}  // namespace za::os
