#include "zaUtils/Os/Display.h"

namespace za::os {

// There is no screen to ask without a display library; 96 is what desktops here assume unless told
// otherwise. Nothing scales a process behind its back, so there is no awareness to declare.

Resolution screenResolution(DpiAwareness) {
    return {96, 96};
}

}  // namespace za::os
