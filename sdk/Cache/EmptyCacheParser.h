// EmptyCacheParser: Any other status (0 never judged, 3 empty): nothing is offered.
// No state; any thread may use one.
#pragma once

#include "ICacheParser.h"

class EmptyCacheParser : public ICacheParser {
public:
    void parse(ResponseSource* source) override;
};
