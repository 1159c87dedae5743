// The one-time start of the security bridge and its "startUseTime" report. Every road that may be
// first (a synchronous call, an asynchronous task, a dispatch request) runs the start through
// RunOnce; whichever thread comes first runs it, and every other thread waits until it is done.
#pragma once

#include <functional>

class StartUseTime {
public:
    // Runs start exactly once per process, times it in whole milliseconds of the monotonic clock,
    // and reports the time used under "startUseTime". Later calls return at once without running
    // their start, once the first has finished. start must not call RunOnce itself.
    static void RunOnce(const std::function<void()>& start);

    // Registers the point "startUseTime" (no dimensions, the measure "timeUsed") and commits
    // timeUsed under it. Does nothing when no sink is registered.
    static void Report(double timeUsed);
};
