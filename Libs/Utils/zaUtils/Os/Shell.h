#pragma once

#include <string>

namespace za::os {

/// Opens a document or an address with the user's program for it, and does not wait. Failures are
/// silent.
void openDocument(const std::string& target);

/// Sounds a tone and returns when it is over. A host without tones rings its terminal's bell, if
/// standard error is a terminal.
void beep(int hertz, int milliseconds);

}  // namespace za::os
