// FreshCacheParser: A fresh record (status 1): the cache answers alone.
// No state; any thread may use one.
#pragma once

#include "ICacheParser.h"

class FreshCacheParser : public ICacheParser {
public:
    void parse(ResponseSource* source) override;
};
