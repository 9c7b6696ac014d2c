#include "Diagnostics/Registers.h"

#include <windows.h>

#include <psapi.h>

void withRegisters(const std::function<void(const CONTEXT*)>& use) {
    CONTEXT registers;
    RtlCaptureContext(&registers);
    use(&registers);
}

void withWildRegisters(unsigned long long instruction, unsigned long long stack,
                       const std::function<void(const CONTEXT*)>& use) {
    CONTEXT registers;
    RtlCaptureContext(&registers);
    if (instruction != 0) registers.Rip = instruction;
    registers.Rsp = stack;
    use(&registers);
}

void* handleOfThisThread() {
    return zaStackWalker::openThread(GetCurrentThreadId());
}

bool readOwnMemory(unsigned long long base, void* buffer, unsigned long size,
                   unsigned long* bytesRead) {
    SIZE_T count = 0;
    const auto* from = reinterpret_cast<const void*>(base);
    const bool done = ReadProcessMemory(GetCurrentProcess(), from, buffer, size, &count);
    *bytesRead = static_cast<unsigned long>(count);
    return done;
}

std::size_t memoryInUse() {
    PROCESS_MEMORY_COUNTERS_EX counters{};
    counters.cb = sizeof counters;
    K32GetProcessMemoryInfo(GetCurrentProcess(),
                            reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&counters), counters.cb);
    return counters.PrivateUsage;
}
