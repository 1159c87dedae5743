// quil::HelpText: what "quilcall --help" prints: the synopsis, one line per flag, the exit
// codes. Pure function.
#pragma once

#include <string>

namespace quil {

std::string HelpText();

}  // namespace quil
