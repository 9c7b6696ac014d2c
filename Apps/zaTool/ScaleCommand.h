#pragma once

namespace CLI {
class App;
}

/// Adds `scale`. It runs while `app` parses, and leaves the program's exit code in `exitCode`,
/// which must live until then.
void addScaleCommand(CLI::App& app, int& exitCode);
