#include "LogJob.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <deque>
#include <functional>
#include <optional>
#include <queue>
#include <thread>
#include <utility>

#include "ByteProgress.h"
#include "ExitCode.h"
#include "LogFile.h"
#include "LogReport.h"
#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Platform/zaConsole.h"

namespace {

constexpr std::chrono::milliseconds kTimeBetweenLooks{100};

std::atomic<bool> s_interrupted{false};

/// A second interruption ends the program at once, wherever it hangs.
void interrupt(int signal) {
    s_interrupted = true;
    std::signal(signal, SIG_DFL);
}

struct FoundEntry {
    std::size_t file = 0;
    LogEntry entry;
};

/// Merges the wanted entries of several files while it reads them.
class LogMerge {
public:
    explicit LogMerge(const LogRequest& request) : _filter(request.filter) {
        std::uint64_t size = 0;
        for (const std::string& name : request.files) {
            _files.push_back({LogFile(name, request.follow), {}, {}, 0});
            size += zaFile::getFileSize(name);
        }
        if (showsProgress(request)) _progress.emplace("Reading", size);
    }

    /// Looks for entries in all files, once all that were found are taken.
    void look(LogReport& report) {
        for (std::size_t i = 0; i < _files.size(); ++i) {
            if (_files[i].file.look()) advance(i);
            reportProblem(_files[i], report);
        }
    }

    /// The next entry, swapped with `found`; false when all are taken.
    bool next(FoundEntry& found, LogReport& report) {
        if (_heads.empty()) return false;
        found.file = _heads.top().second;
        _heads.pop();
        std::swap(found.entry, _files[found.file].head);
        advance(found.file);
        reportProblem(_files[found.file], report);
        return true;
    }

    /// Whether the user asked to stop while progress was shown.
    bool isCancelled() const { return _isCancelled; }
    void endProgress() { _progress.reset(); }

    int exitCode() const {
        if (_isCancelled) return ExitCode::kInterrupted;
        for (const Source& source : _files) {
            if (!source.file.wasRead() || !source.file.problem().empty()) return ExitCode::kFailed;
        }
        return ExitCode::kSuccess;
    }

private:
    struct Source {
        LogFile file;
        LogEntry head;  ///< its next wanted entry, when the queue holds the file
        std::string reportedProblem;
        std::uint64_t counted;  ///< bytes, as progress
    };
    using TimeAndFile = std::pair<LogTime, std::size_t>;

    void advance(std::size_t index) {
        Source& source = _files[index];
        while (source.file.next(source.head)) {
            if (!goesOn(source)) return;
            if (!_filter.matches(source.head)) continue;
            _heads.emplace(source.head.time, index);
            return;
        }
    }

    /// The terminal that entries are shown on has no room for a bar.
    static bool showsProgress(const LogRequest& request) {
        const bool entriesCome =
            zaConsole::isTerminal(zaConsole::Stream::Output) && !request.lastEntries;
        return !request.follow && !entriesCome;
    }

    bool goesOn(Source& source) {
        const std::uint64_t position = source.file.position();
        if (!_progress || position == source.counted) return true;
        _isCancelled = !_progress->add(position - source.counted);
        source.counted = position;
        return !_isCancelled;
    }

    void reportProblem(Source& source, LogReport& report) {
        const std::string& problem = source.file.problem();
        if (problem == source.reportedProblem) return;
        if (_progress) _progress->clear();
        if (!problem.empty()) report.addFailure(source.file.name(), problem);
        source.reportedProblem = problem;
    }

    const LogFilter& _filter;
    std::vector<Source> _files;
    std::optional<ByteProgress> _progress;
    bool _isCancelled = false;
    std::priority_queue<TimeAndFile, std::vector<TimeAndFile>, std::greater<>> _heads;
};

void reportAll(LogMerge& merge, LogReport& report) {
    FoundEntry found;
    while (!s_interrupted && !merge.isCancelled() && report.canGoOn() && merge.next(found, report))
        report.addEntry(found.file, found.entry);
    merge.endProgress();
}

void reportLast(std::size_t count, LogMerge& merge, LogReport& report) {
    std::deque<FoundEntry> last;
    FoundEntry found;
    while (!s_interrupted && !merge.isCancelled() && merge.next(found, report)) {
        last.push_back(std::move(found));
        if (last.size() <= count) continue;
        found = std::move(last.front());
        last.pop_front();
    }
    merge.endProgress();
    if (merge.isCancelled()) return;
    for (const FoundEntry& one : last)
        report.addEntry(one.file, one.entry);
}

void follow(LogMerge& merge, LogReport& report) {
    for (;;) {
        report.flush();
        if (s_interrupted || !report.canGoOn()) return;
        std::this_thread::sleep_for(kTimeBetweenLooks);
        merge.look(report);
        reportAll(merge, report);
    }
}

}  // namespace

int runLog(const LogRequest& request, LogReport& report) {
    if (request.follow) std::signal(SIGINT, interrupt);
    LogMerge merge(request);
    report.begin();
    merge.look(report);
    if (request.lastEntries) {
        reportLast(*request.lastEntries, merge, report);
    } else {
        reportAll(merge, report);
    }
    if (request.follow) follow(merge, report);
    report.end(merge.exitCode());
    return merge.exitCode();
}
