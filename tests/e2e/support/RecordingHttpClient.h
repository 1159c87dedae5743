// An IHttpClient for end-to-end tests that hands every exchange to a real transport (the curl
// adapter) and keeps a copy of what the library composed and what the transport answered, so a
// test can compare the library's side with what the gateway emulator received. It can also hold
// exchanges before they start, and tell when the library's completion of an asynchronous exchange
// has returned. Thread-safe: the library calls it from its network workers and from every
// synchronous caller at once. The test owns it; it must outlive every call. A completion that
// passes through it shares its records, so even a completion still running when it is destroyed
// touches nothing freed; its destructor waits (bounded) for such completions to end.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "IHttpClient.h"

namespace quil {
namespace test {

// One exchange as the library handed it over and as the transport answered it.
struct RecordedExchange {
    int requestId = -1;
    int method = -1;
    std::string url;
    std::vector<std::string> headerLines;
    std::string body;
    std::string proxy;
    bool answered = false;  // false when the transport returned no response
    int statusCode = 0;
    std::string responseHeader;
    std::string responseBody;
    std::string errorMessage;
};

class RecordingHttpClient : public IHttpClient {
public:
    // transport is not owned and must outlive this client.
    explicit RecordingHttpClient(IHttpClient* transport);
    // Waits until every completion that passed through this client has returned.
    ~RecordingHttpClient() override;
    RecordingHttpClient(const RecordingHttpClient&) = delete;
    RecordingHttpClient& operator=(const RecordingHttpClient&) = delete;

    HttpResponse* SendHttpRequest(HttpRequest* request) override;

    std::vector<RecordedExchange> Exchanges() const;
    std::size_t Count() const;
    // Waits until count exchanges have ended, or limit passes.
    bool WaitForExchanges(std::size_t count, std::chrono::milliseconds limit) const;

    // While on, each exchange waits before it starts (at most 30 s) until the hold ends.
    void HoldExchanges(bool on);
    // Waits until count exchanges have been held, or limit passes.
    bool WaitForHeld(std::size_t count, std::chrono::milliseconds limit) const;
    // The request ids of the exchanges held so far, in order.
    std::vector<int> HeldRequestIds() const;

    // Waits until the library's completions of count asynchronous exchanges have returned.
    bool WaitForCompletions(std::size_t count, std::chrono::milliseconds limit) const;
    // Waits until the completion of every asynchronous exchange sent so far has returned.
    bool WaitForEveryCompletion(std::chrono::milliseconds limit) const;

private:
    // What the client and the completions passing through it share; it lives as long as the
    // longer of the two.
    struct Records;
    // Stands between the network manager and the library's completion of one exchange.
    struct CompletionProbe;
    static void ProbeCompletion(HttpResponse* response, void* context);

    IHttpClient* const transport_;
    const std::shared_ptr<Records> records_;
};

}  // namespace test
}  // namespace quil
