#include "zaUtils/Messages/zaMessage.h"
#include "zaUtils/Platform/zaUtils.h"

zaUtils::Hook zaUtils::_fp = nullptr;

void zaUtils::init(Hook hook) {
    _fp = hook;
}

bool zaUtils::call(const char* name, zaMessage& message, int flags) {
    return _fp && _fp(name, message, flags);
}

bool zaUtils::call(const char* name, int flags) {
    zaMessage message;
    return call(name, message, flags);
}
