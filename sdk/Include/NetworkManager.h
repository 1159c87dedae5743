// NetworkManager: the process-wide door through which every HTTP exchange passes. It hands an
// HttpRequest to the host's IHttpClient, on the caller's thread or on its own pool of five
// workers. The library owns the singleton; the host never deletes it. DestroyInstance retires
// it instead: the retired object stays alive for the life of the process (others may still hold
// its address) and hands every later call on to the current singleton, built anew when needed.
// Every operation may be called from any thread, except DestroyInstance (see there).
#pragma once

#include <atomic>
#include <memory>

#include "HttpRequest.h"
#include "HttpResponse.h"
#include "IHttpClient.h"
#include "QuilExport.h"

class ThreadPool;

class QUIL_API NetworkManager {
public:
    // The singleton, built at the first call with a pool of five workers and no client.
    static NetworkManager* GetInstance();

    // Retires the singleton if it exists: its pool stops (running sends finish and call back
    // as usual; queued ones are dropped) and the next GetInstance builds a new manager, which
    // starts with no client. The retired object is never freed: a pointer to it stays usable,
    // and each call on it is served by the current singleton. Not to be called while other
    // threads use the manager.
    static void DestroyInstance();

    // Stops the pool (which then frees itself) and clears the singleton pointer. Does not
    // wait for running sends, and leaves the client alone.
    virtual ~NetworkManager();

    NetworkManager(const NetworkManager&) = delete;
    NetworkManager& operator=(const NetworkManager&) = delete;

    // Stores the host's transport; null is ignored, so a client can be replaced but never
    // removed. The host keeps ownership and must keep it alive while sends may run.
    void RegisterHttpClient(IHttpClient* client);

    // Sends on the calling thread. Returns the client's response (the caller owns it, and with
    // it the request), or null: for a null request, with no client (silently), or when the
    // client answered null (the caller then keeps the request).
    HttpResponse* SendSyncHttpRequest(HttpRequest* request);

    // Queues the send on the pool under the request's cancelKey and returns 0, or -6 for a
    // null request. The request must carry a callback: it is called on a pool worker with the
    // response, which it then owns, and with it the request. 0 says only that the send was
    // queued; a stopped pool drops it.
    int SendAsyncHttpRequest(HttpRequest* request);

    // Removes the oldest queued send whose task name equals the request's cancelKey. A removed
    // send never reaches the client nor calls back, so the caller keeps its request. A send
    // already under way runs on.
    void CancelHttpRequest(HttpRequest* request);
    // The same with the key given directly; null is ignored.
    void CancelHttpRequest(const char* cancelKey);
    // Removes every queued send.
    void CancelAllHttpRequest();
    // Forwards to CancelAllHttpRequest.
    void CancelAllRequest();

    // Kept for hosts; the value is discarded. Timeouts are the client's business.
    void SetHttpTimeout(int timeout);
    // Stores the value and nothing more: the pool keeps its five workers.
    void SetHttpMaxConcurrentCount(int count);
    // Stores the value and nothing more.
    void SetDownloadMaxConcurrentCount(int count);

private:
    NetworkManager();

    // The manager that serves a call made on this one: null while this is the singleton, the
    // current singleton once DestroyInstance has retired this one.
    NetworkManager* Successor();

    // Set once by DestroyInstance, never cleared.
    std::atomic<bool> retired_{false};

    // Stored by the setters and read by nothing.
    std::atomic<int> httpMaxConcurrentCount_{5};
    std::atomic<int> downloadMaxConcurrentCount_{5};
    // Runs the asynchronous sends. Never deleted here: after Stop the pool frees itself.
    ThreadPool* threadPool_ = nullptr;
    // The host's client, not owned. Shared with the queued sends, so that a send already taken
    // by a worker can still read it after the manager is gone.
    std::shared_ptr<std::atomic<IHttpClient*>> httpClient_;
};
