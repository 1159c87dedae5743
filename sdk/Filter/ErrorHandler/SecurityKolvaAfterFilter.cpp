#include "SecurityKolvaAfterFilter.h"

#include <atomic>
#include <cinttypes>
#include <memory>

#include "KolvaContent.h"
#include "MetricsEntity.h"
#include "PipelineReentry.h"
#include "QuilLogger.h"
#include "QuilRequestImpl.h"
#include "QuilSignImpl.h"
#include "ThresholdBeforeFilter.h"
#include "UTDataSet.h"

namespace {

// The verdicts this filter tells apart.
constexpr int kResendAction = 4;
constexpr int kBanAction = 1;
constexpr int kBanSubAction = 4;

const char* const kResendHeader = "x-kv-resend";

// Set once a test has scripted the bridge; until then the process's own bridge is asked.
std::atomic<IQuilSign*> signForTesting{nullptr};
std::atomic<bool> signScripted{false};

bool IsTrafficProtectionStatus(int status) {
    return status == 419 || status == 420 || status == 421;
}

}  // namespace

SecurityKolvaAfterFilter::SecurityKolvaAfterFilter(ThresholdBeforeFilter* thresholdFilter,
                                                   IQuilSign* sign)
    : thresholdFilter(thresholdFilter), sign_(sign) {}

const char* SecurityKolvaAfterFilter::GetName() { return "a_security_kolva"; }

void SecurityKolvaAfterFilter::SetSignForTesting(IQuilSign* sign) {
    signForTesting.store(sign);
    signScripted.store(sign != nullptr);
}

IQuilSign* SecurityKolvaAfterFilter::Sign() const {
    if (sign_ != nullptr) return sign_;
    if (signScripted.load()) return signForTesting.load();
    return QuilSignImpl::GetInstance();
}

void SecurityKolvaAfterFilter::HandleResponse(QuilRequest* request, QuilResponse* response,
                                              FilterResult* result) {
    result->code = 0;
    if (response == nullptr || request == nullptr) {
        return;
    }
    const int id = request->GetId();
    QUIL_LOG(QUIL_LOG_VERBOSE, "handle security kolva after filter, id: %d", id);
    if (!IsTrafficProtectionStatus(response->GetStatusCode())) {
        QUIL_LOG(QUIL_LOG_VERBOSE, "response did not trigger flow control, id: %d", id);
        return;
    }
    IQuilSign* sign = Sign();
    if (sign == nullptr) {
        return;
    }
    std::string content = KolvaContent::Build(response->GetHeaders(), response->GetStatusCode());

    MetricsEntity* entity = UTDataSet::GetInstance()->GetExistMetricsEntity(request);
    entity->processContentStartTime = MetricsEntity::Now();
    std::unique_ptr<ActionResult> action(sign->ProcessContent(id, content));
    entity->processContentEndTime = MetricsEntity::Now();
    if (!action) {
        return;
    }
    QUIL_LOG(QUIL_LOG_WARN, "response flow control resp action: %d, subAction:%d",
             action->mainAction, action->subAction);

    if (action->mainAction == kResendAction) {
        Resend(request, response, action->actionParam, result);
    } else if (action->mainAction == kBanAction && action->subAction == kBanSubAction) {
        QUIL_LOG(QUIL_LOG_WARN, "response need to be flow control, id: %d", id);
        result->code = 0;
        Ban(request, response, action->actionParam);
    } else {
        QUIL_LOG(QUIL_LOG_INFO, "response pass flow control without limit, id: %d", id);
        result->code = 0;
    }
}

void SecurityKolvaAfterFilter::Resend(QuilRequest* request, QuilResponse* response,
                                      const std::string& actionParam, FilterResult* result) {
    const int id = request->GetId();
    QuilRequestImpl* impl = dynamic_cast<QuilRequestImpl*>(request);
    if (impl != nullptr && impl->retryTime >= kResendPassLimit) {
        // The call ends with the answer of its last pass instead of nesting further.
        QUIL_LOG(QUIL_LOG_ERROR, "response flow control resend limit reached, id: %d, passes: %d",
                 id, static_cast<int>(impl->retryTime));
        result->code = 0;
        return;
    }
    QUIL_LOG(QUIL_LOG_WARN, "response flow control need retry, id: %d", id);
    result->code = 1;
    // An empty parameter leaves the header of an earlier pass in place.
    if (!actionParam.empty()) {
        request->AddHeader(kResendHeader, actionParam);
    }
    PipelineReentry::Reenter(request, response, result);
}

void SecurityKolvaAfterFilter::Ban(QuilRequest* request, QuilResponse* response,
                                   const std::string& actionParam) {
    if (thresholdFilter == nullptr) {
        return;
    }
    int seconds = 0;
    switch (KolvaContent::ReadBanSeconds(actionParam, &seconds)) {
        case KolvaContent::BanLength::kNone:
            return;
        case KolvaContent::BanLength::kRead:
            QUIL_LOG(QUIL_LOG_INFO, "response under flow control (%" PRId64 ")s",
                     static_cast<int64_t>(seconds));
            break;
        case KolvaContent::BanLength::kDefault:
            seconds = KolvaContent::kDefaultBanSeconds;
            QUIL_LOG(QUIL_LOG_INFO, "response under flow control with default (10)s");
            break;
    }
    thresholdFilter->AddFlowControl(request->GetApi(), request->GetVersion(), response, seconds);
}

bool SecurityKolvaAfterFilter::GetCookie(const std::string& url, std::string& cookie) {
    IQuilSign* sign = Sign();
    if (sign == nullptr) {
        return false;
    }
    std::string target = url;
    cookie = sign->GetCookies(target);
    return !cookie.empty();
}
