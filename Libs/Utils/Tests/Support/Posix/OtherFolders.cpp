#include "Support/OtherFolders.h"

#include "Support/TestEnvironment.h"

OtherFolders::OtherFolders() = default;

OtherFolders::~OtherFolders() {
    unsetTestVariable("XDG_DATA_HOME");
    unsetTestVariable("XDG_DATA_DIRS");
}

void OtherFolders::setRoaming(const std::string& path) {
    setTestVariable("XDG_DATA_HOME", path);
}

void OtherFolders::setShared(const std::string& path) {
    setTestVariable("XDG_DATA_DIRS", path);
}
