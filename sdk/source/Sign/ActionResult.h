// The closed library's verdict on traffic content. Allocated by ProcessContent; the caller owns
// and deletes it.
#pragma once

#include <string>

struct ActionResult {
    // The action; 0 when nothing is known.
    int mainAction = 0;
    // The detail of the action; 0 when nothing is known.
    int subAction = 0;
    // Parameter text of the action; empty when nothing is known.
    std::string actionParam;
};
