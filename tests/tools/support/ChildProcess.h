// quil::test::RunChild: runs a program as a child process with extra environment variables,
// collects its standard output and standard error, and waits for it within a limit (the child
// is killed when it overstays). For the tests that run quilcall as a host would. Any thread.
#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace quil {
namespace test {

struct ChildResult {
    bool started = false;   // the program could be started
    bool finished = false;  // it ended on its own within the limit
    int exitCode = -1;      // its exit status when it ended normally, else -1
    std::string out;        // everything it wrote to standard output
    std::string err;        // everything it wrote to standard error
};

// environment entries are set (or replaced) on top of this process's environment; an empty
// value removes the variable.
ChildResult RunChild(
    const std::string& program, const std::vector<std::string>& args,
    const std::map<std::string, std::string>& environment = std::map<std::string, std::string>(),
    std::chrono::seconds limit = std::chrono::seconds(60));

}  // namespace test
}  // namespace quil
