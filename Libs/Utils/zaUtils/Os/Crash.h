#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// What a report about a crash asks of the host. After the crash nothing here allocates, takes a
// lock or relies on the stack of the thread that crashed.

namespace za::os {

constexpr std::size_t kMostCrashFrames = 256;
constexpr std::size_t kMostCrashModules = 512;
constexpr std::size_t kMostCrashThreads = 1024;

/// Program counters, innermost first.
struct CrashFrames {
    std::uint64_t counters[kMostCrashFrames];
    std::size_t count = 0;
    /// Whether the first counter is where the thread is, and not where it returns to.
    bool firstIsExact = true;
};

/// What happened.
struct CrashEvent {
    char reason[512];         ///< "null pointer access (SIGSEGV) at address 0"
    char exceptionType[256];  ///< as in the program's type information; empty: no exception
    char exceptionText[512];
    char lastError[160];  ///< of the thread, "2 (No such file or directory)"
    unsigned long thread;
    unsigned long process;
    CrashFrames frames;
};

struct CrashModule {
    std::uint64_t base;
    std::uint64_t end;
    char path[512];    ///< UTF-8
    char version[48];  ///< of the file, or what identifies its build; may be empty
};

struct MemoryFacts {
    std::uint64_t total;      ///< of the machine, in bytes
    std::uint64_t available;  ///< of it
    std::uint64_t process;    ///< resident, of this process
};

/// Writes the report. Called once in a process, and not necessarily by the thread that crashed.
using CrashWriter = void (*)(const CrashEvent& event);

/// From now on a crash is reported: a fatal signal, an unhandled exception, std::terminate. After
/// the report everything goes on as if nothing had been installed. To be called once.
/// @return false when the system refuses
bool installCrashHandlers(CrashWriter writer);

/// Lets the calling thread report that its stack has overflowed; it holds until the thread ends.
bool prepareThreadForCrashes();

/// Chooses the existing folder for the report; false when it cannot be written.
bool prepareReportFolder(const std::string& folder);

// For the writer.

/// Runs a part of the report; false when it crashed itself, and was left.
bool runGuarded(void (*part)(void*), void* argument);

/// Creates a file in the chosen folder. When that fails, the report goes to standard error.
std::intptr_t createReport(const char* asciiName);
void writeReport(std::intptr_t report, const char* text, std::size_t size);
void closeReport(std::intptr_t report);

/// Lists the threads of this process without the given one.
std::size_t otherThreads(unsigned long except, unsigned long (&threads)[kMostCrashThreads]);
/// Finds the frames of another thread, and its name, which may be empty.
bool framesOfThread(unsigned long thread, CrashFrames& frames, char (&name)[64]);

std::size_t loadedModules(CrashModule (&modules)[kMostCrashModules]);
/// The bytes of the module's file, which stay mapped; null when it cannot be read.
const void* mapModule(const CrashModule& module, std::size_t& size);

MemoryFacts memoryFacts();

}  // namespace za::os
