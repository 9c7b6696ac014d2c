#include "Diagnostics/Registers.h"

#include <malloc.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <ucontext.h>
#include <unistd.h>

namespace {

const CONTEXT* asContext(const ucontext_t& registers) {
    return reinterpret_cast<const CONTEXT*>(&registers);
}

}  // namespace

void withRegisters(const std::function<void(const CONTEXT*)>& use) {
    ucontext_t registers;
    ::getcontext(&registers);
    use(asContext(registers));
}

void withWildRegisters(unsigned long long instruction, unsigned long long stack,
                       const std::function<void(const CONTEXT*)>& use) {
    ucontext_t registers;
    ::getcontext(&registers);
    if (instruction != 0) {
        registers.uc_mcontext.gregs[REG_RIP] = static_cast<greg_t>(instruction);
    }
    registers.uc_mcontext.gregs[REG_RSP] = static_cast<greg_t>(stack);
    use(asContext(registers));
}

void* handleOfThisThread() {
    return zaStackWalker::openThread(static_cast<unsigned long>(::syscall(SYS_gettid)));
}

bool readOwnMemory(unsigned long long base, void* buffer, unsigned long size,
                   unsigned long* bytesRead) {
    const iovec local = {buffer, size};
    auto* from = reinterpret_cast<void*>(base);  // NOLINT(performance-no-int-to-ptr)
    const iovec remote = {from, size};
    const ssize_t count = ::process_vm_readv(::getpid(), &local, 1, &remote, 1, 0);
    *bytesRead = count > 0 ? static_cast<unsigned long>(count) : 0;
    return *bytesRead == size;
}

std::size_t memoryInUse() {
    const struct mallinfo2 heap = ::mallinfo2();
    return heap.uordblks + heap.hblkhd;
}
