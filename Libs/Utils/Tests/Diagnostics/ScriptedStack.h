#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "zaUtils/Os/Stack.h"

/// A host whose every answer is written down beforehand, and which writes down what it was asked.
/// In place while it lives. The calling thread's handle is 1, another thread's 2, one that has
/// ended 3; processes have the handle 7.
class ScriptedStack : public za::os::StackHost {
public:
    ScriptedStack() : _before(za::os::exchangeStackHost(*this)) {}
    ~ScriptedStack() { za::os::exchangeStackHost(_before); }
    ScriptedStack(const ScriptedStack&) = delete;
    ScriptedStack& operator=(const ScriptedStack&) = delete;

    static void* handle(std::uintptr_t id) {
        return reinterpret_cast<void*>(id);  // NOLINT(performance-no-int-to-ptr)
    }

    // --- answers ---

    std::vector<std::string> files;  ///< that exist
    std::set<std::string> loadable{"dbghelp.dll"};
    std::set<std::string> missing;  ///< calls that fail, entry points that are not there
    std::map<std::string, std::string> variables;
    std::vector<za::os::ModuleEntry> toolHelp{{"C:\\p\\a.exe", "a.exe", 0x1000, 0x100}};
    std::vector<za::os::ModuleEntry> processModules;
    std::uint32_t bytesNeeded = 0;  ///< by the list of the process's modules
    std::vector<za::os::StackFrame> frames{{0x1010, 0, 0, 0}};
    int endlessFrames = 0;  ///< repetitions of the last frame after the others
    std::string symbol = "main";
    std::uint64_t version = 0;
    std::string directory = "C:\\work";
    int allocationsLeft = 1000000;
    bool hasVersion = false;

    // --- questions ---

    std::vector<std::string> calls;
    std::size_t count(const std::string& call) const {
        return static_cast<std::size_t>(std::count(calls.begin(), calls.end(), call));
    }
    bool fails(const std::string& call) {
        calls.push_back(call);
        if (missing.count(call) == 0) return false;
        _error = 50;
        return true;
    }

    std::uint32_t lastError() override { return _error; }
    void setLastError(std::uint32_t code) override { _error = code; }
    void* allocate(std::size_t size) override {
        if (allocationsLeft-- <= 0) return nullptr;
        return std::malloc(size);
    }
    void release(void* memory) override { std::free(memory); }
    bool fileExists(const std::string& path) override {
        return std::find(files.begin(), files.end(), path) != files.end();
    }
    bool environment(const char* name, std::string& value) override {
        const auto found = variables.find(name);
        if (found == variables.end()) return false;
        value = found->second;
        return true;
    }
    std::string currentDirectory() override { return directory; }
    std::string programPath() override { return "C:\\prog\\app.exe"; }
    std::string userName() override { return "user"; }
    bool systemVersion(za::os::SystemVersion& result) override {
        result = {10, 0, 19045, "SP1", 0x100, 1};
        return hasVersion;
    }
    std::uint64_t fileVersion(const std::string&) override { return version; }
    std::unique_ptr<za::os::DebugHelp> loadDebugHelp(const std::string& path) override;
    std::unique_ptr<za::os::ModuleSnapshot> toolHelpModules(const char* library,
                                                            unsigned long) override;
    std::unique_ptr<za::os::ProcessStatus> processStatus() override;
    void* currentProcess() override { return handle(7); }
    unsigned long currentProcessId() override { return 77; }
    void* currentThread() override { return handle(1); }
    bool readProcessMemory(void*, std::uint64_t, void*, std::size_t size,
                           std::size_t& bytesRead) override {
        bytesRead = size;
        return !fails("ReadProcessMemory");
    }
    std::unique_ptr<za::os::StackContext> newContext(unsigned long, bool) override {
        struct Context : za::os::StackContext {
            std::uint64_t instructionPointer() const override { return 0x10; }
            std::uint64_t stackPointer() const override { return 0x20; }
        };
        return std::make_unique<Context>();
    }
    bool isCallingThread(void* thread) override { return thread == handle(1); }
    void captureContext(za::os::StackContext&) override { calls.emplace_back("capture"); }
    void copyContext(za::os::StackContext&, const void*) override { calls.emplace_back("copy"); }
    bool suspendThread(void* thread) override { return !fails("suspend") && thread != handle(3); }
    bool readContext(void*, za::os::StackContext&) override { return !fails("GetThreadContext"); }
    void resumeThread(void*) override { calls.emplace_back("resume"); }

private:
    za::os::StackHost& _before;
    std::uint32_t _error = 0;
};

class ScriptedDebugHelp : public za::os::DebugHelp {
public:
    explicit ScriptedDebugHelp(ScriptedStack& script) : _s(script) {}
    ~ScriptedDebugHelp() override { _s.calls.emplace_back("unload"); }

    bool resolve(const char* entryPoint) override { return _s.missing.count(entryPoint) == 0; }
    bool symInitialize(void*, unsigned long, const char* searchPath) override {
        path = searchPath ? searchPath : "(none)";
        _s.calls.push_back("path " + path);
        return !_s.fails("call SymInitialize");
    }
    void symCleanup(void*) override { _s.calls.emplace_back("SymCleanup"); }
    std::uint32_t symGetOptions() override { return 0x2; }
    std::uint32_t symSetOptions(std::uint32_t options) override { return options + 0x1000; }
    bool symGetSearchPath(void*, char* text, std::size_t size) override {
        if (_s.fails("call SymGetSearchPath")) return false;
        std::snprintf(text, size, "in use");
        return true;
    }
    std::uint64_t symLoadModule64(void*, const char* image, const char*, std::uint64_t base,
                                  std::uint32_t) override {
        _s.calls.push_back(std::string("SymLoadModule64 ") + image);
        return _s.fails("call SymLoadModule64") ? 0 : base;
    }
    bool symGetSymFromAddr64(void*, std::uint64_t address, za::os::SymbolRecord& symbol) override {
        char text[32];
        std::snprintf(text, sizeof text, "symbol %llX", static_cast<unsigned long long>(address));
        _s.calls.emplace_back(text);
        if (_s.fails("call SymGetSymFromAddr64")) return false;
        std::snprintf(symbol.name, sizeof symbol.name, "%s", _s.symbol.c_str());
        symbol.displacement = 5;
        return true;
    }
    bool symGetLineFromAddr64(void*, std::uint64_t, za::os::LineRecord& line) override {
        if (_s.fails("call SymGetLineFromAddr64")) return false;
        std::snprintf(line.file, sizeof line.file, "C:\\src\\a.cpp");
        line.number = 42;
        return true;
    }
    bool symGetModuleInfo64(void*, std::uint64_t, za::os::ModuleRecord& module) override {
        if (_s.fails("call SymGetModuleInfo64")) return false;
        module.symbolType = 3;
        module.base = 0x1000;
        std::snprintf(module.name, sizeof module.name, "a");
        std::snprintf(module.symbolFile, sizeof module.symbolFile, "a.pdb");
        return true;
    }
    void unDecorateSymbolName(const char* name, char* text, std::size_t size,
                              std::uint32_t flags) override {
        std::snprintf(text, size, "%s[%X]", name, flags);
    }
    bool stackWalk64(void* process, void*, za::os::StackFrame& frame, za::os::StackContext&,
                     za::os::ReadMemory reader) override {
        _s.calls.emplace_back("StackWalk64");
        char byte = 0;
        unsigned long bytesRead = 0;
        if (!reader(process, 0x20, &byte, 1, &bytesRead)) return false;
        if (_next >= _s.frames.size()) {
            if (_s.endlessFrames-- <= 0) return false;
            frame = _s.frames.back();
            return true;
        }
        frame = _s.frames[_next++];
        return true;
    }

    std::string path;

private:
    ScriptedStack& _s;
    std::size_t _next = 0;
};

inline std::unique_ptr<za::os::DebugHelp> ScriptedStack::loadDebugHelp(const std::string& path) {
    calls.push_back("load " + path);
    if (loadable.count(path) == 0) return nullptr;
    return std::make_unique<ScriptedDebugHelp>(*this);
}

inline std::unique_ptr<za::os::ModuleSnapshot> ScriptedStack::toolHelpModules(const char* library,
                                                                              unsigned long) {
    struct Snapshot : za::os::ModuleSnapshot {
        explicit Snapshot(std::vector<za::os::ModuleEntry> entries) : modules(std::move(entries)) {}
        bool first(za::os::ModuleEntry& module) override { return next(module); }
        bool next(za::os::ModuleEntry& module) override {
            if (at == modules.size()) return false;
            module = modules[at++];
            return true;
        }
        std::vector<za::os::ModuleEntry> modules;
        std::size_t at = 0;
    };
    if (fails(library)) return nullptr;
    return std::make_unique<Snapshot>(toolHelp);
}

inline std::unique_ptr<za::os::ProcessStatus> ScriptedStack::processStatus() {
    struct Status : za::os::ProcessStatus {
        explicit Status(ScriptedStack& script) : s(script) {}
        bool enumProcessModules(void*, void** modules, std::uint32_t bytes,
                                std::uint32_t& needed) override {
            s.calls.push_back("room " + std::to_string(bytes));
            for (std::size_t i = 0; i < std::min<std::size_t>(bytes, s.bytesNeeded) / 8; ++i)
                modules[i] = handle(i);
            needed = s.bytesNeeded;
            return !s.fails("EnumProcessModules");
        }
        void getModuleInformation(void*, void* module, std::uint64_t& base,
                                  std::uint32_t& size) override {
            base = at(module).base;
            size = at(module).size;
        }
        void getModuleFileName(void*, void* module, char* text, std::size_t size) override {
            std::snprintf(text, size, "%s", at(module).image.c_str());
        }
        void getModuleBaseName(void*, void* module, char* text, std::size_t size) override {
            std::snprintf(text, size, "%s", at(module).name.c_str());
        }
        const za::os::ModuleEntry& at(void* module) const {
            return s
                .processModules[reinterpret_cast<std::uintptr_t>(module) % s.processModules.size()];
        }
        ScriptedStack& s;
    };
    if (fails("psapi.dll")) return nullptr;
    return std::make_unique<Status>(*this);
}
