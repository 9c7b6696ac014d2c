#pragma once

#include <functional>

namespace CLI {
class App;
}

/// Adds `crash`, which crashes in a way of one's choice: a test program for crash reports.
/// @param afterwards  receives what to run when nothing catches exceptions any more
void addCrashCommand(CLI::App& app, std::function<void()>& afterwards);
