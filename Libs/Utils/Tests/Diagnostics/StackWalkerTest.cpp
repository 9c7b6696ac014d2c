#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Diagnostics/ScriptedStack.h"
#include "zaUtils/Diagnostics/zaStackWalker.h"
#include "zaUtils/Messages/zaMessage.h"
#include "zaUtils/Platform/zaUtils.h"

// The logic of the walk, with every answer of the system made up.

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr int kDllInitFailed = 1114;
constexpr int kNotEnoughMemory = 8;
const std::string kServer = "https://msdl.microsoft.com/download/symbols";

/// Outputs what the class itself keeps to itself, too.
class Talkative : public zaStackWalker {
public:
    explicit Talkative(int options = OptAll, const char* symPath = nullptr)
        : zaStackWalker(options, symPath, 77, ScriptedStack::handle(7)) {}

    std::vector<std::string> told;
    std::vector<CallstackEntryType> types;
    CallstackEntry last;

protected:
    void OnSymInit(const char* path, unsigned long options, const char* user) override {
        told.push_back(symInitText(path, options, user));
        zaStackWalker::OnSymInit(path, options, user);
    }
    void OnLoadModule(const char* image, const char* module, unsigned long long base,
                      unsigned long size, unsigned long result, const char* symType,
                      const char* pdbName, unsigned long long version) override {
        told.push_back(
            loadModuleText(image, module, base, size, result, symType, pdbName, version));
        zaStackWalker::OnLoadModule(image, module, base, size, result, symType, pdbName, version);
    }
    void OnCallstackEntry(CallstackEntryType type, CallstackEntry& entry) override {
        types.push_back(type);
        last = entry;
        zaStackWalker::OnCallstackEntry(type, entry);
    }
    void OnDbgHelpErr(const char* function, unsigned long error,
                      unsigned long long address) override {
        told.push_back(dbgHelpErrText(function, error, address));
        zaStackWalker::OnDbgHelpErr(function, error, address);
    }
};

constexpr auto kFirst = zaStackWalker::EntryFirst;
constexpr auto kNext = zaStackWalker::EntryNext;
constexpr auto kLast = zaStackWalker::EntryLast;
void* const kSelf = ScriptedStack::handle(1);
void* const kOther = ScriptedStack::handle(2);

TEST(StackWalker, LooksForTheLibraryInItsPlacesInOrder) {
    const std::string a = "P\\Debugging Tools for Windows (x64)\\dbghelp.dll";
    const std::string b = "P\\Debugging Tools for Windows\\dbghelp.dll";
    const std::string c = "P\\Debugging Tools for Windows 64-Bit\\dbghelp.dll";
    const std::string system = "dbghelp.dll";
    const struct {
        std::vector<std::string> files;
        std::set<std::string> loadable;
        std::vector<std::string> loads;
    } cases[] = {
        {{a, b, c}, {a, b, c, system}, {a}},
        {{b, c}, {a, b, c, system}, {b}},
        {{c}, {c, system}, {c}},
        {{a, b, c}, {c, system}, {a, b, c}},  // two cannot be loaded
        {{a}, {system}, {a, system}},
        {{}, {system}, {system}},
        {{}, {}, {system}},
        {{"C:\\prog\\app.exe.local", a}, {a, system}, {system}},
    };
    for (const auto& [files, loadable, loads] : cases) {
        SCOPED_TRACE(testing::PrintToString(loads) + testing::PrintToString(files));
        ScriptedStack script;
        script.files = files;
        script.loadable = loadable;
        script.variables["ProgramFiles"] = "P";
        Talkative walker;
        EXPECT_EQ(static_cast<bool>(walker.LoadModules()), loadable.count(loads.back()) > 0);
        std::vector<std::string> asked;
        for (const std::string& call : script.calls)
            if (call.compare(0, 5, "load ") == 0) asked.push_back(call.substr(5));
        EXPECT_EQ(asked, loads);
    }
}

TEST(StackWalker, NeedsElevenEntryPointsAndDoesWithoutTwo) {
    for (const char* name :
         {"SymCleanup", "SymFunctionTableAccess64", "SymGetModuleBase64", "SymGetModuleInfo64",
          "SymGetOptions", "SymGetSymFromAddr64", "SymInitialize", "SymLoadModule64",
          "SymSetOptions", "StackWalk64", "UnDecorateSymbolName"}) {
        SCOPED_TRACE(name);
        ScriptedStack script;
        script.missing = {name};
        Talkative walker;
        EXPECT_FALSE(walker.ShowCallstack(kSelf));
        EXPECT_EQ(script.lastError(), kDllInitFailed);
        EXPECT_THAT(walker.told, ElementsAre("ERROR: Error while initializing dbghelp.dll, "
                                             "GetLastError: 0 (Address: 0000000000000000)\n"));
        EXPECT_EQ(script.calls.back(), "unload");
        EXPECT_EQ(script.count("SymCleanup"), 0u);
    }
    ScriptedStack script;
    script.missing = {"SymGetLineFromAddr64", "SymGetSearchPath"};
    Talkative walker(zaStackWalker::OptSymbols);
    EXPECT_TRUE(walker.ShowCallstack(kSelf));
    EXPECT_EQ(walker.told.front(),
              "SymInit: Symbol-SearchPath: '', symOptions: 4626, UserName: 'user'\n");
    EXPECT_EQ(walker.getOutput(), "0000000000001010 (a): (filename not available): main[0]\n");
    EXPECT_EQ(walker.told.size(), 2u);  // and the module, but no error
}

TEST(StackWalker, GoesOnWhenTheLibrarySaysNo) {
    ScriptedStack script;
    script.missing = {"call SymInitialize",        "call SymGetSearchPath",
                      "call SymLoadModule64",      "call SymGetSymFromAddr64",
                      "call SymGetLineFromAddr64", "call SymGetModuleInfo64"};
    script.version = 0x0001000200030004;
    Talkative walker;
    EXPECT_TRUE(walker.ShowCallstack(kSelf));
    EXPECT_THAT(
        walker.told,
        ElementsAre("ERROR: SymInitialize, GetLastError: 50 (Address: 0000000000000000)\n",
                    "ERROR: SymGetSearchPath, GetLastError: 50 (Address: 0000000000000000)\n",
                    "SymInit: Symbol-SearchPath: '', symOptions: 4626, UserName: 'user'\n",
                    "C:\\p\\a.exe:a.exe (0000000000001000), size: 256 (result: 50), SymType: "
                    "'-unknown-', PDB: '', fileVersion: 1.2.3.4\n",
                    "ERROR: SymGetSymFromAddr64, GetLastError: 50 (Address: 0000000000001010)\n",
                    "ERROR: SymGetLineFromAddr64, GetLastError: 50 (Address: 0000000000001010)\n",
                    "ERROR: SymGetModuleInfo64, GetLastError: 50 (Address: 0000000000001010)\n"));
    EXPECT_EQ(walker.getOutput(),
              "0000000000001010 ((module-name not available)): (filename not available): "
              "(function-name not available)\n");
    EXPECT_EQ(script.lastError(), 0u);
}

TEST(StackWalker, BuildsTheSearchPathWhenTold) {
    ScriptedStack script;
    script.variables = {{"_NT_SYMBOL_PATH", "N"},
                        {"_NT_ALTERNATE_SYMBOL_PATH", "A"},
                        {"SYSTEMROOT", "W"},
                        {"SYSTEMDRIVE", "D:"}};
    const auto pathWith = [&](int options, const char* symPath) {
        script.calls.clear();
        Talkative(options, symPath).LoadModules();
        for (const std::string& call : script.calls)
            if (call.compare(0, 5, "path ") == 0) return call.substr(5);
        return std::string();
    };
    const std::string all = ".;C:\\work;C:\\prog;N;A;W;W\\system32;";
    EXPECT_EQ(pathWith(zaStackWalker::OptSymbols, nullptr), "(none)");
    EXPECT_EQ(pathWith(zaStackWalker::OptBuildSearchPath, nullptr), all);
    EXPECT_EQ(pathWith(zaStackWalker::OptSymbols, "U"), "U;" + all);
    EXPECT_EQ(pathWith(zaStackWalker::OptAll, nullptr),
              all + "SRV*D:\\websymbols*" + kServer + ";");
    script.variables.clear();
    EXPECT_THAT(pathWith(zaStackWalker::OptAll, nullptr),
                EndsWith(";SRV*c:\\websymbols*" + kServer + ";"));

    // An element that does not fit into 4095 bytes is left out, those after it may still fit.
    const std::string rest = ".;C:\\prog;";
    script.directory = std::string(1024, 'd');
    for (const auto& [size, fits] : {std::pair(4095 - 11, true), std::pair(4095 - 10, false)}) {
        const std::string user(static_cast<std::size_t>(size), 'u');
        std::string expected = user;
        expected += fits ? ";" + rest : ";.;";
        EXPECT_EQ(pathWith(zaStackWalker::OptBuildSearchPath, user.c_str()), expected);
    }
    EXPECT_EQ(pathWith(0, std::string(4096, 'u').c_str()), rest);
    script.directory = std::string(1023, 'd');
    EXPECT_EQ(pathWith(0, ""), ";.;" + script.directory + ";C:\\prog;");
}

TEST(StackWalker, ListsModulesByEitherInterface) {
    ScriptedStack script;
    script.missing = {"kernel32.dll"};
    EXPECT_TRUE(Talkative().LoadModules());
    EXPECT_EQ(script.count("tlhelp32.dll"), 1u);
    EXPECT_EQ(script.count("psapi.dll"), 0u);

    // Errors of single modules are told by the second one only, which comes when there are none.
    script.toolHelp.clear();
    script.processModules = {{"C:\\b.dll", "b.dll", 0x2000, 0x10}};
    script.missing = {"call SymLoadModule64"};
    const struct {
        std::uint32_t bytesNeeded;
        std::size_t modules;
    } cases[] = {{0, 0}, {7, 0}, {8, 1}, {8096, 1012}, {8104, 0}};
    for (const auto& [bytesNeeded, modules] : cases) {
        SCOPED_TRACE(bytesNeeded);
        script.bytesNeeded = bytesNeeded;
        Talkative walker(zaStackWalker::OptSymbols);
        EXPECT_EQ(static_cast<bool>(walker.LoadModules()), modules > 0);
        EXPECT_EQ(walker.told.size(), 1 + 2 * modules);  // a line and an error each
    }
    EXPECT_EQ(script.count("room 8096"), 5u);
    script.missing = {"kernel32.dll", "tlhelp32.dll", "psapi.dll"};
    Talkative walker;
    EXPECT_FALSE(walker.LoadModules());
    EXPECT_TRUE(walker.ShowCallstack(kSelf));  // the library is there all the same
}

TEST(StackWalker, LoadsOnce) {
    ScriptedStack script;
    {
        Talkative walker;
        EXPECT_TRUE(walker.LoadModules());
        EXPECT_TRUE(walker.LoadModules());
        EXPECT_TRUE(walker.ShowCallstack(kSelf));
        const Talkative copy(walker);  // loads for itself when it needs to
        EXPECT_EQ(copy.getOutput(), walker.getOutput());
        EXPECT_EQ(script.count("load dbghelp.dll"), 1u);
        EXPECT_EQ(script.count("unload"), 0u);
        walker = copy;
        EXPECT_EQ(script.count("unload"), 1u);
        EXPECT_TRUE(walker.ShowCallstack(kSelf));
        EXPECT_EQ(script.count("load dbghelp.dll"), 2u);
    }
    EXPECT_EQ(script.count("SymCleanup"), 2u);
    EXPECT_EQ(script.calls.back(), "unload");
}

TEST(StackWalker, ReportsMemoryThatRunsOut) {
    ScriptedStack script;
    Talkative walker;
    script.allocationsLeft = 0;  // for the search path
    EXPECT_FALSE(walker.LoadModules());
    EXPECT_EQ(script.lastError(), kNotEnoughMemory);
    EXPECT_EQ(script.count("load dbghelp.dll"), 0u);
    script.allocationsLeft = 2;  // for the path and the first of the module's names
    EXPECT_TRUE(walker.LoadModules());
    EXPECT_EQ(walker.told.back(),
              "C:\\p\\a.exe:a.exe (0000000000001000), size: 256 (result: 8), "
              "SymType: '-unknown-', PDB: ''\n");
    EXPECT_EQ(script.count("SymLoadModule64 C:\\p\\a.exe"), 0u);
    script.allocationsLeft = 0;  // for the symbol's name
    EXPECT_TRUE(walker.ShowCallstack(kOther));
    EXPECT_THAT(walker.types, IsEmpty());
    EXPECT_EQ(script.count("suspend"), script.count("resume"));
}

TEST(StackWalker, ResumesBeforeAnythingIsLookedUp) {
    ScriptedStack script;
    script.frames = {{0x1010, 0x1020, 0, 0}, {0x1020, 0, 0, 0}};
    Talkative walker;
    walker.LoadModules();
    script.calls.clear();
    EXPECT_TRUE(walker.ShowCallstack(kOther));
    const auto resumed = std::find(script.calls.begin(), script.calls.end(), "resume");
    ASSERT_NE(resumed, script.calls.end());
    EXPECT_EQ(script.calls.front(), "suspend");
    EXPECT_EQ(std::count(script.calls.begin(), resumed, "StackWalk64"), 2);
    EXPECT_EQ(std::count(resumed, script.calls.end(), "StackWalk64"), 0);
    EXPECT_EQ(std::count(script.calls.begin(), resumed, "call SymGetSymFromAddr64"), 0);
    // The first address is where the thread is, the second where it returns to.
    EXPECT_EQ(script.count("symbol 1010"), 1u);
    EXPECT_EQ(script.count("symbol 101F"), 1u);

    script.missing = {"GetThreadContext"};
    EXPECT_FALSE(walker.ShowCallstack(kOther));
    EXPECT_EQ(script.count("suspend"), 2u);
    EXPECT_EQ(script.count("resume"), 2u);
    script.missing = {};
    EXPECT_FALSE(walker.ShowCallstack(ScriptedStack::handle(3)));
    EXPECT_EQ(script.count("resume"), 2u);  // nothing was suspended
    const int registers = 0;
    script.frames = {{0x1010, 0x1020, 0, 0}};
    EXPECT_TRUE(walker.ShowCallstack(kOther, reinterpret_cast<const CONTEXT*>(&registers)));
    EXPECT_EQ(script.count("suspend"), 3u);
}

TEST(StackWalker, TellsFirstNextAndLast) {
    const struct {
        std::vector<za::os::StackFrame> frames;
        int endless;
        std::vector<zaStackWalker::CallstackEntryType> types;
        std::string error;
    } cases[] = {
        {{{0x1010, 0, 0, 0}}, 0, {kFirst, kLast}, ""},
        {{{0x1010, 0x1020, 0, 0}, {0x1020, 0x1030, 0, 0}, {0x1030, 0, 0, 0}},
         0,
         {kFirst, kNext, kNext, kLast},
         ""},
        {{{0x1010, 0x1020, 0, 0}}, 0, {kFirst, kLast}, "ERROR: StackWalk64, "},
        {{}, 0, {}, "ERROR: StackWalk64, "},
        {{{0, 0x1020, 0, 0}, {0x1020, 0, 0, 0}}, 0, {kFirst, kNext, kLast}, ""},  // null called
    };
    for (const auto& [frames, endless, types, error] : cases) {
        SCOPED_TRACE(frames.size());
        ScriptedStack script;
        Talkative walker;
        walker.LoadModules();
        walker.told.clear();
        for (void* thread : {kSelf, kOther}) {
            script.frames = frames;
            Talkative fresh;
            EXPECT_TRUE(fresh.ShowCallstack(thread));
            EXPECT_EQ(fresh.types, types);
            if (error.empty()) continue;
            EXPECT_THAT(fresh.told.back(), StartsWith(error));
        }
    }
}

TEST(StackWalker, StopsAnEndlessStack) {
    for (const auto& [repetitions, stops] : {std::pair(1000, false), std::pair(1001, true)}) {
        for (void* thread : {kSelf, kOther}) {
            ScriptedStack script;
            script.frames = {{0x1010, 0x1020, 0, 0}, {0x1020, 0x1020, 0, 0}};
            script.endlessFrames = repetitions - 1;
            Talkative walker;
            EXPECT_TRUE(walker.ShowCallstack(thread));
            // The repetition that is one too many is not told as a frame.
            EXPECT_EQ(walker.types.size(), 1u + 1000u + 1u);
            EXPECT_EQ(walker.types.back(), kLast);
            EXPECT_THAT(walker.told.back(),
                        HasSubstr(stops ? "ERROR: StackWalk64-Endless-Callstack!, GetLastError: 0 "
                                          "(Address: 0000000000001020)\n"
                                        : "ERROR: StackWalk64, "));
        }
    }
}

TEST(StackWalker, FormatsFramesByWhatIsKnown) {
    ScriptedStack script;
    script.hasVersion = true;
    Talkative walker;
    EXPECT_TRUE(walker.ShowCallstack(kSelf));
    EXPECT_EQ(walker.getOutput(),
              "OS-Version: 10.0.19045 (SP1) 0x100-0x1\nC:\\src\\a.cpp (42): main[0]\n");
    EXPECT_EQ(std::string("PDB"), walker.last.symTypeString);
    EXPECT_EQ(6, walker.last.offsetFromSymbol);  // one byte was taken off for the search

    const struct {
        const char* symbol;
        const char* undName;
        const char* undFullName;
    } cases[] = {
        {"_ZNK2ns1KclEi", "ns::K::operator()", "ns::K::operator()(int) const"},
        {"_ZN12_GLOBAL__N_11fESt8functionIFvvEE", "(anonymous namespace)::f",
         "(anonymous namespace)::f(std::function<void ()>)"},
        {"_Zbroken", "_Zbroken[1000]", "_Zbroken[0]"},
        {"meth", "meth[1000]", "meth[0]"},
    };
    for (const auto& [symbol, undName, undFullName] : cases) {
        SCOPED_TRACE(symbol);
        script.symbol = symbol;
        Talkative fresh;
        EXPECT_TRUE(fresh.ShowCallstack(kSelf));
        EXPECT_STREQ(fresh.last.name, symbol);
        EXPECT_STREQ(fresh.last.undName, undName);
        EXPECT_STREQ(fresh.last.undFullName, undFullName);
    }

    // The second walk's text replaces the first one's; a long line is cut, its end with it.
    script.hasVersion = false;
    script.symbol = std::string(2000, 'x');
    Talkative longName;
    longName.ShowCallstack(kSelf);
    const std::string first = longName.getOutput();
    EXPECT_EQ(first.size(), 1023u);
    EXPECT_THAT(first, EndsWith("xx"));
    longName.ShowCallstack(kSelf);  // no frames are left in the script
    EXPECT_EQ(longName.getOutput(), "");
}

int countReads(void*, unsigned long long, void*, unsigned long, unsigned long*, void* left) {
    return --*static_cast<int*>(left) >= 0;
}

TEST(StackWalker, ReadsThroughTheCallersReader) {
    ScriptedStack script;
    script.frames = {{0x1010, 0x1020, 0, 0}, {0x1020, 0x1030, 0, 0}, {0x1030, 0, 0, 0}};
    for (int reads = 0; reads < 3; ++reads) {
        SCOPED_TRACE(reads);
        int left = reads;
        Talkative walker;
        EXPECT_TRUE(walker.ShowCallstack(kOther, nullptr, countReads, &left));
        EXPECT_EQ(walker.types.size(), reads == 0 ? 0u : static_cast<std::size_t>(reads) + 1u);
        EXPECT_THAT(walker.told.back(), StartsWith("ERROR: StackWalk64, "));
    }
    EXPECT_EQ(script.count("ReadProcessMemory"), 0u);
    Talkative().ShowCallstack(kOther);
    EXPECT_EQ(script.count("ReadProcessMemory"), 3u);
}

TEST(StackWalker, HasPrintersThatDeliberatelyDoNothing) {
    ScriptedStack script;
    zaUtils::printBT();
    zaMessage::printBT();
    EXPECT_THAT(script.calls, IsEmpty());
    testing::internal::CaptureStderr();
    zaUtils::printBTalways();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "zaUtils::printBT:\nC:\\src\\a.cpp (42): main[0]\n\n");
}

}  // namespace
