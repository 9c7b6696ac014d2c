#pragma once

#include <string>

/// The console's own record of what it shows. Only one host has such a record that a program can
/// read; on the other one `shows` is always true, and what came through is judged by the terminal's
/// other end.
class Screen {
public:
    /// Gives the console attributes (green, intense) that none of the log's colours has.
    Screen();

    /// Remembers where the next text will stand.
    void mark();

    /// Whether exactly this text stands from the mark on, every character with these attributes,
    /// and the attributes are now as they were at first. Complains on standard error if not.
    bool shows(const std::string& text, int attributes) const;

    /// Whether nothing was written since the mark while standard output could not be coloured.
    bool staysEmptyWithoutColours(void (*write)()) const;
};
