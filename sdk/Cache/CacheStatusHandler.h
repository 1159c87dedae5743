// CacheStatusHandler: hands the record of a ResponseSource to the parser that fits its
// cacheStatus. No state; any thread may call.
#pragma once

#include "ResponseSource.h"

class CacheStatusHandler {
public:
    // source may be null, and its record may be null: both only log.
    static void handleCacheStatus(ResponseSource* source);
};
