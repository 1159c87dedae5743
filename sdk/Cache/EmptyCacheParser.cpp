#include "EmptyCacheParser.h"

#include "QuilLogger.h"

void EmptyCacheParser::parse(ResponseSource* /*source*/) {
    QUIL_LOG(QUIL_LOG_INFO, "parse EmptyCacheParser called");
}
