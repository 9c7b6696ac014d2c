#include "ChecksumCommand.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ByteProgress.h"
#include "ChecksumJob.h"
#include "ChecksumReport.h"
#include "ExitCode.h"
#include "FileWalk.h"
#include "OptionChecks.h"
#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Logging/zaLog.h"

namespace {

struct Options {
    std::vector<std::string> files;
    unsigned int skip = 0;
    bool recursive = false;
    bool force = false;
    bool json = false;
    std::string output;
};

using Job = std::function<ChecksumResult(const std::string& file, const Options& options,
                                         const zaFile::OnBytes& onBytes)>;

void logReportError(const Options& options, const char* text) {
    zaLog::errorIPython((options.output + ": " + text).c_str());
}

ChecksumResult workOnFile(const FileTarget& target, const Job& job, const Options& options,
                          ByteProgress& progress) {
    if (!target.problem.empty()) {
        return {target.path, ChecksumResult::Kind::Failed, target.problem, {}};
    }
    return job(target.path, options, [&](std::uint64_t count) { return progress.add(count); });
}

void workOnFiles(const Job& job, const Options& options, ChecksumReport& report) {
    const std::vector<FileTarget> targets = findFiles(options.files, options.recursive);
    ByteProgress progress("Checksums", sizeOf(targets));
    std::uint64_t end = 0;
    for (const FileTarget& target : targets) {
        end += sizeOf(target);
        ChecksumResult result = workOnFile(target, job, options, progress);
        progress.reach(end);
        progress.clear();
        if (!options.json) logResult(result);
        report.exitCode = ExitCode::worse(report.exitCode, exitCodeOf(result.kind));
        report.results.push_back(std::move(result));
        if (!progress.isCancelled()) continue;
        report.exitCode = ExitCode::kInterrupted;
        return;
    }
}

void publish(const Options& options, ChecksumReport& report) {
    if (!options.output.empty() && !zaFile::write(options.output, toJson(report) + '\n')) {
        zaFile::perror(options.output + ": the report cannot be written");
        report.exitCode = ExitCode::kFailed;
    }
    if (options.json) zaLog::infoI(toJson(report).c_str(), 0, false);
}

int run(const std::string& command, const Job& job, const Options& options) {
    ChecksumReport report{command, options.skip, ExitCode::kSuccess, {}};
    // Asked first, because a refusal must leave everything as it was.
    if (!options.output.empty() && !zaFile::checkWrite(options.output, true, true)) {
        logReportError(options, "the report may not be written, so nothing was done");
        report.exitCode = ExitCode::kFailed;
        if (options.json) zaLog::infoI(toJson(report).c_str(), 0, false);
        return report.exitCode;
    }
    workOnFiles(job, options, report);
    publish(options, report);
    return report.exitCode;
}

void addOptions(CLI::App& command, Options& options) {
    command.add_option("FILE", options.files, "Files or, with -r, folders")
        ->required()
        ->type_name("");
    command.add_option("--skip", options.skip, "Bytes at the start that the checksum leaves out")
        ->check(checkDecimal)
        ->type_name("N");
    command.add_flag("-r,--recursive", options.recursive, "Take all files below a folder");
    command.add_flag("--json", options.json, "Print one JSON document instead of lines");
    command.add_option("--output", options.output, "Also write the JSON document to this file")
        ->type_name("FILE");
}

CLI::App& addCommand(CLI::App& parent, const std::string& name, const std::string& description,
                     const std::shared_ptr<Options>& options, const Job& job, int& exitCode) {
    CLI::App& command = *parent.add_subcommand(name, description);
    addOptions(command, *options);
    command.callback([=, &exitCode] { exitCode = run(name, job, *options); });
    return command;
}

}  // namespace

void addChecksumCommand(CLI::App& app, int& exitCode) {
    CLI::App& checksum = *app.add_subcommand("checksum", "Works on the checksum footers of files");
    checksum.require_subcommand(1);
    checksum.footer(
        "\nExit code: 0 all correct or done, 1 a checksum is wrong, 2 a file carries none,\n"
        "3 a file cannot be read or written, 64 the command line is wrong, 130 interrupted.");
    const auto options = std::make_shared<Options>();

    CLI::App& add = addCommand(
        checksum, "add", "Adds a checksum to files that carry none", options,
        [](const std::string& file, const Options& o, const zaFile::OnBytes& onBytes) {
            return addToFile(file, o.skip, o.force, onBytes);
        },
        exitCode);
    add.add_flag("--force", options->force, "Renew the checksum of a file that carries one");

    addCommand(
        checksum, "verify", "Compares the checksum with the file's content", options,
        [](const std::string& file, const Options& o, const zaFile::OnBytes& onBytes) {
            return verifyFile(file, o.skip, onBytes);
        },
        exitCode);
    addCommand(
        checksum, "show", "Tells what the footer says, without reading the content", options,
        [](const std::string& file, const Options& o, const zaFile::OnBytes&) {
            return showFile(file, o.skip);
        },
        exitCode);
    addCommand(
        checksum, "strip", "Takes the checksum out of the file again", options,
        [](const std::string& file, const Options& o, const zaFile::OnBytes&) {
            return stripFile(file, o.skip);
        },
        exitCode);
}
