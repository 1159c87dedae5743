// ThresholdBeforeFilter: the last before filter. Keeps one flow-control ban per API and version
// (written from the response side by the traffic-protection filter) and, while a ban runs,
// ends every call of that API and version here with a copy of the response that caused it, so
// not a byte reaches the network. A ban covers every account of the process. Built once and
// owned by FilterManager; HandleRequest and AddFlowControl may run on any thread at once.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "BeforeFilter.h"
#include "QuilResponse.h"

class QuilResponseImpl;

// One running ban. The entry owns its response copy, which holds no request.
struct FlowControlEntry {
    int64_t expireTime = 0;  // monotonic nanoseconds at which the ban ends
    std::unique_ptr<QuilResponseImpl> response;

    FlowControlEntry();
    ~FlowControlEntry();
};

class ThresholdBeforeFilter : public BeforeFilter {
public:
    // Reads the monotonic clock in nanoseconds.
    using Clock = int64_t (*)();

    // clock null: the system's monotonic clock. Tests hand in a clock of their own.
    explicit ThresholdBeforeFilter(Clock clock = nullptr);
    ~ThresholdBeforeFilter() override;

    // "b_threshold"
    const char* GetName() override;

    // While a ban of request's api and version runs, sets result->code to 1 and
    // result->response to a new copy of the stored response that owns request (the caller of
    // DoBefore takes both); an expired ban is erased and the request goes on. Neither argument
    // is owned; a null one is ignored.
    void HandleRequest(QuilRequest* request, FilterResult* result) override;

    // Starts a ban of api and version for seconds from now, replacing any earlier one (the
    // last word counts, also when it is shorter). An empty api or version records nothing.
    // response stays with the caller; the filter keeps a copy. A response of a type the
    // library did not make is not stored.
    void AddFlowControl(const std::string& api, const std::string& version, QuilResponse* response,
                        int seconds);

    // The number of entries, expired ones that no request has seen yet included.
    std::size_t EntryCount();

    ThresholdBeforeFilter(const ThresholdBeforeFilter&) = delete;
    ThresholdBeforeFilter& operator=(const ThresholdBeforeFilter&) = delete;

private:
    static std::string Key(const std::string& api, const std::string& version);
    // now + seconds in nanoseconds, held at the ends of the 64-bit range instead of overflowing.
    static int64_t EndTime(int64_t now, int seconds);

    const Clock clock_;
    // Guards flowControlEntries and every entry in it, through the look-up, the copy and the
    // erase, so a stored response is never deleted while another thread copies it. Taken
    // alone: only the response's copy, its destructor and the logger run under it.
    std::mutex flowControlMutex;
    std::map<std::string, std::unique_ptr<FlowControlEntry>> flowControlEntries;
};
