// InFlightCalls: the bookkeeping of asynchronous calls whose HTTP send is under way. The
// service enters a call just before its send, the completion on a network worker takes it
// out, and a cancel on any thread withdraws it. Owns neither the requests nor the
// HttpRequests it maps; the withdrawn sends it remembers are freed by their late answers.
// Every operation is safe from any thread.
#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <set>

class HttpRequest;
class QuilRequestImpl;

class InFlightCalls {
public:
    // Enters request under its send; from here a cancel may take it.
    void Enter(HttpRequest* send, QuilRequestImpl* request);

    // The completion of send: removes and returns its request. When none is entered (the call
    // was withdrawn) returns null, and sets abandoned when send was a withdrawn one whose
    // answer the caller now frees.
    QuilRequestImpl* Complete(HttpRequest* send, bool& abandoned);

    // Withdraws the first entry (in key order) whose request matches. onWithdrawn(send,
    // request) runs under the lock, before the entry goes, so that what it logs and cancels
    // keeps its order against a concurrent completion. Returns the request, now nobody's, or
    // null when none matched.
    template <typename Match, typename OnWithdrawn>
    QuilRequestImpl* Withdraw(Match matches, OnWithdrawn onWithdrawn) {
        std::lock_guard<std::recursive_mutex> lock(mutex);
        for (auto entry = inFlight.begin(); entry != inFlight.end(); ++entry) {
            if (entry->second == nullptr || !matches(entry->second)) {
                continue;
            }
            QuilRequestImpl* request = entry->second;
            onWithdrawn(entry->first, request);
            abandonedSends.insert(entry->first);
            inFlight.erase(entry);
            return request;
        }
        return nullptr;
    }

    // Read-only views, for tests and diagnostics; each takes the lock for its own read.
    std::size_t InFlightCount() const;
    bool IsInFlight(const HttpRequest* send) const;
    std::size_t AbandonedCount() const;

private:
    // Guards inFlight and abandonedSends. Recursive: a cancel holds it across its call into
    // NetworkManager, whose removal of a queued send may come back here. In the system's lock
    // order it is the outermost lock, before the NetworkManager singleton mutex.
    mutable std::recursive_mutex mutex;
    // Requests whose asynchronous HTTP send is running, by their HttpRequest.
    std::map<HttpRequest*, QuilRequestImpl*> inFlight;
    // The HttpRequests of withdrawn calls whose sends may still reach the client, so that
    // their late answers can be freed. One whose queued send was removed never comes back and
    // stays here (see docs/decisions.md).
    std::set<HttpRequest*> abandonedSends;
};
