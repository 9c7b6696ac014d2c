#include "ExitCode.h"

namespace {

int rank(int code) {
    switch (code) {
        case ExitCode::kSuccess:
            return 0;
        case ExitCode::kMissing:
            return 1;
        case ExitCode::kWrong:
            return 2;
        default:
            return 3;
    }
}

}  // namespace

int ExitCode::worse(int a, int b) {
    return rank(a) < rank(b) ? b : a;
}
