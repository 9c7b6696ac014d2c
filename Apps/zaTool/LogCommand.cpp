#include "LogCommand.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "LogJob.h"
#include "LogReport.h"
#include "OptionChecks.h"

using Kind = LogEntry::Kind;

namespace {

struct Options {
    std::vector<std::string> kinds;
    std::vector<std::string> numbers;
    std::string since;
    std::string until;
    std::size_t lines = 0;
    bool json = false;
    bool showFile = false;
    bool hideFile = false;
    LogRequest request;
};

/// None for a text that is no kind.
Kind kindOf(const std::string& word) {
    if (word == "info") return Kind::Info;
    if (word == "warning") return Kind::Warning;
    return word == "error" ? Kind::Error : Kind::None;
}

std::string checkKind(const std::string& text) {
    return kindOf(text) != Kind::None ? "" : "must be info, warning or error";
}

/// Reads "A" as the range from A to A, and "A-B".
std::optional<std::pair<int, int>> parseRange(const std::string& text) {
    const std::size_t dash = text.find('-');
    const std::string parts[] = {text.substr(0, dash),
                                 dash == std::string::npos ? text : text.substr(dash + 1)};
    int bounds[2] = {};
    for (std::size_t i = 0; i < 2; ++i) {
        const char* const end = parts[i].data() + parts[i].size();
        const auto [last, error] = std::from_chars(parts[i].data(), end, bounds[i]);
        if (error != std::errc() || last != end || bounds[i] < 0) return std::nullopt;
    }
    if (bounds[0] > bounds[1]) return std::nullopt;
    return std::pair(bounds[0], bounds[1]);
}

std::string checkRange(const std::string& text) {
    return parseRange(text) ? "" : "must be a number or a range such as 100-199";
}

std::string checkTime(const std::string& text) {
    return firstMomentOf(text) != kUnknownTime ? ""
                                               : "must be YYYY-MM-DD or 'YYYY-MM-DD HH:MM[:SS]'";
}

LogFilter completedFilter(const Options& options) {
    LogFilter filter = options.request.filter;
    for (const std::string& word : options.kinds)
        filter.kinds.push_back(kindOf(word));
    for (const std::string& range : options.numbers)
        filter.numbers.push_back(*parseRange(range));
    if (!options.since.empty()) filter.since = firstMomentOf(options.since);
    if (!options.until.empty()) filter.until = lastMomentOf(options.until);
    return filter;
}

LogReport::Form formOf(const Options& options) {
    if (options.json && options.request.follow) return LogReport::Form::JsonLines;
    if (options.json) return LogReport::Form::JsonDocument;
    const bool areSeveral = options.request.files.size() > 1;
    const bool withFile = options.showFile || (areSeveral && !options.hideFile);
    return withFile ? LogReport::Form::LinesWithFile : LogReport::Form::Lines;
}

/// An option that takes one value each time that it is given.
CLI::Option& addRepeatable(CLI::App& command, const std::string& name,
                           std::vector<std::string>& values, const std::string& description) {
    return *command.add_option(name, values, description)->allow_extra_args(false);
}

void addFilterOptions(CLI::App& command, Options& options) {
    addRepeatable(command, "--kind", options.kinds, "Only messages of this kind, or kinds")
        .check(checkKind)
        ->type_name("info|warning|error");
    addRepeatable(command, "--nr", options.numbers, "Only messages of these numbers")
        .check(checkRange)
        ->type_name("N|A-B");
    command.add_option("--since", options.since, "Only from this time on: YYYY-MM-DD [HH:MM[:SS]]")
        ->check(checkTime)
        ->type_name("TIME");
    command.add_option("--until", options.until, "Only up to and including this time")
        ->check(checkTime)
        ->type_name("TIME");
    command.add_option("--text", options.request.filter.text, "Only messages that hold this text")
        ->type_name("TEXT");
    command.add_flag("-i,--ignore-case", options.request.filter.ignoreCase,
                     "Take small and capital letters of ASCII for the same in --text");
}

}  // namespace

void addLogCommand(CLI::App& app, int& exitCode) {
    CLI::App& command =
        *app.add_subcommand("log", "Shows log files of every layout, merged by time");
    command.footer(
        "\nExit code: 0 done, 3 a file cannot be read (the others are shown), 64 the command line "
        "is\n"
        "wrong, 130 interrupted.");
    const auto options = std::make_shared<Options>();
    command.add_option("FILE", options->request.files, "Log files")->required()->type_name("");
    addFilterOptions(command, *options);
    CLI::Option& lines =
        *command.add_option("-n,--lines", options->lines, "Only the last N entries")
             ->check(checkDecimal)
             ->type_name("N");
    command.add_flag("-f,--follow", options->request.follow,
                     "Go on with what is added to the files, until Ctrl-C");
    command.add_flag("--json", options->json,
                     "Print one JSON document instead of lines; with -f, one object on each line");
    command.add_flag("--file", options->showFile,
                     "Begin each line with the file's name, as is done for several files");
    command.add_flag("--no-file", options->hideFile, "Never do that")->excludes("--file");
    command.callback([options, &lines, &exitCode] {
        LogRequest& request = options->request;
        request.filter = completedFilter(*options);
        if (lines.count() > 0) request.lastEntries = options->lines;
        LogReport report(formOf(*options), request.files);
        exitCode = runLog(request, report);
    });
}
