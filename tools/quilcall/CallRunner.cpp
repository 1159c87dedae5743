#include "CallRunner.h"

#include <condition_variable>
#include <mutex>

#include "QuilService.h"
#include "RequestBuilder.h"

namespace quil {

namespace {

// Where the asynchronous callback leaves the response. It lives for the whole process: if the
// wait gives up, a late callback must still find it.
struct Mailbox {
    // Guards response and delivered.
    std::mutex mutex;
    std::condition_variable arrived;
    QuilResponse* response = nullptr;
    bool delivered = false;
};

Mailbox* TheMailbox() {
    static Mailbox* mailbox = new Mailbox();
    return mailbox;
}

void OnAnswer(QuilResponse* response, void* userData) {
    Mailbox* mailbox = static_cast<Mailbox*>(userData);
    {
        std::lock_guard<std::mutex> lock(mailbox->mutex);
        mailbox->response = response;
        mailbox->delivered = true;
    }
    mailbox->arrived.notify_all();
}

// Copies the response into the outcome and deletes it (and with it the request).
void TakeResponse(QuilResponse* response, CallOutcome* outcome) {
    outcome->answered = true;
    outcome->status = response->GetStatusCode();
    if (RetInfo* retInfo = response->GetRetInfo()) {
        outcome->hasRetInfo = true;
        outcome->retCode = retInfo->retCode;
        outcome->retMsg = retInfo->retMsg;
        outcome->errorType = retInfo->errorType;
    }
    outcome->success = response->IsSuccess();
    outcome->headers = response->GetHeaders();
    outcome->body = response->GetBody();
    if (QuilRequest* request = response->GetRequest()) {
        outcome->requestId = request->GetId();
    }
    delete response;
}

}  // namespace

CallOutcome RunCall(const CallOptions& options, std::chrono::milliseconds callbackLimit) {
    CallOutcome outcome;
    QuilService* service = QuilService::GetInstance();
    QuilRequest* request = BuildRequest(options);
    if (!options.async) {
        QuilResponse* response = service->SendSyncRequest(request);
        if (response == nullptr) {
            outcome.failure = "the call returned no response";
        } else {
            TakeResponse(response, &outcome);
        }
        return outcome;
    }

    Mailbox* mailbox = TheMailbox();
    request->SetCallback(&OnAnswer);
    request->SetUserData(mailbox);
    const int code = service->SendAsyncRequest(request);
    if (code != 0) {
        // The service has deleted the request; no callback will come.
        outcome.failure = "the asynchronous call was refused with code " + std::to_string(code);
        return outcome;
    }
    QuilResponse* response = nullptr;
    {
        std::unique_lock<std::mutex> lock(mailbox->mutex);
        if (!mailbox->arrived.wait_for(lock, callbackLimit,
                                       [mailbox] { return mailbox->delivered; })) {
            outcome.abandoned = true;
            outcome.failure =
                "no answer came back within " + std::to_string(callbackLimit.count() / 1000) + " s";
            return outcome;
        }
        response = mailbox->response;
        mailbox->response = nullptr;
    }
    if (response == nullptr) {
        outcome.failure = "the callback brought no response";
    } else {
        TakeResponse(response, &outcome);
    }
    return outcome;
}

int ExitCodeFor(const CallOutcome& outcome) {
    if (outcome.answered && outcome.success) {
        return 0;
    }
    if (outcome.answered && outcome.hasRetInfo && outcome.errorType == 3) {
        return 1;
    }
    return 2;
}

}  // namespace quil
