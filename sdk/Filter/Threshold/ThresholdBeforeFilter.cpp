#include "ThresholdBeforeFilter.h"

#include "Platform.h"
#include "QuilLogger.h"
#include "QuilRequestImpl.h"
#include "QuilResponseImpl.h"
#include "SaturatingArithmetic.h"

namespace {

constexpr int64_t kNanosecondsPerSecond = 1000000000;

}  // namespace

FlowControlEntry::FlowControlEntry() = default;
FlowControlEntry::~FlowControlEntry() = default;

ThresholdBeforeFilter::ThresholdBeforeFilter(Clock clock)
    : clock_(clock != nullptr ? clock : &quil::platform::MonotonicNanoseconds) {}

ThresholdBeforeFilter::~ThresholdBeforeFilter() = default;

const char* ThresholdBeforeFilter::GetName() { return "b_threshold"; }

std::string ThresholdBeforeFilter::Key(const std::string& api, const std::string& version) {
    return api + "$" + version;
}

int64_t ThresholdBeforeFilter::EndTime(int64_t now, int seconds) {
    // int64_t on every platform: a long of 32 bits would wrap after about two seconds.
    const int64_t span = static_cast<int64_t>(seconds) * kNanosecondsPerSecond;
    return SaturatingArithmetic::Add(now, span);
}

void ThresholdBeforeFilter::HandleRequest(QuilRequest* request, FilterResult* result) {
    if (request == nullptr || result == nullptr) {
        return;
    }
    const int id = request->GetId();
    QUIL_LOG(QUIL_LOG_VERBOSE, "handle threshold before filter, id: %d", id);
    const std::string key = Key(request->GetApi(), request->GetVersion());

    std::lock_guard<std::mutex> lock(flowControlMutex);
    auto found = flowControlEntries.find(key);
    if (found == flowControlEntries.end()) {
        QUIL_LOG(QUIL_LOG_VERBOSE, "request did not tigger flow control, id: %d", id);
        return;
    }
    FlowControlEntry* entry = found->second.get();
    if (clock_() < entry->expireTime) {
        QUIL_LOG(QUIL_LOG_WARN, "request is undering flow control, id: %d", id);
        QuilResponseImpl* copy = new QuilResponseImpl(*entry->response);
        // The caller of DoBefore hands this response on with the request it owns.
        copy->request.reset(request);
        result->code = 1;
        result->response = copy;
        result->responseSource = nullptr;
        return;
    }
    // A clock equal to the end counts as over.
    QUIL_LOG(QUIL_LOG_INFO, "request flow control expired, id: %d", id);
    flowControlEntries.erase(found);
    result->code = 0;
}

void ThresholdBeforeFilter::AddFlowControl(const std::string& api, const std::string& version,
                                           QuilResponse* response, int seconds) {
    if (api.empty() || version.empty()) {
        return;
    }
    QuilResponseImpl* source = dynamic_cast<QuilResponseImpl*>(response);
    if (source == nullptr) {
        return;
    }
    std::unique_ptr<FlowControlEntry> entry(new FlowControlEntry());
    entry->response.reset(new QuilResponseImpl(*source));

    const std::string key = Key(api, version);
    std::lock_guard<std::mutex> lock(flowControlMutex);
    entry->expireTime = EndTime(clock_(), seconds);
    // A new ban replaces the old one, also when the old one would have ended later.
    flowControlEntries[key] = std::move(entry);
}

std::size_t ThresholdBeforeFilter::EntryCount() {
    std::lock_guard<std::mutex> lock(flowControlMutex);
    return flowControlEntries.size();
}
