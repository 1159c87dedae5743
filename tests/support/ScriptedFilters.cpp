#include "ScriptedFilters.h"

#include <utility>

namespace quil {
namespace test {

void FilterTrace::Add(const std::string& name) {
    std::lock_guard<std::mutex> lock(mutex_);
    names_.push_back(name);
}

std::vector<std::string> FilterTrace::Names() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return names_;
}

ScriptedBeforeFilter::ScriptedBeforeFilter(std::string name, FilterTrace* trace, Action action)
    : name_(std::move(name)), trace_(trace), action_(std::move(action)) {}

const char* ScriptedBeforeFilter::GetName() { return name_.c_str(); }

void ScriptedBeforeFilter::HandleRequest(QuilRequest* request, FilterResult* result) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        seen_ = *result;
    }
    if (trace_ != nullptr) trace_->Add(name_);
    if (action_) action_(request, result);
}

FilterResult ScriptedBeforeFilter::Seen() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return seen_;
}

ScriptedAfterFilter::ScriptedAfterFilter(std::string name, FilterTrace* trace, Action action)
    : name_(std::move(name)), trace_(trace), action_(std::move(action)) {}

const char* ScriptedAfterFilter::GetName() { return name_.c_str(); }

void ScriptedAfterFilter::HandleResponse(QuilRequest* request, QuilResponse* response,
                                         FilterResult* result) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        seen_ = *result;
        ++runs_;
    }
    if (trace_ != nullptr) trace_->Add(name_);
    if (action_) action_(request, response, result);
}

FilterResult ScriptedAfterFilter::Seen() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return seen_;
}

int ScriptedAfterFilter::Runs() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return runs_;
}

}  // namespace test
}  // namespace quil
