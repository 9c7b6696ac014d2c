#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "Base64Command.h"
#include "ChecksumCommand.h"
#include "CrashCommand.h"
#include "ExitCode.h"
#include "HashCommand.h"
#include "InfoCommand.h"
#include "LogCommand.h"
#include "ScaleCommand.h"
#include "ShaderCommand.h"
#include "StackCommand.h"
#include "TerminalQuestions.h"
#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Logging/zaLog.h"
#include "zaUtils/Platform/zaConsole.h"

namespace {

/// The parser takes "[a,b]" for the list of a and b, and "{}" for an empty one. Here they are names
/// of files, and a leading "./" lets them pass. A text to search for is left as it is.
void protectBrackets(std::vector<std::string>& arguments) {
    const std::string* previous = nullptr;
    for (std::string& argument : arguments) {
        const bool isName = !previous || *previous != "--text";
        previous = &argument;
        const bool bracketed =
            argument.size() > 1 && argument.front() == '[' && argument.back() == ']';
        if (isName && (bracketed || argument == "{}")) argument.insert(0, "./");
    }
}

/// Prints text that ends in a newline, which the log adds itself.
void print(std::string text, void (*log)(const char*)) {
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    if (!text.empty()) log(text.c_str());
}

/// Shows the help that was asked for, or what is wrong with the command line.
int showParseResult(const CLI::App& app, const CLI::ParseError& result) {
    std::ostringstream output;
    std::ostringstream errors;
    const int code = app.exit(result, output, errors);
    print(output.str(), zaLog::infoIPython);
    print(errors.str(), zaLog::errorIPython);
    return code == 0 ? ExitCode::kSuccess : ExitCode::kUsage;
}

int runCommand(std::vector<std::string> arguments, std::function<void()>& afterwards) {
    CLI::App app("Works on data files, logs and pictures from the command line.", "zaTool");
    app.allow_windows_style_options(false);  // "/data/a.dat" is a file
    app.set_version_flag("--version", "zaTool " ZATOOL_VERSION);
    app.require_subcommand(1);
    int exitCode = ExitCode::kSuccess;
    addChecksumCommand(app, exitCode);
    addHashCommand(app, exitCode);
    addBase64Command(app, exitCode);
    addShaderCommand(app, exitCode);
    addScaleCommand(app, exitCode);
    addLogCommand(app, exitCode);
    addInfoCommand(app);
    addStackCommand(app, exitCode);
    addCrashCommand(app, afterwards);

    protectBrackets(arguments);
    std::reverse(arguments.begin(), arguments.end());  // as the parser takes them
    try {
        app.parse(std::move(arguments));
    } catch (const CLI::ParseError& result) {
        return showParseResult(app, result);
    }
    return exitCode;
}

/// Results that did not reach standard output, on a full disk for instance, are a failure.
int flushOutput(int exitCode) {
    const bool flushed = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
    if (flushed) return exitCode;
    zaFile::perror("standard output cannot be written");
    return ExitCode::kFailed;
}

int runGuarded(int argc, char** argv, std::function<void()>& afterwards) {
    try {
        installTerminalQuestions();
        return flushOutput(runCommand(zaConsole::getArguments(argc, argv), afterwards));
    } catch (const std::exception& failure) {
        zaLog::errorIPython((std::string("zaTool: internal error: ") + failure.what()).c_str());
    } catch (...) {
        zaLog::errorIPython("zaTool: internal error");
    }
    return ExitCode::kInternalError;
}

}  // namespace

int main(int argc, char** argv) {
    std::function<void()> afterwards;
    const int exitCode = runGuarded(argc, argv, afterwards);
    if (afterwards) afterwards();
    return exitCode;
}
