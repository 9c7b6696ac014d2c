#pragma once

#include <memory>
#include <string>
#include <vector>

#include "zaUtils/Api.h"

/// The registers of a thread as the system records them: Windows' CONTEXT; on Linux a pointer to it
/// stands for one to a `ucontext_t`.
struct _CONTEXT;                  // NOLINT(bugprone-reserved-identifier): the system's name
typedef struct _CONTEXT CONTEXT;  // NOLINT(bugprone-reserved-identifier)

/// Turns the stack of a thread into text, one line per frame with file, line and function.
///
///     zaStackWalker walker;
///     if (walker.ShowCallstack(zaStackWalker::getCurrentThread()))
///         puts(walker.getOutput().c_str());
///
/// Everything that is found goes through the notifications (On...), which a derived class may
/// override; by default the frames are collected as text. The debug-help library that knows the
/// symbols is loaded when it is first needed and kept until the walker is destroyed.
///
/// Handles of threads and processes are the system's; on Linux, which has none, they are the ids.
/// Texts are UTF-8. Failures are the result false, the thread's last system error (errno on Linux):
/// 1114 when the debug-help library cannot be used, 8 when there is no memory; and OnDbgHelpErr
/// with the call that failed.
///
/// Thread safety: a walker is used by one thread at a time. Walks of all walkers take turns.
class ZAUTILS_API zaStackWalker {
public:
    enum Option : int {
        OptSymbols = 0x01,          ///< function names
        OptLines = 0x02,            ///< file and line
        OptModuleInfo = 0x04,       ///< module name and type of its symbols
        OptFileVersion = 0x08,      ///< version of each loaded module
        OptBuildSearchPath = 0x10,  ///< look for symbols in the folders of program and environment
        OptSymbolServer = 0x20,     ///< and on the system vendor's server
        OptAll = 0x3F
    };

    enum CallstackEntryType : int {
        EntryFirst = 0,  ///< the first frame
        EntryNext = 1,   ///< each later one
        EntryLast = 2    ///< sent once after the last frame, whose entry it carries again
    };

    static constexpr int kTextSize = 1024;

    /// One frame.
    struct CallstackEntry {
        unsigned long long offset = 0;         ///< program counter
        char name[kTextSize] = "";             ///< as in the symbol table
        char undName[kTextSize] = "";          ///< without parameters
        char undFullName[kTextSize] = "";      ///< in its complete form
        long long offsetFromSymbol = 0;        ///< in bytes
        unsigned int lineNumber = 0;           ///< counted from 1
        char lineFileName[kTextSize] = "";     ///< empty when unknown
        char moduleName[kTextSize] = "";       ///< empty when unknown
        unsigned long long baseOfImage = 0;    ///< where the module begins
        const char* symTypeString = "";        ///< kind of symbols: "PDB", "-exported-"...
        char loadedImageName[kTextSize] = "";  ///< the module's file
    };

    /// Reads memory in place of the system: copies `size` bytes from `base` to `buffer`, tells how
    /// many these were, and returns whether that worked. Runs while the walked thread is suspended:
    /// it takes no lock that this thread may hold.
    using ReadMemoryCallback = int (*)(void* process, unsigned long long base, void* buffer,
                                       unsigned long size, unsigned long* bytesRead,
                                       void* userData);

    /// Walks threads of this process, with all options.
    zaStackWalker();
    /// Walks threads of another process, with all options. The handle stays the caller's.
    zaStackWalker(unsigned long processId, void* process);
    /// A `symPath`, which may be null, comes first in the search path and implies
    /// OptBuildSearchPath.
    zaStackWalker(int options, const char* symPath, unsigned long processId, void* process);
    /// A copy has the same settings and output, and loads a library of its own.
    zaStackWalker(const zaStackWalker& other);
    zaStackWalker& operator=(const zaStackWalker& other);
    virtual ~zaStackWalker();

    /// Loads the debug-help library and tells it the modules of the process. True on success, and
    /// when that was done before. The first ShowCallstack does it.
    int LoadModules();

    /// Walks the stack of a thread and reports it.
    ///
    /// Another thread is suspended while its frames are collected, and goes on before anything is
    /// looked up or reported: it may have been stopped anywhere, also with the memory allocator's
    /// lock held. On Linux it is interrupted by a real-time signal that nobody uses, which may end
    /// a system call that it waits in; a thread that blocks this signal cannot be walked.
    ///
    /// @param thread      getCurrentThread(), or the thread's handle
    /// @param context     walk from these registers, without suspending anything; may be null
    /// @param readMemory  reads the memory of the process; null: the system does. On Linux another
    ///                    thread of this process tells its frames itself, and nothing is read.
    /// @return false when there is no library or the thread's registers cannot be read; true also
    ///         when the walk ended early, which OnDbgHelpErr tells
    int ShowCallstack(void* thread, const CONTEXT* context = nullptr,
                      ReadMemoryCallback readMemory = nullptr, void* userData = nullptr);

    /// What OnOutput collected since the last ShowCallstack began.
    const std::string& getOutput() const;

    /// The memory reader of the walk that runs: the one given to ShowCallstack, or the system's.
    static int myReadProcMem(void* process, unsigned long long base, void* buffer,
                             unsigned long size, unsigned long* bytesRead);

    /// @name Processes and threads
    /// The handles that a walk needs; null when there is none or it is not allowed. Give them back
    /// with the calls that close.
    /// @{
    static void* getCurrentThread();
    static void* openProcess(unsigned long processId);
    static void closeProcess(void* process);
    static void* openThread(unsigned long threadId);
    static void closeThread(void* thread);
    /// The threads that a process has now, empty when it does not exist.
    static std::vector<unsigned long> getThreadIds(unsigned long processId);
    /// @}

protected:
    // In the order of their slots. Each text has at most 1023 bytes.

    /// The library is ready. Outputs the version of the system if that can be read; what it was
    /// called with (see symInitText) is deliberately not output.
    virtual void OnSymInit(const char* searchPath, unsigned long symOptions, const char* userName);
    /// A module was registered; `result` is 0 or the error. Deliberately outputs nothing; see
    /// loadModuleText.
    virtual void OnLoadModule(const char* image, const char* module, unsigned long long base,
                              unsigned long size, unsigned long result, const char* symType,
                              const char* pdbName, unsigned long long fileVersion);
    /// Outputs a frame as one line; nothing for EntryLast.
    virtual void OnCallstackEntry(CallstackEntryType type, CallstackEntry& entry);
    /// A call failed. Deliberately outputs nothing; see dbgHelpErrText.
    virtual void OnDbgHelpErr(const char* function, unsigned long error,
                              unsigned long long address);
    /// Appends the text to the output.
    virtual void OnOutput(const char* text);

    /// @name Lines for derived classes
    /// What the notification of the same arguments would output if it did.
    /// @{
    static std::string symInitText(const char* searchPath, unsigned long symOptions,
                                   const char* userName);
    static std::string loadModuleText(const char* image, const char* module,
                                      unsigned long long base, unsigned long size,
                                      unsigned long result, const char* symType,
                                      const char* pdbName, unsigned long long fileVersion);
    static std::string dbgHelpErrText(const char* function, unsigned long error,
                                      unsigned long long address);
    /// @}

private:
    struct Internal;
    struct Walk;

    bool initialise(const char* searchPath);
    bool loadLibrary();
    void buildSearchPath(char* path) const;
    bool registerModules();
    bool registerFromToolHelp();
    bool registerFromProcessStatus();
    unsigned long registerModule(const char* image, const char* module, unsigned long long base,
                                 unsigned long size);
    bool collectFrames(Walk& walk);
    void reportFrames(Walk& walk);
    void lookUp(CallstackEntry& entry, unsigned long long address, Walk& walk);

    std::unique_ptr<Internal> _internal;
    void* _process;
    unsigned long _processId;
    bool _modulesLoaded = false;
    std::unique_ptr<std::string> _symPath;  ///< the user's, may be null
    int _options;
    int _maxRecursionCount = 1000;
    std::string _output;
};
