#include "zaUtils/Os/Cpu.h"

// Depends on the processor, not on the operating system.
#if defined(__x86_64__) || defined(__i386__)

#include <cpuid.h>

za::os::CpuRegisters za::os::readCpuLeaf(std::uint32_t leaf, std::uint32_t subLeaf) {
    CpuRegisters registers;
    __cpuid_count(leaf, subLeaf, registers.eax, registers.ebx, registers.ecx, registers.edx);
    return registers;
}

#else

za::os::CpuRegisters za::os::readCpuLeaf(std::uint32_t, std::uint32_t) {
    return {};
}

#endif
