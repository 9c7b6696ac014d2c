#pragma once

#include <string>

/// A font of the application, for drawing code that does not know how the application draws.
class zaFont {
public:
    virtual ~zaFont() = default;

    /// Draws one line of UTF-8 text that begins at (`x`, `y`) on its base line, in the units and
    /// axes of whatever is being drawn on.
    virtual void drawText(const std::string& text, double x, double y) = 0;
};
