#pragma once

#include "zaUtils/Os/Windows/WindowsApi.h"

#include <dbghelp.h>

#include "zaUtils/Os/Stack.h"

namespace za::os {

/// The registers, which a walk changes, and the state of the walk.
class WindowsContext : public StackContext {
public:
    std::uint64_t instructionPointer() const override { return registers.Rip; }
    std::uint64_t stackPointer() const override { return registers.Rsp; }

    CONTEXT registers{};
    STACKFRAME64 frame{};
    bool hasStarted = false;
};

}  // namespace za::os
