#include "zaUtils/Os/Library.h"
#include "zaUtils/Platform/zaPlatform.h"

std::string zaPlatform::getThisSharedLibraryPath(int) {
    return za::os::modulePathAt(ZAUTILS_OS_RETURN_ADDRESS());
}
