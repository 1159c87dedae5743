// quil::RenderText and quil::RenderJson: how quilcall shows the outcome of its call, as lines
// for a person or as one JSON object for a script. Pure functions.
#pragma once

#include <string>

#include "CallRunner.h"
#include "PerformanceCapture.h"

namespace quil {

// status, retCode, retMsg, errorType, the headers, and the body (pretty-printed when it is a
// JSON object or array). A call that brought no response is one "no response: ..." line.
std::string RenderText(const CallOutcome& outcome);

// One JSON object and a line feed. report, when not null, adds "timing" (the phases) and
// "performance" (the report as it came).
std::string RenderJson(const CallOutcome& outcome, const PerformanceReport* report);

}  // namespace quil
