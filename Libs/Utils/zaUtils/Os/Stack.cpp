#include "zaUtils/Os/Stack.h"

#include <atomic>
#include <cstdlib>

#include "zaUtils/Os/DebugHelp.h"
#include "zaUtils/Os/Directory.h"
#include "zaUtils/Os/Environment.h"
#include "zaUtils/Os/Library.h"

namespace za::os {

namespace {

std::atomic<StackHost*> g_host{nullptr};

}  // namespace

void* StackHost::allocate(std::size_t size) {
    return std::malloc(size);
}

void StackHost::release(void* memory) {
    std::free(memory);
}

bool StackHost::fileExists(const std::string& path) {
    return pathKind(path) == PathKind::File;
}

bool StackHost::environment(const char* name, std::string& value) {
    return environmentValue(name, value);
}

std::string StackHost::currentDirectory() {
    std::string path;
    return os::currentDirectory(path).ok() ? path : std::string();
}

std::string StackHost::programPath() {
    return libraryPath(nullptr);
}

std::unique_ptr<DebugHelp> StackHost::loadDebugHelp(const std::string& path) {
    return loadDebugHelpLibrary(path);
}

StackHost& stackHost() {
    StackHost* host = g_host.load();
    return host ? *host : nativeStackHost();
}

StackHost& exchangeStackHost(StackHost& host) {
    StackHost* before = g_host.exchange(&host);
    return before ? *before : nativeStackHost();
}

}  // namespace za::os
