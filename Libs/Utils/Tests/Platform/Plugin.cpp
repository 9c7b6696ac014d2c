// A library that the tests load at run time, and that needs PluginNeighbour.

#include <string>

#include "zaUtils/Platform/zaPlatform.h"

extern "C" int neighbour();

extern "C" int callNeighbour() {
    return neighbour();
}

extern "C" void nameModule(std::string& path) {
    path = zaPlatform::getThisSharedLibraryPath(0);
}
