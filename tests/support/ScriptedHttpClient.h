// A host transport for tests: answers each send with the next prepared response (or a default),
// records a copy of every request it was given, can hold every send at a gate until the test
// opens it, and counts the sends in flight. The test owns it and must keep it alive while sends
// may still run. All members are thread-safe: the library calls it from several threads.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "IHttpClient.h"
#include "TestSync.h"

namespace quil {
namespace test {

// One prepared answer. With isNull set the client returns null instead of a response.
struct ScriptedResponse {
    int statusCode = 200;
    std::string header;  // raw header bytes, e.g. "HTTP/1.1 200 OK\r\nx-retcode: SUCCESS\r\n"
    std::string body;
    std::string errorMessage;
    bool isNull = false;

    static ScriptedResponse Null() {
        ScriptedResponse response;
        response.isNull = true;
        return response;
    }
};

// A copy of what one HttpRequest held when it reached the client.
struct RecordedRequest {
    int requestId = -1;
    int method = 4;
    std::string url;
    std::string body;
    std::vector<std::string> header;
    std::string cancelKey;
    std::string sslValue;
    std::string proxy;
    const HttpRequest* address = nullptr;  // for identity checks only; may be gone
};

class ScriptedHttpClient : public IHttpClient {
public:
    // Returns the next queued answer, or the default (status 200, empty) when none is queued.
    // The response's request is the very request given. Blocks at the gate while it is closed.
    HttpResponse* SendHttpRequest(HttpRequest* request) override;

    // Queues an answer; answers are used in the order queued.
    void Enqueue(const ScriptedResponse& response);
    // The answer used when the queue is empty.
    void SetDefault(const ScriptedResponse& response);

    // While closed, every send waits after being recorded until OpenGate (at most kWaitLimit).
    void CloseGate();
    void OpenGate();

    // Called at the start of every send, on the sending thread, with no lock of the client
    // held; empty by default. For tests that look at the library's state while a send is on.
    void SetOnSend(std::function<void(HttpRequest*)> onSend);

    // Makes every send take at least this long after the gate (a slow exchange); 0 by default.
    void SetDelay(std::chrono::milliseconds delay);

    // Every request seen so far, in the order the sends began.
    std::vector<RecordedRequest> Requests() const;
    std::size_t SendCount() const;
    // Sends currently inside SendHttpRequest, and the largest number seen at once.
    int InFlight() const;
    int MaxInFlight() const;

    // Wait until at least count sends have begun / are in flight; false when the limit passed.
    bool WaitForSends(std::size_t count, std::chrono::milliseconds limit = kWaitLimit) const;
    bool WaitForInFlight(int count, std::chrono::milliseconds limit = kWaitLimit) const;

private:
    // Guards every field below.
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::deque<ScriptedResponse> queued_;
    ScriptedResponse default_;
    std::vector<RecordedRequest> requests_;
    bool gateClosed_ = false;
    std::chrono::milliseconds delay_{0};
    std::function<void(HttpRequest*)> onSend_;
    int inFlight_ = 0;
    int maxInFlight_ = 0;
};

}  // namespace test
}  // namespace quil
