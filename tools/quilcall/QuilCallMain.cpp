// quilcall: makes one gateway call (or --repeat of them) through the SDK and the curl transport
// and prints what came back, with what the traffic protection did to it. Exit codes: 0 success, 1
// gateway failure, 2 local or network failure, 64 usage error.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#if defined(_WIN32)
#include <io.h>
#define QUILCALL_DUP _dup
#define QUILCALL_DUP2 _dup2
#define QUILCALL_FDOPEN _fdopen
#else
#include <unistd.h>
#define QUILCALL_DUP dup
#define QUILCALL_DUP2 dup2
#define QUILCALL_FDOPEN fdopen
#endif

#include "ArgumentParser.h"
#include "CallRunner.h"
#include "DispatchRunner.h"
#include "HelpText.h"
#include "LoginSetup.h"
#include "PerformanceCapture.h"
#include "QuilConfig.h"
#include "RequestBuilder.h"
#include "ResponseRenderer.h"
#include "StderrLog.h"
#include "TimingWaterfall.h"
#include "TrafficWatch.h"
#include "quil/CurlHttpClient.h"

namespace {

constexpr int kUsageError = 64;

// The answer keeps the original standard output to itself. The security library's loader
// prints its complaints to standard output, and they belong with the diagnostics on standard
// error, not inside a JSON answer, so descriptor 1 is pointed at standard error for the call.
FILE* TakeStandardOutputForAnswer(int* answerFd) {
    std::fflush(stdout);
    *answerFd = QUILCALL_DUP(1);
    if (*answerFd < 0) {
        *answerFd = 1;
        return stdout;
    }
    FILE* answer = QUILCALL_FDOPEN(*answerFd, "w");
    if (answer == nullptr) {
        *answerFd = 1;
        return stdout;
    }
    QUILCALL_DUP2(2, 1);
    return answer;
}

quil::CurlHttpClientOptions TransportOptions(const quil::CallOptions& options) {
    quil::CurlHttpClientOptions transport;
    transport.totalTimeoutMs = options.timeoutMs;
    transport.connectTimeoutMs = options.timeoutMs < 10000 ? options.timeoutMs : 10000;
    transport.verifyTlsPeer = !options.insecure;
    transport.connectTo = options.connectTo;
    return transport;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> args(argv + 1, argv + argc);
    const quil::ParseOutcome parsed = quil::ParseArguments(args);
    if (parsed.kind == quil::ParseOutcome::Kind::kHelp) {
        std::fputs(quil::HelpText().c_str(), stdout);
        return 0;
    }
    if (parsed.kind == quil::ParseOutcome::Kind::kUsageError) {
        std::fprintf(stderr, "quilcall: %s\n", parsed.error.c_str());
        return kUsageError;
    }
    const quil::CallOptions& options = parsed.options;

    int answerFd = 1;
    FILE* answer = TakeStandardOutputForAnswer(&answerFd);

    // The SDK keeps these pointers for the rest of the process and may use them from its own
    // threads until the very end, so they are never destroyed.
    QuilConfig* config = QuilConfig::GetInstance();
    quil::ConfigureSdk(options, config);
    static quil::PerformanceCapture* const capture = new quil::PerformanceCapture();
    if (options.timing) {
        // Before the first call: the SDK announces its report's layout then.
        config->RegisterUTStatistics(capture);
    }
    // The watch reads what the traffic protection did from the SDK's own lines, so the SDK
    // logs from the level the watch needs; the --log-level sink still sees only its levels.
    static quil::StderrLog* const stderrLog = new quil::StderrLog();
    static quil::TrafficWatch* const watch =
        new quil::TrafficWatch(options.logLevel >= 0 ? stderrLog : nullptr, options.logLevel);
    config->RegisterQuilLog(watch);
    const int sdkLevel =
        options.logLevel >= 0 && options.logLevel < quil::TrafficWatch::kLevelNeeded
            ? options.logLevel
            : quil::TrafficWatch::kLevelNeeded;
    config->SetQuilLogLevel(static_cast<QUIL_LOG_LEVEL>(sdkLevel));
    quil::InstallLogin(options);
    static quil::CurlHttpClient* const client = new quil::CurlHttpClient(TransportOptions(options));
    config->RegisterHttpClient(client);

    // Beyond the transport's own limit, signing has limits of its own; this only guards
    // against an answer that never comes.
    const std::chrono::milliseconds callbackLimit(options.timeoutMs + 60000);
    if (options.api.empty()) {
        // Only dispatch was asked for.
        const quil::DispatchOutcome dispatched = quil::RunDispatch(
            options, options.logLevel >= 0 ? stderrLog : nullptr, options.logLevel, callbackLimit);
        std::fputs(dispatched.text.c_str(), answer);
        std::fflush(answer);
        std::fflush(stderr);
        return dispatched.hasAddress || !options.hasDispatch ? 0 : 2;
    }
    quil::CallOutcome outcome;
    for (int round = 1; round <= options.repeat; ++round) {
        capture->Forget();
        watch->BeginCall();
        outcome = quil::RunCall(options, callbackLimit);
        outcome.traffic = watch->Note();

        quil::PerformanceReport report;
        bool hasReport = false;
        if (options.timing && outcome.answered) {
            // The report is sent before the response is handed back, on either road.
            hasReport = capture->WaitForReport(std::chrono::seconds(5), &report);
        }
        std::string text;
        if (options.json) {
            text = quil::RenderJson(outcome, hasReport ? &report : nullptr);
        } else {
            if (options.repeat > 1) {
                text = (round > 1 ? "\n" : "") + std::string("call ") + std::to_string(round) +
                       " of " + std::to_string(options.repeat) + ":\n";
            }
            text += quil::RenderText(outcome);
            if (hasReport) {
                text += quil::DrawWaterfall(report, quil::TerminalWidth(answerFd));
            } else if (options.timing) {
                text += "timing: no performance report for this call\n";
            }
        }
        std::fputs(text.c_str(), answer);
        std::fflush(answer);
        if (outcome.abandoned) {
            break;  // a worker may still hold the request
        }
    }
    int code = quil::ExitCodeFor(outcome);
    if (options.hasDispatch || !options.dispatchFailed.empty()) {
        const quil::DispatchOutcome dispatched = quil::RunDispatch(
            options, options.logLevel >= 0 ? stderrLog : nullptr, options.logLevel, callbackLimit);
        std::fputs(dispatched.text.c_str(), answer);
        std::fflush(answer);
        if (code == 0 && options.hasDispatch && !dispatched.hasAddress) code = 2;
    }
    std::fflush(stderr);
    if (outcome.abandoned) {
        // A worker may still hold the request; leave without running any destructor.
        std::_Exit(code);
    }
    return code;
}
