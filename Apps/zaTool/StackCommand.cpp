#include "StackCommand.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "ExitCode.h"
#include "zaUtils/Diagnostics/zaStackWalker.h"
#include "zaUtils/Logging/zaLog.h"

namespace {

/// A handle that is closed in the end.
class Handle {
public:
    Handle(void* handle, void (*close)(void*)) : _handle(handle), _close(close) {}
    ~Handle() { _close(_handle); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    void* get() const { return _handle; }

private:
    void* _handle;
    void (*_close)(void*);
};

/// Says nothing of the system's version.
class Walker : public zaStackWalker {
public:
    using zaStackWalker::zaStackWalker;

protected:
    void OnSymInit(const char*, unsigned long, const char*) override {}
};

/// The stack of one thread, or why there is none.
std::string stackOf(Walker& walker, unsigned long threadId, bool& any) {
    const std::string heading = "Thread " + std::to_string(threadId);
    const Handle thread(zaStackWalker::openThread(threadId), zaStackWalker::closeThread);
    if (!thread.get() || !walker.ShowCallstack(thread.get())) {
        return heading + " has ended, or must not be stopped\n";
    }
    if (walker.getOutput().empty()) return heading + " shows nothing\n";
    any = true;
    return heading + ":\n" + walker.getOutput();
}

int printStacks(unsigned long processId) {
    const std::vector<unsigned long> threads = zaStackWalker::getThreadIds(processId);
    const Handle process(zaStackWalker::openProcess(processId), zaStackWalker::closeProcess);
    if (threads.empty() || !process.get()) {
        zaLog::error("there is no process %lu, or it must not be looked into", processId);
        return ExitCode::kFailed;
    }
    constexpr int kOptions =
        zaStackWalker::OptSymbols | zaStackWalker::OptLines | zaStackWalker::OptModuleInfo;
    Walker walker(kOptions, nullptr, processId, process.get());
    bool any = false;
    for (const unsigned long id : threads)
        zaLog::infoI(stackOf(walker, id, any).c_str(), 0, false);
    return any ? ExitCode::kSuccess : ExitCode::kFailed;
}

}  // namespace

void addStackCommand(CLI::App& app, int& exitCode) {
    CLI::App& command = *app.add_subcommand("stack", "Prints the stacks of a running process");
    const auto processId = std::make_shared<unsigned long>(0);
    command.add_option("PID", *processId, "The id of the process")->required();
    command.callback([processId, &exitCode] { exitCode = printStacks(*processId); });
}
