// Receives the completions of asynchronous gateway calls in tests, as a host's callback would:
// Attach puts Callback and the recorder on a request. Each delivery is summarised, an optional
// hook sees the response first (on the delivering thread), and then the response is deleted,
// with its request, as the host owns it. Thread-safe; the test owns the recorder and keeps it
// alive while deliveries may come.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "QuilRequest.h"
#include "QuilResponse.h"
#include "TestSync.h"

namespace quil {
namespace test {

// What one delivery carried.
struct Delivery {
    bool isNull = false;  // the callback was called with null
    int id = -1;          // the id of the response's request
    std::string retCode;
    std::string retMsg;
    int errorType = -1;
    int statusCode = 0;
    std::string body;
    const QuilRequest* request = nullptr;  // identity only; deleted with the response
    std::thread::id thread;
};

class QuilCallbackRecorder {
public:
    // The host callback: userData is the QuilCallbackRecorder.
    static void Callback(QuilResponse* response, void* userData);

    // Sets Callback and this recorder on request.
    void Attach(QuilRequest* request);

    // Called with each response before it is summarised and deleted.
    void SetOnDeliver(std::function<void(QuilResponse*)> onDeliver);

    std::vector<Delivery> Deliveries() const;
    std::size_t Count() const;
    // The deliveries whose request had this id.
    std::size_t CountFor(int id) const;
    // True when at least count deliveries came within the limit.
    bool WaitFor(std::size_t count, std::chrono::milliseconds limit = kWaitLimit) const;

private:
    void Record(QuilResponse* response);

    mutable std::mutex mutex_;  // guards deliveries_ and onDeliver_
    mutable std::condition_variable changed_;
    std::vector<Delivery> deliveries_;
    std::function<void(QuilResponse*)> onDeliver_;
};

}  // namespace test
}  // namespace quil
