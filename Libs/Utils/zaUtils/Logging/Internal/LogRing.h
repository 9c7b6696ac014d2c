#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace za::log {

/// The last messages of the log, in memory of fixed size, for a report after a crash.
///
/// Messages come in under the log's lock. They are read without it, when the process is at its end:
/// then a message that is just being written may be cut or mixed with the one before it, but ends.
class LogRing {
public:
    static constexpr std::size_t kMessages = 200;
    static constexpr std::size_t kTextSize = 1024;  ///< with the end; the rest is cut off

    struct Message {
        std::int64_t time;  ///< in seconds since 1970 (UTC)
        char kind;          ///< 'I', 'W' or 'E'
        alignas(16) char text[kTextSize];
    };

    void enable() { _enabled.store(true, std::memory_order_relaxed); }
    bool isEnabled() const { return _enabled.load(std::memory_order_relaxed); }

    void add(char kind, const char* text, std::int64_t time);

    /// How many messages there are.
    std::size_t size() const;
    /// They count from the oldest.
    const Message& operator[](std::size_t index) const;

private:
    std::atomic<bool> _enabled{false};
    std::atomic<std::uint64_t> _next{0};
    Message _messages[kMessages] = {};
};

/// The one that the log writes to when it is enabled.
LogRing& logRing();

}  // namespace za::log
