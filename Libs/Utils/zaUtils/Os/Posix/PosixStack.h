#pragma once

#include <sys/types.h>
#include <ucontext.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "zaUtils/Os/Stack.h"

namespace za::os {

/// The registers of the processor by their DWARF numbers; the last is the program counter.
using DwarfRegisters = std::array<std::uint64_t, 17>;

constexpr int kStackPointerRegister = 7;
constexpr int kProgramCounterRegister = 16;

DwarfRegisters registersOf(const ucontext_t& context);

/// Program counters, innermost first, in memory of fixed size.
struct FrameList {
    std::uint64_t* counters = nullptr;
    std::size_t capacity = 0;
    std::size_t count = 0;
};

/// Fills the list with the frames of the calling thread, from the one with `firstCounter` on; with
/// 0, from the caller of the caller on. Neither allocates nor locks: signal handlers may call it.
/// @param registers  of the first frame, if not null and `firstCounter` is 0
void captureFrames(FrameList& frames, std::uint64_t firstCounter, DwarfRegisters* registers);

/// Interrupts another thread of this process and lets it tell its frames; it goes on at once.
/// False, with errno set, when there is no such thread or it does not answer in time. The one who
/// asks uses a request of his own; neither allocates nor locks.
enum class Requester { Walk, CrashReport };
bool captureFramesOf(pid_t thread, Requester requester, int milliseconds, FrameList& frames,
                     DwarfRegisters* registers);

/// Makes ready for captureFramesOf.
void prepareCapture();

class PosixContext : public StackContext {
public:
    PosixContext(unsigned long process, bool readsAll) : processId(process), hasReader(readsAll) {}

    std::uint64_t instructionPointer() const override { return registers[kProgramCounterRegister]; }
    std::uint64_t stackPointer() const override { return registers[kStackPointerRegister]; }

    /// Makes room for frames.
    void reserveFrames() {
        constexpr std::size_t kMostFrames = 65536;
        if (memory) return;
        memory.reset(new std::uint64_t[kMostFrames]);
        frames.counters = memory.get();
        frames.capacity = kMostFrames;
    }

    unsigned long processId;
    bool hasReader;
    DwarfRegisters registers{};
    std::unique_ptr<std::uint64_t[]> memory;
    FrameList frames;
    bool hasFrames = false;     ///< they were captured, or found from the registers
    std::size_t nextFrame = 0;  ///< of the walk
};

}  // namespace za::os
