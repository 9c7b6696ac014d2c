#include <cstdio>

#include "zaUtils/Diagnostics/zaStackWalker.h"
#include "zaUtils/Os/Stack.h"
#include "zaUtils/Platform/zaUtils.h"

void zaUtils::printBTalways() {
    constexpr int kOptions =
        zaStackWalker::OptSymbols | zaStackWalker::OptLines | zaStackWalker::OptModuleInfo;
    za::os::StackHost& host = za::os::stackHost();
    zaStackWalker walker(kOptions, nullptr, host.currentProcessId(), host.currentProcess());
    walker.ShowCallstack(host.currentThread());
    std::fprintf(stderr, "zaUtils::printBT:\n");
    std::fprintf(stderr, "%s\n", walker.getOutput().c_str());
}

void zaUtils::printBT() {}
