#include "zaUtils/Platform/zaProcessInfo.h"

#include <cstdio>

#include "zaUtils/Os/ProcessTable.h"

int zaProcessInfo::getpid() {
    return za::os::currentProcessId();
}

int zaProcessInfo::getppid() {
    if (const int parent = za::os::parentProcessId(); parent != 0) return parent;
    std::fputs("Fatal: Could not get parent information.\n", stderr);
    return 1;
}
