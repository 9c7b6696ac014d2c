#pragma once

#include <cstddef>
#include <functional>

#include "zaUtils/Diagnostics/zaStackWalker.h"

// What the host has its own ways for.

/// Calls `use` with the registers as they are in this call, whose frame stays meanwhile.
void withRegisters(const std::function<void(const CONTEXT*)>& use);

/// Sets the instruction and the stack pointer of the same registers before they are used.
void withWildRegisters(unsigned long long instruction, unsigned long long stack,
                       const std::function<void(const CONTEXT*)>& use);

/// A handle of the calling thread that other threads can use.
void* handleOfThisThread();

/// How much memory this process has allocated, in bytes.
std::size_t memoryInUse();

/// Copies memory of this process, in the shape of a walk's reader; false when it cannot be read.
bool readOwnMemory(unsigned long long base, void* buffer, unsigned long size,
                   unsigned long* bytesRead);
