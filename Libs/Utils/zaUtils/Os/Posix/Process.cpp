#include "zaUtils/Os/Process.h"

namespace za::os {

std::vector<std::string> commandLineArguments(int argc, const char* const* argv) {
    return argc > 1 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>{};
}

}  // namespace za::os
