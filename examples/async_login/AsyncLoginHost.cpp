// A host that calls asynchronously, with a login. Its call needs a session, and there is none
// yet: the SDK holds the call back, asks the host's login flow (ExampleLogin) to sign in, and
// sends the call with the new session once the login has succeeded. The answer comes through
// the callback, on one of the SDK's network threads.
//
//   usage: async_login_host HOST[:PORT] APPKEY SID UID [SECURITY_LIBRARY]
//
// SID and UID are the session the login yields (the emulator accepts it with --session SID).
// Exit code 0 when the call succeeded, 1 when it failed, 2 when no answer came within 60 s.
#include <QuilSDK.h>
#include <quil/CurlHttpClient.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <string>

#include "ExampleLogin.h"

namespace {

// Where the callback leaves what the main thread prints. It lives for the whole process: a
// late callback after main gave up waiting must still find it.
struct Mailbox {
    std::mutex mutex;  // guards everything below
    std::condition_variable arrived;
    bool done = false;
    bool success = false;
    std::string retCode;
    std::string body;
};

// Runs on a network worker. The response (and its request) now belongs to the host.
void OnAnswer(QuilResponse* response, void* userData) {
    auto* mailbox = static_cast<Mailbox*>(userData);
    {
        std::lock_guard<std::mutex> lock(mailbox->mutex);
        RetInfo* retInfo = response->GetRetInfo();
        mailbox->retCode = retInfo != nullptr ? retInfo->retCode : "";
        mailbox->success = response->IsSuccess();
        mailbox->body = response->GetBody();
        mailbox->done = true;
    }
    mailbox->arrived.notify_all();
    delete response;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 5 || argc > 6) {
        std::fprintf(stderr,
                     "usage: async_login_host HOST[:PORT] APPKEY SID UID [SECURITY_LIBRARY]\n");
        return 64;
    }
    // Made once and never destroyed: the SDK may use them from its threads until the end.
    static quil::CurlHttpClient* const client = new quil::CurlHttpClient();
    static ExampleLogin* const loginFlow = new ExampleLogin(argv[3], argv[4]);
    static Mailbox* const mailbox = new Mailbox();

    QuilConfig* config = QuilConfig::GetInstance();
    config->RegisterHttpClient(client);
    RemoteLogin::setLoginImpl(loginFlow);  // before the first call
    config->dailyHost = argv[1];
    config->appKey = argv[2];
    if (argc == 6) {
        const std::string path = argv[5];  // ASCII paths only in this example
        config->securityPathFile.assign(path.begin(), path.end());
    }

    QuilRequest* request = QuilRequest::Create("example.account.get", "1.0");
    request->SetNeedLogin(true);  // sent with the account's session (x-sid, x-uid)
    request->SetCallback(&OnAnswer);
    request->SetUserData(mailbox);
    const int queued = QuilService::GetInstance()->SendAsyncRequest(request);
    if (queued != 0) {
        // The request was deleted by the SDK; no callback will come.
        std::fprintf(stderr, "async_login_host: the call was refused with %d\n", queued);
        return 2;
    }
    std::printf("call: queued\n");

    std::unique_lock<std::mutex> lock(mailbox->mutex);
    if (!mailbox->arrived.wait_for(lock, std::chrono::seconds(60), [] { return mailbox->done; })) {
        std::fprintf(stderr, "async_login_host: no answer within 60 s\n");
        return 2;
    }
    std::printf("call: answered\nretCode: %s\nbody: %s\n", mailbox->retCode.c_str(),
                mailbox->body.c_str());
    return mailbox->success ? 0 : 1;
}
