// ApiCacheConfig: how one API ("api$version") is cached: the storage block its entries go to,
// and whether a new entry keeps the version of the one it replaces. A plain record.
#pragma once

#include <string>

struct ApiCacheConfig {
    std::string blockName;
    bool keepVersion = false;
};
