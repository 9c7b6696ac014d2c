#include "zaUtils/Os/Stack.h"

#include <atomic>

namespace za::os {

namespace {

std::atomic<StackHost*> g_host{nullptr};

}  // namespace

StackHost& stackHost() {
    StackHost* host = g_host.load();
    return host ? *host : nativeStackHost();
}

StackHost& exchangeStackHost(StackHost& host) {
    StackHost* before = g_host.exchange(&host);
    return before ? *before : nativeStackHost();
}

}  // namespace za::os
