#pragma once

namespace za::os {

/// Whether the process first tells the system that it draws in the screen's own pixels. Until then
/// a system may scale what the process draws, and report 96 dots per inch for any screen.
enum class DpiAwareness { AsItIs, SystemWide };

struct Resolution {
    int x, y;  ///< dots per inch
};

/// The resolution of the screen, as this process sees it.
Resolution screenResolution(DpiAwareness awareness);

}  // namespace za::os
