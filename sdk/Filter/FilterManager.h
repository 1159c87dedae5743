// FilterManager: owns the before and after chains, runs them for every call, and carries the
// exchange with the host's remote-configuration component (IOmbrelHeaderHandler). The
// singleton is built at first use and never destroyed. The chains are read-only once built, so
// DoBefore and DoAfter may run on any number of threads at once.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "AfterFilter.h"
#include "BeforeFilter.h"
#include "FilterResult.h"
#include "IOmbrelHeaderHandler.h"
#include "QuilRequest.h"
#include "QuilResponse.h"

class FilterManager {
public:
    using BeforeChain = std::vector<std::unique_ptr<BeforeFilter>>;
    using AfterChain = std::vector<std::unique_ptr<AfterFilter>>;

    // The singleton with the fixed chains.
    static FilterManager* GetInstance();

    // A manager over the given chains (null entries are passed over). The service uses the
    // singleton only; tests build their own chains with this.
    FilterManager(BeforeChain beforeChain, AfterChain afterChain);
    ~FilterManager();
    FilterManager(const FilterManager&) = delete;
    FilterManager& operator=(const FilterManager&) = delete;

    // Runs the before chain over request (not null), starting at the filter named resumeFilter
    // when it is not null. Never returns null; the caller owns and deletes the result.
    FilterResult* DoBefore(QuilRequest* request, const char* resumeFilter);

    // Runs the whole after chain over response. Null when request or response is null;
    // otherwise a new result the caller owns and deletes.
    FilterResult* DoAfter(QuilRequest* request, QuilResponse* response);

    // Stores the host's component (not owned); null removes it.
    void SetOmbrelHandler(IOmbrelHeaderHandler* handler);
    // Removes the component and returns the one that was set.
    IOmbrelHeaderHandler* ClearOmbrelHandler();

    // The name of the filter at each position, in chain order; "" for an empty position.
    std::vector<std::string> BeforeFilterNames() const;
    std::vector<std::string> AfterFilterNames() const;

private:
    // The fixed chains.
    FilterManager();

    // Adds "a-ombrel-q" from the host's component to request, if a component is set.
    void AddOmbrelQueryHeader(QuilRequest* request);
    // Hands "a-ombrel-p" of response to the host's component, if a component is set.
    void NotifyOmbrelResponseHeader(QuilRequest* request, QuilResponse* response);
    // The host's component with ombrelMutex held through lock, or null when none is set (the
    // lock is then taken only if a component was set a moment before).
    IOmbrelHeaderHandler* LockOmbrelHandler(std::unique_lock<std::mutex>& lock);

    BeforeChain beforeFilters;
    AfterChain afterFilters;
    // The host's component, not owned. Atomic so that the quick test outside ombrelMutex is no
    // data race; every use of the pointer happens under ombrelMutex.
    std::atomic<IOmbrelHeaderHandler*> ombrelHandler{nullptr};
    // Guards ombrelHandler and every call through it, so the host's component is called by one
    // thread at a time and cannot be cleared while a call runs. Taken with no other lock of the
    // system held, and released before any filter runs.
    std::mutex ombrelMutex;
};
