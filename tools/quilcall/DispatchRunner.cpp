#include "DispatchRunner.h"

#include <condition_variable>
#include <mutex>
#include <thread>

#include "QuilConfig.h"
#include "ZentDispatch.h"

namespace quil {

namespace {

// The SDK's log sink while dispatch runs: notes the line that ends a dispatch request and
// hands every line at or above the user's level on. Called from the SDK's threads.
class DispatchWatch : public IQuilCustomLog {
public:
    DispatchWatch(IQuilCustomLog* forward, int forwardLevel)
        : forward_(forward), forwardLevel_(forwardLevel) {}

    void Log(QUIL_LOG_LEVEL level, const char* file, const char* function, int line,
             const char* message) override {
        const std::string text = message != nullptr ? message : "";
        if (IsOutcome(text)) {
            std::lock_guard<std::mutex> lock(mutex_);
            outcome_ = text;
            ended_ = true;
            changed_.notify_all();
        } else if (text.rfind("ZENT find ip strategy for domain: ", 0) == 0) {
            std::lock_guard<std::mutex> lock(mutex_);
            ++tableAnswers_;
        }
        if (forward_ != nullptr && level >= forwardLevel_) {
            forward_->Log(level, file, function, line, message);
        }
    }

    // The line that ended the request, or empty when none came within limit.
    std::string WaitForOutcome(std::chrono::milliseconds limit) {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait_for(lock, limit, [this] { return ended_; });
        return outcome_;
    }

    // Lookups answered from the table so far.
    int TableAnswers() {
        std::lock_guard<std::mutex> lock(mutex_);
        return tableAnswers_;
    }

private:
    static bool IsOutcome(const std::string& text) {
        return text == "ZENT json parse success" || text == "ZENT json parse failed" ||
               text.rfind("ZENT request failed", 0) == 0 ||
               text.rfind("ZENT check ret sign failed", 0) == 0;
    }

    IQuilCustomLog* forward_;
    const int forwardLevel_;
    std::mutex mutex_;  // guards outcome_ and ended_
    std::condition_variable changed_;
    std::string outcome_;
    bool ended_ = false;
    int tableAnswers_ = 0;
};

// After a successful request: the success line comes just before the answer is stored, so
// lookups are repeated until one is answered from the table. Until then each finds the request
// still running, which starts nothing.
std::string LookupStored(DispatchWatch* watch, const std::string& domain,
                         std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    const int before = watch->TableAnswers();
    std::string ip;
    while (true) {
        zentDomainDispatch(domain, ip);
        if (watch->TableAnswers() > before || std::chrono::steady_clock::now() >= deadline) {
            return ip;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

std::string Line(const std::string& domain, const std::string& ip, const std::string& why) {
    if (!ip.empty()) return "dispatch " + domain + ": " + ip + "\n";
    return "dispatch " + domain + ": no address (" + why + ")\n";
}

}  // namespace

DispatchOutcome RunDispatch(const CallOptions& options, IQuilCustomLog* forward, int forwardLevel,
                            std::chrono::milliseconds limit) {
    // Never destroyed: the SDK may still log from its worker when quilcall ends.
    static DispatchWatch* const watch = new DispatchWatch(forward, forwardLevel);
    QuilConfig* config = QuilConfig::GetInstance();
    config->RegisterQuilLog(watch);
    // The outcome lines are at levels 1 and 3; the user's level only filters what is forwarded.
    config->SetQuilLogLevel(QUIL_LOG_VERBOSE);

    DispatchOutcome outcome;
    const std::string& domain = options.dispatchDomain;
    std::string ip;
    // Whether domain has an entry: only then may it be looked up again without starting a
    // request.
    bool known = false;
    if (options.hasDispatch) {
        zentDomainDispatch(domain, ip);
        if (ip.empty()) {
            const std::string ended = watch->WaitForOutcome(limit);
            if (ended == "ZENT json parse success") {
                known = true;
                ip = LookupStored(watch, domain, limit);
                outcome.text += Line(domain, ip, "the service named none");
            } else {
                // After a failure the table has no entry: a further lookup would only start
                // another request, so none is made.
                outcome.text += Line(domain, ip, ended.empty() ? "no answer in time" : ended);
            }
        } else {
            known = true;
            outcome.text += Line(domain, ip, "");
        }
    }
    for (const std::string& host : options.dispatchFailed) {
        zentUpdateStrategy(host);
        outcome.text += "dispatch-failed " + host + "\n";
        if (known) {
            zentDomainDispatch(domain, ip);
            outcome.text += Line(domain, ip, "none left");
        }
    }
    outcome.hasAddress = !ip.empty();
    return outcome;
}

}  // namespace quil
