// ExpiredCacheParser: An expired record (status 2): the stale response is offered, and the network
// is still needed. No state; any thread may use one.
#pragma once

#include "ICacheParser.h"

class ExpiredCacheParser : public ICacheParser {
public:
    void parse(ResponseSource* source) override;
};
