#include "zaUtils/Os/Library.h"
#include "zaUtils/Os/Text.h"
#include "zaUtils/Platform/zaUtils.h"

namespace {

constexpr std::size_t kMaxPathLength = 2047;

}  // namespace

void* zaUtils::loadSharedLibrary(const std::string& path, bool, bool alteredSearchPath) {
    return path.empty() ? nullptr : za::os::loadLibrary(path, alteredSearchPath);
}

bool zaUtils::unloadSharedLibrary(void* handle) {
    return handle && za::os::unloadLibrary(handle);
}

void* zaUtils::resolveSymbol(void* handle, const std::string& name) {
    return handle ? za::os::librarySymbol(handle, name) : nullptr;
}

std::string zaUtils::getSharedLibraryPath(void* handle) {
    if (!handle) return {};
    std::string path = za::os::libraryPath(handle);
    za::os::truncateUtf8(path, kMaxPathLength);
    return path;
}
