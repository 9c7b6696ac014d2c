#include "zaUtils/Platform/zaDPIHelper.h"

#include "zaUtils/Os/Display.h"

using za::os::DpiAwareness;

std::tuple<unsigned long long, unsigned long long> zaDPIHelper::getSystemDPI() {
    const za::os::Resolution resolution = za::os::screenResolution(DpiAwareness::SystemWide);
    return {resolution.x, resolution.y};
}

float zaDPIHelper::getSystemDPIScale() {
    const za::os::Resolution resolution = za::os::screenResolution(DpiAwareness::AsItIs);
    return static_cast<float>(resolution.x / 96.0);
}
