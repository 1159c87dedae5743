// quil::ParseArguments: turns quilcall's command line into CallOptions, or into one usage
// message that names the offending flag. Pure: reads files only for --data-file, touches no
// SDK object. Main thread only.
#pragma once

#include <string>
#include <vector>

#include "CallOptions.h"

namespace quil {

struct ParseOutcome {
    enum class Kind { kRun, kHelp, kUsageError };
    Kind kind = Kind::kRun;
    CallOptions options;
    // For kUsageError: one line, without the program name and without a line end.
    std::string error;
};

// args are the arguments after the program name. Flags take their value as the next argument
// or after "=" ("--appkey K" or "--appkey=K"); "--" ends the flags.
ParseOutcome ParseArguments(const std::vector<std::string>& args);

// Every flag the parser knows (except --help), so that the help text can be checked against it.
std::vector<std::string> KnownFlags();

}  // namespace quil
