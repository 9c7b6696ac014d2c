#include "HashCommand.h"

#include <CLI/CLI.hpp>
#include <array>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "ByteProgress.h"
#include "ExitCode.h"
#include "FileWalk.h"
#include "InputFile.h"
#include "TerminalText.h"
#include "zaUtils/Encoding/zaHashStream.h"
#include "zaUtils/Logging/zaLog.h"

using Json = nlohmann::ordered_json;
using Kind = zaHashStream::Kind;

namespace {

struct Algorithm {
    const char* name;
    Kind kind;
};

constexpr std::array<Algorithm, 5> kAlgorithms = {{{"crc32", Kind::CRC32},
                                                   {"fnv1a-jesteress", Kind::FNV1A_Jesteress},
                                                   {"murmur3-x86-32", Kind::MurmurHash3_x86_32},
                                                   {"murmur3-x86-128", Kind::MurmurHash3_x86_128},
                                                   {"murmur3-x64-128", Kind::MurmurHash3_x64_128}}};

struct Options {
    std::vector<std::string> files;
    std::vector<std::string> algorithms;
    bool recursive = false;
    bool json = false;
};

struct FileHashes {
    std::string file;
    std::string problem;  ///< empty when the hashes are known
    std::vector<std::pair<std::string, std::string>> hashes;
};

std::string checkAlgorithm(const std::string& text) {
    std::string names;
    for (const Algorithm& algorithm : kAlgorithms) {
        if (text == algorithm.name) return {};
        names += std::string(names.empty() ? "" : ", ") + algorithm.name;
    }
    return "must be one of " + names;
}

std::vector<Algorithm> chosen(const Options& options) {
    if (options.algorithms.empty()) return {kAlgorithms.begin(), kAlgorithms.end()};
    std::vector<Algorithm> algorithms;
    for (const std::string& name : options.algorithms) {
        for (const Algorithm& algorithm : kAlgorithms) {
            if (name == algorithm.name) algorithms.push_back(algorithm);
        }
    }
    return algorithms;
}

FileHashes hashFile(const FileTarget& target, const std::vector<Algorithm>& algorithms,
                    ByteProgress& progress) {
    if (!target.problem.empty()) return {target.path, target.problem, {}};
    std::vector<zaHashStream> streams;
    streams.reserve(algorithms.size());
    for (const Algorithm& algorithm : algorithms)
        streams.emplace_back(algorithm.kind);

    InputFile file(target.path);
    std::string bytes;
    while (file.read(bytes)) {
        for (zaHashStream& stream : streams)
            stream.add(bytes.data(), bytes.size());
        if (!progress.add(bytes.size())) return {target.path, "interrupted", {}};
    }
    if (!file.problem().empty()) return {target.path, file.problem(), {}};

    FileHashes result{target.path, {}, {}};
    for (std::size_t i = 0; i < streams.size(); ++i)
        result.hashes.emplace_back(algorithms[i].name, streams[i].hexadecimal());
    return result;
}

void print(const FileHashes& result) {
    const std::string file = withoutControlCharacters(result.file);
    if (!result.problem.empty()) zaLog::errorIPython((file + ": " + result.problem).c_str());
    const std::string middle = " (" + file + ") = ";
    for (const auto& [name, value] : result.hashes) {
        std::string line = name;
        line.append(middle).append(value);
        zaLog::infoIPython(line.c_str());
    }
}

Json toJson(const FileHashes& result) {
    Json object{{"file", result.file}};
    if (!result.problem.empty()) object["problem"] = result.problem;
    for (const auto& [name, value] : result.hashes)
        object[name] = value;
    return object;
}

void printJson(const Json& files, int exitCode) {
    const Json document{{"exitCode", exitCode}, {"files", files}};
    const std::string text = document.dump(2, ' ', false, Json::error_handler_t::replace);
    zaLog::infoI(text.c_str(), 0, false);
}

int run(const Options& options) {
    const std::vector<FileTarget> targets = findFiles(options.files, options.recursive);
    const std::vector<Algorithm> algorithms = chosen(options);
    ByteProgress progress("Hashing", sizeOf(targets));
    std::uint64_t end = 0;
    int exitCode = ExitCode::kSuccess;
    Json files = Json::array();
    for (const FileTarget& target : targets) {
        if (progress.isCancelled()) break;
        const FileHashes result = hashFile(target, algorithms, progress);
        progress.reach(end += sizeOf(target));
        if (!result.problem.empty()) exitCode = ExitCode::kFailed;
        if (options.json) {
            files.push_back(toJson(result));
        } else {
            progress.clear();
            print(result);
        }
    }
    if (progress.isCancelled()) exitCode = ExitCode::kInterrupted;
    if (options.json) {
        progress.clear();
        printJson(files, exitCode);
    }
    return exitCode;
}

}  // namespace

void addHashCommand(CLI::App& app, int& exitCode) {
    CLI::App& command =
        *app.add_subcommand("hash", "Prints the hashes of files, by all functions of the library");
    command.footer(
        "\nA 128-bit hash is printed word by word. The seed is 0.\n\n"
        "Exit code: 0 done, 3 a file cannot be read (the others are hashed), 64 the command line "
        "is\n"
        "wrong, 130 interrupted.");
    const auto options = std::make_shared<Options>();
    command.add_option("FILE", options->files, "Files or, with -r, folders")
        ->required()
        ->type_name("");
    command.add_option("--by", options->algorithms, "Only this function, or these")
        ->allow_extra_args(false)
        ->check(checkAlgorithm)
        ->type_name("NAME");
    command.add_flag("-r,--recursive", options->recursive, "Take all files below a folder");
    command.add_flag("--json", options->json, "Print one JSON document instead of lines");
    command.callback([options, &exitCode] { exitCode = run(*options); });
}
