#include "CrashCommand.h"

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Crashes.h"
#include "ExitCode.h"
#include "zaUtils/Diagnostics/zaCrashReport.h"
#include "zaUtils/Logging/zaLog.h"
#include "zaUtils/Platform/zaPlatform.h"

namespace {

struct Options {
    std::string kind;
    std::string folder = ".";
    bool inWorker = false;
};

[[noreturn]] void fail(const Options& options) {
    zaLog::error("the folder '%s' cannot be written", options.folder.c_str());
    std::exit(ExitCode::kFailed);
}

void crash(const Options& options) {
    zaPlatform::init("zaTool");
    if (!zaCrashReport::install(options.folder)) fail(options);
    zaLog::info("crashes by %s", options.kind.c_str());
    const auto run = crashes().at(options.kind);
    if (options.inWorker) {
        std::thread([run] {
            zaCrashReport::prepareThread();
            run();
        }).join();
    } else {
        run();
    }
    zaLog::warning("has survived %s", options.kind.c_str());
}

}  // namespace

void addCrashCommand(CLI::App& app, std::function<void()>& afterwards) {
    CLI::App& command = *app.add_subcommand("crash", "Crashes, to see the report: a test program");
    const auto options = std::make_shared<Options>();
    std::vector<std::string> names;
    for (const auto& [name, function] : crashes())
        names.push_back(name);
    command.add_option("KIND", options->kind, "How")->required()->check(CLI::IsMember(names));
    command.add_option("--folder", options->folder, "Where the report goes")->capture_default_str();
    command.add_flag("--worker", options->inWorker, "Crash in a thread of its own");
    command.callback([options, &afterwards] { afterwards = [options] { crash(*options); }; });
}
