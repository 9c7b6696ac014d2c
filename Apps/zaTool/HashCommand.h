#pragma once

namespace CLI {
class App;
}

/// Adds `hash`, which runs while `app` parses, and leaves the program's exit code in `exitCode`,
/// which must live until then.
void addHashCommand(CLI::App& app, int& exitCode);
