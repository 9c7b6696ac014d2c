#pragma once

namespace CLI {
class App;
}

/// Adds `info`, which prints what the library knows of this program, machine and user.
void addInfoCommand(CLI::App& app);
