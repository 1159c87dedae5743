// A host may call exit while the library's detached workers are busy: asynchronous calls on the
// network, traffic judgements waiting for their verdict, signings waiting on the closed library,
// readers of the library's version. Everything such a worker can touch must outlive it, so the
// process ends with status 0 and no sanitizer report. The exiting process is this executable run
// again as a child, with only the disabled child test selected; each run races differently, so
// the parent runs it many times.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "ChildProcess.h"
#include "QuilConfig.h"
#include "QuilRequest.h"
#include "QuilResponse.h"
#include "QuilService.h"
#include "QuilServiceImpl.h"
#include "QuilSignImpl.h"
#include "RecordingLog.h"
#include "ScriptedHttpClient.h"
#include "ScriptedSign.h"
#include "StandInControl.h"

namespace {

constexpr int kRuns = 25;
constexpr const char* kChildTest = "ExitWithWorkInFlight.DISABLED_ChildExitsWhileWorkersAreBusy";

// The child's host objects. Never destroyed: the library's workers may use them until the very
// end, as a host's would be (a host that frees what the library still uses is at fault itself).
quil::test::ScriptedHttpClient* g_client = nullptr;
quil::test::RecordingLog* g_log = nullptr;
quil::test::ScriptedSign* g_serviceSign = nullptr;
quil::StandInControl* g_control = nullptr;

// Keeps each caller's asynchronous calls on their way few: a caller takes a place before it
// sends and the call's callback gives it back, so the queues stay short without pacing the
// caller by time. A place that does not come back within the limit is taken anyway (a call
// the exit cut short never answers). Never destroyed, as the other host objects.
class CallWindow {
public:
    explicit CallWindow(int places) : free_(places) {}

    void Take() {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait_for(lock, std::chrono::seconds(2), [this] { return free_ > 0; });
        --free_;
    }
    void GiveBack() {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            ++free_;
        }
        changed_.notify_one();
    }

private:
    std::mutex mutex_;  // guards free_
    std::condition_variable changed_;
    int free_;
};
CallWindow* g_window = nullptr;

void DeleteResponse(QuilResponse* response, void* /*userData*/) {
    delete response;
    g_window->GiveBack();
}

std::string OwnExecutable() {
    std::vector<char> path(4096, '\0');
    const ssize_t length = readlink("/proc/self/exe", path.data(), path.size() - 1);
    return length > 0 ? std::string(path.data(), static_cast<std::size_t>(length)) : std::string();
}

// Starts a detached thread that repeats work until the process ends.
template <typename Work>
void RepeatDetached(Work work) {
    std::thread([work] {
        for (int i = 0;; ++i) work(i);
    }).detach();
}

// True once count reaches at least wanted, within ten seconds.
bool WaitForAtLeast(const std::string& counter, int64_t wanted) {
    return g_control->WaitForCount(counter, wanted, 10000);
}

}  // namespace

TEST(ExitWithWorkInFlight, DISABLED_ChildExitsWhileWorkersAreBusy) {
    g_control = new quil::StandInControl();
    ASSERT_TRUE(g_control->Loaded());
    g_control->Reset();
    // Signings hang in the library; verdicts come from another thread a little later; the
    // version is long enough to live on the heap.
    g_control->SetInt("jsonSign.hangMs", -1);
    g_control->SetInt("traffic.mode", 1);
    g_control->SetInt("traffic.delayMs", 2);
    g_control->SetText("traffic.version", "stand-in traffic filter version 1.2.3.4567");

    QuilConfig* config = QuilConfig::GetInstance();
    g_log = new quil::test::RecordingLog();
    config->RegisterQuilLog(g_log);
    config->SetQuilLogLevel(QUIL_LOG_VERBOSE);
    config->appKey = "21646297";
    config->authCode = "auth-7";
    config->securityPathFile = L"..\\SafeGuard\\OruSafePath.dll";
    config->securityEnabled = true;
    g_client = new quil::test::ScriptedHttpClient();
    g_client->SetDelay(std::chrono::milliseconds(3));
    config->RegisterHttpClient(g_client);
    // The service's calls are signed at once, so that they reach the network; the signing
    // bridge itself is kept busy by the signers below.
    g_serviceSign = new quil::test::ScriptedSign();
    QuilServiceImpl::SetSignProviderForTesting(g_serviceSign);

    QuilSignImpl* sign = QuilSignImpl::GetInstance();
    ASSERT_TRUE(sign->Start());
    // Short limits, so that signings time out and overlong waits are reported while exiting.
    QuilSignImpl::SetTimeLimitsForTesting(
        std::chrono::milliseconds(5), std::chrono::milliseconds(1), std::chrono::milliseconds(1));

    g_window = new CallWindow(6);
    for (int caller = 0; caller < 3; ++caller) {
        RepeatDetached([](int) {
            g_window->Take();
            QuilRequest* request = QuilRequest::Create("mtop.quil.exit", "1.0");
            request->SetCallback(&DeleteResponse);
            if (QuilService::GetInstance()->SendAsyncRequest(request) != 0) g_window->GiveBack();
        });
        RepeatDetached([caller](int i) {
            std::string content = "challenge";
            delete QuilSignImpl::GetInstance()->ProcessContent(1000 * caller + i, content);
        });
        RepeatDetached([caller](int i) {
            std::string data = "a=1";
            std::string api = "mtop.quil.exit";
            delete QuilSignImpl::GetInstance()->Sign6_3(5000 + 1000 * caller + i, data, api);
        });
        RepeatDetached([](int) { QuilSignImpl::GetInstance()->GetKolvaVersion(); });
    }

    ASSERT_TRUE(g_client->WaitForSends(3));
    ASSERT_TRUE(WaitForAtLeast("traffic.processContent", 3));
    ASSERT_TRUE(WaitForAtLeast("jsonSign.sign", 1));
    ASSERT_TRUE(WaitForAtLeast("traffic.getVersion", 1));
    std::exit(0);
}

TEST(ExitWithWorkInFlight, ExitWithCallsSigningsAndJudgementsInFlightEndsCleanly) {
    const std::string program = OwnExecutable();
    ASSERT_FALSE(program.empty());
    const std::vector<std::string> args = {"--gtest_filter=" + std::string(kChildTest),
                                           "--gtest_also_run_disabled_tests"};
    for (int run = 0; run < kRuns; ++run) {
        const quil::test::ChildResult child = quil::test::RunChild(program, args);
        ASSERT_TRUE(child.started);
        ASSERT_TRUE(child.finished) << "run " << run;
        ASSERT_EQ(child.exitCode, 0) << "run " << run << "\n" << child.out << child.err;
        ASSERT_EQ(child.err, "") << "run " << run;
        ASSERT_NE(child.out.find("[ RUN      ] " + std::string(kChildTest)), std::string::npos);
        // The child never reaches the end of its test: it left through exit.
        ASSERT_EQ(child.out.find("[       OK ]"), std::string::npos) << child.out;
    }
}
