#include "TimeCalibrationAfterFilter.h"

#include <cstdlib>
#include <string>

#include "PipelineReentry.h"
#include "Platform.h"
#include "QuilLogger.h"
#include "QuilRequestImpl.h"
#include "SaturatingArithmetic.h"

const char* TimeCalibrationAfterFilter::GetName() { return "a_time_calibration"; }

void TimeCalibrationAfterFilter::HandleResponse(QuilRequest* request, QuilResponse* response,
                                                FilterResult* result) {
    const int id = request != nullptr ? request->GetId() : -1;
    QUIL_LOG(QUIL_LOG_VERBOSE, "handle time calibration after filter, id: %d", id);
    result->code = 0;
    if (response == nullptr || !response->IsRequestExpired()) {
        return;
    }
    QUIL_LOG(QUIL_LOG_WARN, "response expired, local time calibrate, id: %d", id);

    // No test on the text: a missing or malformed server time reads as 0, and the offset then
    // becomes minus the present time. Every expired answer updates it, even past the bound,
    // so that later requests profit.
    const std::string sysTime = response->GetSysTime();
    const int64_t serverSeconds = std::strtoll(sysTime.c_str(), nullptr, 10);
    // strtoll saturates at the 64-bit limits; the difference is held there as well.
    PipelineReentry::Clock()->Calibrate(
        SaturatingArithmetic::Subtract(serverSeconds, quil::platform::WallClockSeconds()));

    QuilRequestImpl* impl = dynamic_cast<QuilRequestImpl*>(request);
    if (impl == nullptr) {
        return;  // a request of a foreign class cannot be sent again; the response passes
    }
    if (impl->retryTime < kMaxRetryTime) {
        PipelineReentry::Reenter(request, response, result);
        return;
    }
    QUIL_LOG(QUIL_LOG_WARN, "response get max retrtTime, id: %d", id);
}
