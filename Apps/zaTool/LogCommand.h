#pragma once

namespace CLI {
class App;
}

/// Adds `log`, which runs while `app` parses, and leaves the program's exit code in `exitCode`,
/// which must live until then.
void addLogCommand(CLI::App& app, int& exitCode);
