// An asynchronous host of QuilSDK: two calls queued at once, their answers delivered to a
// callback on the SDK's network workers, and a login flow of the host's own that the SDK starts
// when a call needs a session that the host does not have yet.
//
//   usage: async_host HOST[:PORT] APPKEY LOGIN_SID [SECURITY_LIBRARY]
//
// LOGIN_SID is the session that the host's login ends with (the gateway must know it).
// Prints one line per call, "API: RETCODE", in the order of the API names, then the number of
// logins; the SDK's log lines from QUIL_LOG_WARN up go to standard error. Exit code 0 when both
// calls succeeded, 1 when one did not, 2 when an answer did not come within 30 seconds or a
// call could not be queued, 64 on a usage error.
#include <QuilSDK.h>
#include <quil/CurlHttpClient.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <map>
#include <mutex>
#include <string>

#include "ConsoleLog.h"
#include "HostLogin.h"

namespace {

// Where the callbacks leave the answers. The callbacks run on the SDK's network workers, so
// every member is read and written under the mutex.
struct Answers {
    std::mutex mutex;  // guards byApi
    std::condition_variable arrived;
    std::map<std::string, std::string> byApi;  // API name to its retCode
};

// The completion callback: runs once per call on a network worker. The response (and with it
// the request) belongs to the callback, which must delete it.
void OnAnswer(QuilResponse* response, void* userData) {
    Answers* answers = static_cast<Answers*>(userData);
    RetInfo* retInfo = response->GetRetInfo();
    const std::string api = response->GetRequest()->GetApi();
    const std::string retCode = retInfo != nullptr ? retInfo->retCode : std::string();
    delete response;
    {
        std::lock_guard<std::mutex> lock(answers->mutex);
        answers->byApi[api] = retCode;
    }
    answers->arrived.notify_all();
}

// Queues one call. The request belongs to the SDK from here on, whether or not it is queued.
bool Queue(const char* api, bool needLogin, Answers* answers) {
    QuilRequest* request = QuilRequest::Create(api, "1.0");
    request->AddData("itemId", std::string("42"));
    request->SetNeedLogin(needLogin);  // sends the account's session; may start a login
    request->SetCallback(&OnAnswer);
    request->SetUserData(answers);  // handed back untouched as the callback's second argument
    return QuilService::GetInstance()->SendAsyncRequest(request) == 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4 || argc > 5) {
        std::fprintf(stderr, "usage: async_host HOST[:PORT] APPKEY LOGIN_SID [SECURITY_LIBRARY]\n");
        return 64;
    }
    // Made once and never destroyed: the SDK uses them from its own threads until the process
    // ends, and a late callback may still reach the answers after main has given up waiting.
    static quil::CurlHttpClient* const client = new quil::CurlHttpClient();
    static HostLogin* const login = new HostLogin(argv[3], "example-uid");
    static Answers* const answers = new Answers();
    static ConsoleLog* const log = new ConsoleLog();

    QuilConfig* config = QuilConfig::GetInstance();
    config->RegisterHttpClient(client);
    // The SDK's own lines, from recoverable turns up, on standard error.
    config->RegisterQuilLog(log);
    config->SetQuilLogLevel(QUIL_LOG_WARN);
    config->dailyHost = argv[1];
    config->appKey = argv[2];
    if (argc == 5) {
        const std::string path = argv[4];  // ASCII paths only in this example
        config->securityPathFile.assign(path.begin(), path.end());
    }
    // Before the first call. The host has no session yet: the first call that needs one is
    // held back until this login flow has ended, then sent with the new session.
    RemoteLogin::setLoginImpl(login);

    if (!Queue("example.item.add", false, answers) ||
        !Queue("example.user.profile", true, answers)) {
        std::fprintf(stderr, "async_host: a call could not be queued\n");
        return 2;
    }

    std::map<std::string, std::string> byApi;
    {
        std::unique_lock<std::mutex> lock(answers->mutex);
        const bool both = answers->arrived.wait_for(lock, std::chrono::seconds(30),
                                                    [] { return answers->byApi.size() == 2; });
        if (!both) {
            std::fprintf(stderr, "async_host: no answer within 30 seconds\n");
            return 2;
        }
        byApi = answers->byApi;
    }
    login->JoinLogins();

    int code = 0;
    for (const auto& entry : byApi) {
        std::printf("%s: %s\n", entry.first.c_str(), entry.second.c_str());
        if (entry.second != "SUCCESS") {
            code = 1;
        }
    }
    std::printf("logins: %d\n", login->LoginCount());
    return code;
}
