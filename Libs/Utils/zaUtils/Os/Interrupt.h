#pragma once

namespace za::os {

/// Called in a signal handler, or on a thread that the system makes for it: it may do no more than
/// write to lock-free atomic objects.
using OnInterrupt = void (*)();

/// While it lives, the user's first interrupt (Ctrl-C on the program's console) calls `onInterrupt`
/// and has no other effect. A second one has the effect that it had before.
///
/// Several may live at the same time: the one made last is called, and it takes a first interrupt
/// again. When all are gone, what was in force before is in force again. A program that ignores
/// interrupts (started in the background, for instance) goes on ignoring them.
class InterruptWatch {
public:
    explicit InterruptWatch(OnInterrupt onInterrupt);
    ~InterruptWatch();
    InterruptWatch(const InterruptWatch&) = delete;
    InterruptWatch& operator=(const InterruptWatch&) = delete;
};

}  // namespace za::os
