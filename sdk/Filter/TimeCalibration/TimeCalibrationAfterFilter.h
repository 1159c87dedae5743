// TimeCalibrationAfterFilter: the first after filter. A response that the gateway rejected as
// expired teaches the process the server's clock (the core's IServerClock), and the request
// runs again, on its own road, with a corrected timestamp, at most three times over its life.
// Built once and owned by FilterManager; stateless, so any number of threads may run it.
#pragma once

#include "AfterFilter.h"

class TimeCalibrationAfterFilter : public AfterFilter {
public:
    // The bound on a request's retryTime, shared with every other kind of retry.
    static constexpr int kMaxRetryTime = 3;

    // "a_time_calibration"
    const char* GetName() override;
    // On an expired response: stores the server offset, then re-enters the pipeline
    // (result->code 1) while retryTime is below the bound, else lets the response pass
    // (result->code 0). Any other response passes. No argument is owned.
    void HandleResponse(QuilRequest* request, QuilResponse* response,
                        FilterResult* result) override;
};
