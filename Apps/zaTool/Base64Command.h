#pragma once

namespace CLI {
class App;
}

/// Adds `base64`, which runs while `app` parses, and leaves the program's exit code in `exitCode`,
/// which must live until then.
void addBase64Command(CLI::App& app, int& exitCode);
