// Starts the platform as an application does and prints what came of it, for platform_test.py.
//
// usage: PlatformProbe ROAMING SHARED ARGV0        the system's folders, the program's path
//        PlatformProbe ROAMING SHARED BASE NAME    ..., the installation's base, the program's name

#include <cstdio>
#include <filesystem>

#include "Support/OtherFolders.h"
#include "zaUtils/Platform/zaConsole.h"
#include "zaUtils/Platform/zaPlatform.h"

int main(int argc, char** argv) {
    const auto arguments = zaConsole::getArguments(argc, argv);
    const auto before = std::filesystem::current_path();
    OtherFolders folders;
    folders.setRoaming(arguments.at(0));
    folders.setShared(arguments.at(1));
    if (arguments.size() == 3) {
        zaPlatform::init(arguments[2].c_str());
    } else {
        zaPlatform::init(arguments.at(2).c_str(), arguments.at(3).c_str());
    }
    const struct {
        const char* name;
        std::string value;
    } results[] = {
        {"app", zaPlatform::getAppName()},
        {"exe", zaPlatform::_exe_dir},
        {"base", zaPlatform::getBaseDir()},
        {"bin", zaPlatform::getBinDir()},
        {"lib", zaPlatform::getLibDir()},
        {"plugins", zaPlatform::getPluginsDir()},
        {"qt", zaPlatform::getQtPluginsDir()},
        {"examples", zaPlatform::getExamplesDir()},
        {"data", zaPlatform::getDataDir()},
        {"preferences", zaPlatform::getPreferencesDir()},
        {"writable", zaPlatform::getWritableDataDir()},
        {"moved", std::filesystem::current_path() == before ? "no" : "yes"},
    };
    for (const auto& result : results)
        std::printf("%s=%s\n", result.name, result.value.c_str());
    return 0;
}
