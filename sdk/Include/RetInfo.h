// RetInfo: the return information of one call. Owned by its QuilResponse and freed with it;
// GetRetInfo hands out the record itself. Plain data, read on the thread that holds the response.
#pragma once

#include <cstdint>
#include <string>

class RetInfo {
public:
    std::string retCode;  // "SUCCESS" or a failure code such as "FAIL_SYS_SIGN_ERROR"
    std::string retMsg;   // the return message
    // 0 none, 1 local failure, 2 network failure (no body), 3 gateway failure.
    int32_t errorType = 0;
};
