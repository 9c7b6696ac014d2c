#pragma once

namespace CLI {
class App;
}

/// Adds `shader`, which runs while `app` parses, and leaves the program's exit code in `exitCode`,
/// which must live until then.
void addShaderCommand(CLI::App& app, int& exitCode);
