#include "zaUtils/Logging/zaLog.h"
#include "zaUtils/Messages/zaMessage.h"

#include <cstdio>

int main() {
    const boost::any payload = 41;
    zaLog::info("hello %d", 1);
    std::printf("payload %d\n", boost::any_cast<int>(payload) + 1);
    return 0;
}
