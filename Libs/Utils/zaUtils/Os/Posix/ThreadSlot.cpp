#include "zaUtils/Os/ThreadSlot.h"

#include <pthread.h>

#include <cerrno>
#include <system_error>

namespace za::os {

ThreadSlot::ThreadSlot(Destroy destroy) {
    pthread_key_t key;
    if (const int code = pthread_key_create(&key, destroy); code != 0) {
        throw std::system_error(code, std::generic_category());
    }
    _key = key;
}

void* ThreadSlot::get() const {
    return pthread_getspecific(static_cast<pthread_key_t>(_key));
}

void ThreadSlot::set(void* value) const {
    if (pthread_setspecific(static_cast<pthread_key_t>(_key), value) != 0) {
        throw std::system_error(ENOMEM, std::generic_category());
    }
}

}  // namespace za::os
