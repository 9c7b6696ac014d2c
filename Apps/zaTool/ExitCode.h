#pragma once

/// The program's exit codes. Where several files give several codes, `worse` decides.
namespace ExitCode {

constexpr int kSuccess = 0;         ///< everything is as it should be
constexpr int kWrong = 1;           ///< a checksum is wrong
constexpr int kMissing = 2;         ///< a file carries no checksum
constexpr int kFailed = 3;          ///< a file cannot be read or written
constexpr int kUsage = 64;          ///< the command line is not understood
constexpr int kInterrupted = 130;   ///< the user pressed Ctrl-C
constexpr int kInternalError = 70;  ///< the program itself failed

/// The code that counts for both: a failure before a wrong checksum before a missing one.
int worse(int a, int b);

}  // namespace ExitCode
