#pragma once

#include <tuple>

#include "zaUtils/Api.h"

/// Asks the system for the screen's resolution. Reports no failure: what the system says counts.
class ZAUTILS_API zaDPIHelper {
public:
    /// Declares that the process draws in the screen's own pixels, if the system knows such a
    /// thing, and returns the resolution in dots per inch, horizontal and vertical. Meant for
    /// start-up, before the first window: `zaPlatform::setDpi` takes the horizontal value.
    ///
    /// A host without a display to ask (Linux) has 96.
    static std::tuple<unsigned long long, unsigned long long> getSystemDPI();

    /// The horizontal resolution as the process sees it now, 1.0 for 96 dots per inch. Declares
    /// nothing.
    static float getSystemDPIScale();
};
