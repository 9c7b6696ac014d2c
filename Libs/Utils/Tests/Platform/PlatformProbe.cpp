// Starts the platform as an application does and prints what came of it, for platform_test.py.
//
// usage: PlatformProbe [--roaming FOLDER] [--shared FOLDER] (--init ARGV0 | --init-base BASE NAME)

#include <cstdio>
#include <filesystem>

#include "Support/OtherFolders.h"
#include "zaUtils/Platform/zaConsole.h"
#include "zaUtils/Platform/zaPlatform.h"

int main(int argc, char** argv) {
    const auto arguments = zaConsole::getArguments(argc, argv);
    const auto before = std::filesystem::current_path();
    OtherFolders folders;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& option = arguments[i];
        if (option == "--roaming") folders.setRoaming(arguments.at(++i));
        if (option == "--shared") folders.setShared(arguments.at(++i));
        if (option == "--init") zaPlatform::init(arguments.at(++i).c_str());
        if (option == "--init-base") {
            zaPlatform::init(arguments.at(i + 1).c_str(), arguments.at(i + 2).c_str());
            i += 2;
        }
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
