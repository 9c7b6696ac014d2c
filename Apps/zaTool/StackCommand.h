#pragma once

namespace CLI {
class App;
}

/// Adds `stack`, which prints the stacks of a running process.
void addStackCommand(CLI::App& app, int& exitCode);
