// One domain's strategy: the addresses the dispatch service named for it. Held by shared
// pointer in ZentDispatcher's table and only touched under the dispatcher's mutex.
#pragma once

#include <string>
#include <vector>

struct ZentInfo {
    // Addresses in the order of the answer; lookups hand out the last, failures remove it.
    std::vector<std::string> ips;
    // True while the answer's addresses are not used up.
    bool valid = false;
};
