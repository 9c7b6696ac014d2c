#pragma once

#include <cstdint>

namespace za::os {

struct CpuRegisters {
    std::uint32_t eax = 0;
    std::uint32_t ebx = 0;
    std::uint32_t ecx = 0;
    std::uint32_t edx = 0;
};

/// What the processor's identification instruction (CPUID) answers for a leaf; all zero where there
/// is no such instruction. Slow in a virtual machine, so keep what it says.
CpuRegisters readCpuLeaf(std::uint32_t leaf, std::uint32_t subLeaf);

}  // namespace za::os
