#pragma once

#include <atomic>
#include <string>

#include "zaUtils/Api.h"

/// The progress of nested operations, and the request to stop them.
///
/// An operation makes a level on its stack for as long as it runs; levels made while another one
/// lives on the same thread are inside it. Work done in a level also moves the levels around it:
///
/// ```
/// zaStackedProgress load("Loading scene", 2.0, &bar);
/// readMeshes();         // has a level of its own: moves `load` from 0 to 1 while it runs
/// load.setScale(0.5);   // what comes next counts half
/// readTextures();       // from 1 to 1.5
/// load.setScale(1.0);
/// load.incrementBy(0.5);
/// ```
///
/// Levels end in the reverse order of their making, which their scopes see to. One that ends out of
/// order leaves the thread's stack as it is, with the levels inside it pointing to what is no more.
///
/// Thread safety: each thread has a stack of its own, and a level belongs to the thread that made
/// it. The counter and the request to stop are atomic and shared by all threads.
class ZAUTILS_API zaStackedProgress {
public:
    /// Hears of every change of the levels that it is given to. It stays its owner's, is never
    /// deleted through this class (which deliberately has no virtual destructor) and must outlive
    /// the levels. What it does not override does nothing.
    ///
    /// An exception leaves the call that made the change; one thrown while a level ends terminates
    /// the program.
    class ZAUTILS_API Handler {
    public:
        Handler() = default;

        /// A level was made; `text` is its text.
        virtual void startProgress(const std::string& text);
        /// The level ends; `cancelled` tells whether a stop is requested.
        virtual void finishProgress(bool cancelled);
        /// What is done of the level, from 0 to 1 (more when its maximum is exceeded); 0 when its
        /// maximum is not greater than 0.
        virtual void setProgress(double fraction);
        /// What was just added to the level, as a fraction of its maximum; infinite or NaN when
        /// that is 0. Comes before the `setProgress` of the same change.
        virtual void incrementProgress(double fraction);
        /// The texts of this level and of those inside it, outer ones first, one a line.
        virtual void setProgressState(const std::string& text);
    };

    /// Begins a level that is complete at `maximum`; `handler` may be null. The first level of the
    /// process withdraws an old request to stop. Throws what the handler's `startProgress` throws;
    /// then no level was begun.
    zaStackedProgress(const std::string& text, double maximum, Handler* handler);

    /// Completes the level, which moves the levels around it by what was not reported, and ends it.
    /// The last level of the process withdraws the request to stop.
    ~zaStackedProgress();

    /// Copies deliberately take over every member as it stands, the surrounding level included. A
    /// copy is neither counted nor on the thread's stack, yet its end counts down like any other.
    zaStackedProgress(const zaStackedProgress&) = default;
    zaStackedProgress& operator=(const zaStackedProgress&) = default;

    /// Adds `amount` times the scale to this level and what follows from that to the levels around
    /// it: a level's maximum is worth 1 to the one around it, times the scale of that one.
    /// Nothing happens for 0. Allocates nothing and takes no lock.
    void incrementBy(double amount);

    /// The factor of whatever arrives at this level from now on, by `incrementBy` or from inside.
    void setScale(double scale) { _scale = scale; }

    /// Replaces the text and tells all handlers on this thread, from the innermost level outward,
    /// whichever level this is.
    void setState(const std::string& text);

    /// What is done, from 0 to 1: deliberately a fraction, in spite of the name. 0 when the maximum
    /// is not greater than 0.
    double getPercent() const { return _maximum > 0.0 ? _value / _maximum : 0.0; }
    double getValue() const { return _value; }
    double getMaximum() const { return _maximum; }

    /// Whether a stop is requested; the same for all levels of the process.
    bool cancelled() const { return s_cancelled.load(); }

    /// Requests all operations of the process to stop. May be called from any thread and from a
    /// signal handler: it is one atomic exchange.
    static void cancelAll();

    /// The calling thread's innermost level, null when there is none.
    static zaStackedProgress* current();

    static std::atomic<int> s_count;       ///< levels that live in the process
    static std::atomic<bool> s_cancelled;  ///< a stop is requested

private:
    static void push(zaStackedProgress* level);
    static void pop(zaStackedProgress* level);
    static void countDown();

    void propagate(double amount);
    void report(double added);
    void finish();

    std::string _state;
    double _maximum;
    double _value = 0.0;
    double _scale = 1.0;
    Handler* _handler;
    zaStackedProgress* _parent = nullptr;
};
