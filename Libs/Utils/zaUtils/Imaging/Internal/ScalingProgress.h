#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <thread>

#include "zaUtils/Progress/zaStackedProgress.h"

namespace za::imaging {

/// The progress of a scaling across its threads: a level inside the calling thread's current one,
/// and nothing where there is none.
class ScalingProgress {
public:
    explicit ScalingProgress(double rows) {
        if (zaStackedProgress::current()) _level.emplace("Scaling images", rows, nullptr);
    }

    /// Whether to stop here, before the next rows. Any thread.
    bool stop() {
        if (!_level || !zaStackedProgress::s_cancelled.load(std::memory_order_relaxed))
            return false;
        _stopped.store(true, std::memory_order_relaxed);
        return true;
    }

    /// Whether anything was left undone. To be asked when the threads have finished.
    bool stopped() const { return _stopped.load(std::memory_order_relaxed); }

    /// Counts finished rows. Any thread; the one that owns the level tells it of all.
    void addRows(std::int64_t rows) {
        if (!_level) return;
        _done.fetch_add(rows, std::memory_order_relaxed);
        if (std::this_thread::get_id() != _owner) return;
        const std::int64_t done = _done.load(std::memory_order_relaxed);
        const std::int64_t added = done - _told;
        _told = done;
        _level->incrementBy(static_cast<double>(added));
    }

private:
    const std::thread::id _owner = std::this_thread::get_id();
    std::optional<zaStackedProgress> _level;
    std::atomic<std::int64_t> _done{0};
    std::atomic<bool> _stopped{false};
    std::int64_t _told = 0;
};

}  // namespace za::imaging
