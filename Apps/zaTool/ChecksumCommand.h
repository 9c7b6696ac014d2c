#pragma once

namespace CLI {
class App;
}

/// Adds `checksum` with its commands add, verify, show and strip. The one that is given runs while
/// `app` parses, and leaves the program's exit code in `exitCode`, which must live until then.
void addChecksumCommand(CLI::App& app, int& exitCode);
