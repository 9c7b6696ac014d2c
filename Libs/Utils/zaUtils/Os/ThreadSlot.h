#pragma once

namespace za::os {

/// A pointer of each thread's own, null at first. When a thread ends, `destroy` is called with its
/// pointer if that is not null.
///
/// Stands in for `thread_local` objects with a destructor, which one of our compilers frees while
/// they are still in use. Slots are few, made once, and never given back.
class ThreadSlot {
public:
    using Destroy = void (*)(void*);

    explicit ThreadSlot(Destroy destroy);
    ThreadSlot(const ThreadSlot&) = delete;
    ThreadSlot& operator=(const ThreadSlot&) = delete;

    void* get() const;
    void set(void* value) const;

private:
    unsigned long _key;
};

}  // namespace za::os
