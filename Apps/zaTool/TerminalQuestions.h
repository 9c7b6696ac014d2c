#pragma once

/// Lets the library ask its questions at the terminal, and show its warnings there.
///
/// Both go to standard error, because standard output belongs to the results. A question accepts a
/// caption or its marked letter; an empty line is the default button, the end of the input the
/// escape button. Where standard input is no terminal the answer is "no", the second button.
void installTerminalQuestions();
