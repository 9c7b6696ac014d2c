#include "zaUtils/Os/ThreadSlot.h"

#include <cerrno>
#include <system_error>

#include "zaUtils/Os/Windows/WindowsApi.h"

namespace za::os {

// Fiber-local storage is the kind that calls back when a thread ends.

ThreadSlot::ThreadSlot(Destroy destroy) : _key(FlsAlloc(destroy)) {
    if (_key == FLS_OUT_OF_INDEXES) throw std::system_error(EAGAIN, std::generic_category());
}

void* ThreadSlot::get() const {
    return FlsGetValue(_key);
}

void ThreadSlot::set(void* value) const {
    if (!FlsSetValue(_key, value)) throw std::system_error(ENOMEM, std::generic_category());
}

}  // namespace za::os
