#include "zaUtils/Logging/Internal/LogRing.h"

#include <algorithm>
#include <cstring>

namespace za::log {

namespace {

LogRing g_ring;  // constant-initialised, and nothing to destroy

}  // namespace

LogRing& logRing() {
    return g_ring;
}

void LogRing::add(char kind, const char* text, std::int64_t time) {
    const std::uint64_t next = _next.load(std::memory_order_relaxed);
    Message& message = _messages[next % kMessages];
    const std::size_t length = std::min(std::strlen(text), kTextSize - 1);
    message.time = time;
    message.kind = kind;
    // Not memcpy: for a length that is known to be limited, one of our compilers copies by an
    // instruction that takes longer to start than to copy.
    std::memmove(message.text, text, length);
    message.text[length] = '\0';
    _next.store(next + 1, std::memory_order_release);
}

std::size_t LogRing::size() const {
    const std::uint64_t count = _next.load(std::memory_order_acquire);
    return static_cast<std::size_t>(std::min<std::uint64_t>(count, kMessages));
}

const LogRing::Message& LogRing::operator[](std::size_t index) const {
    const std::uint64_t count = _next.load(std::memory_order_acquire);
    const std::uint64_t first = count < kMessages ? 0 : count - kMessages;
    return _messages[(first + index) % kMessages];
}

}  // namespace za::log
