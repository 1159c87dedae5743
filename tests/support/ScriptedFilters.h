// Filters for tests of the chains: each records that it ran (in a shared trace), keeps a copy of
// the FilterResult it was handed, and then does what the test scripted (stop, hand back a
// response, mark waiting, re-enter the pipeline). Thread-safe; the test owns the trace.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "AfterFilter.h"
#include "BeforeFilter.h"
#include "FilterResult.h"

namespace quil {
namespace test {

// The names of the filters that ran, in order.
class FilterTrace {
public:
    void Add(const std::string& name);
    std::vector<std::string> Names() const;

private:
    mutable std::mutex mutex_;  // guards names_
    std::vector<std::string> names_;
};

class ScriptedBeforeFilter : public BeforeFilter {
public:
    using Action = std::function<void(QuilRequest*, FilterResult*)>;
    ScriptedBeforeFilter(std::string name, FilterTrace* trace, Action action = nullptr);

    const char* GetName() override;
    void HandleRequest(QuilRequest* request, FilterResult* result) override;

    // The result as it was when this filter was last handed it.
    FilterResult Seen() const;

private:
    const std::string name_;
    FilterTrace* trace_;
    Action action_;
    mutable std::mutex mutex_;  // guards seen_
    FilterResult seen_;
};

class ScriptedAfterFilter : public AfterFilter {
public:
    using Action = std::function<void(QuilRequest*, QuilResponse*, FilterResult*)>;
    ScriptedAfterFilter(std::string name, FilterTrace* trace, Action action = nullptr);

    const char* GetName() override;
    void HandleResponse(QuilRequest* request, QuilResponse* response,
                        FilterResult* result) override;

    FilterResult Seen() const;
    int Runs() const;

private:
    const std::string name_;
    FilterTrace* trace_;
    Action action_;
    mutable std::mutex mutex_;  // guards seen_ and runs_
    FilterResult seen_;
    int runs_ = 0;
};

}  // namespace test
}  // namespace quil
