// Chooses a temporary directory, which a process does once. The first argument names the file for
// the report (the log's messages and the results), the others are what to call, in their order.

#include "Support/LogCapture.h"
#include "Support/TestEnvironment.h"
#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Platform/zaConsole.h"

namespace {

void call(const std::string& function, std::vector<std::string>& report) {
    if (function.rfind("init=", 0) == 0) zaFile::initTmpDir(function.substr(5));
    if (function == "unset") unsetTestVariable("ZARN_TMP_DIR");
    if (function == "tmp") report.push_back("= " + zaFile::getTmpDir());
    if (function == "teamcenter") report.push_back("= " + zaFile::getTeamcenterTmpDir());
    if (function == "variable") report.push_back("= " + zaFile::expandFilename("$ZARN_TMP_DIR"));
    if (function == "name") report.push_back("= " + zaFile::_tmp_envvar_name);
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments = zaConsole::getArguments(argc, argv);
    const LogCapture log;
    for (std::size_t i = 1; i < arguments.size(); ++i)
        call(arguments[i], log.messages());
    std::string report;
    for (const std::string& line : log.messages())
        report += line + '|';
    return zaFile::write(arguments.at(0), report) ? 0 : 1;
}
