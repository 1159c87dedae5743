// QuilRequest: one gateway call as the host builds it: api, version, data, per-call headers
// and query parameters, the completion callback, and the marks the pipeline keeps on it.
// Not thread-safe: exactly one owner at a time (the host until the call, then the pipeline,
// then the response that answers it). A host never deletes a request: deleting the response
// deletes its request too.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "QuilExport.h"

class QuilResponse;

// Completion of an asynchronous call. Runs on a network worker; the callee owns response
// (and, through it, the request) and must delete it.
typedef void (*QuilCallback)(QuilResponse* response, void* userData);

// The order of the virtual operations below is the host's binary contract: never reorder,
// never insert. No virtual destructor on purpose: a request is deleted by its response.
class QuilRequest {
public:
    // Makes a new request for api and version (either may be empty). The caller owns it until
    // it hands it to the service.
    QUIL_API static QuilRequest* Create(std::string api, std::string version);

    // Whether the call needs a session (sends x-sid and x-uid, lets the login filters act).
    virtual void SetNeedLogin(bool needLogin) = 0;
    virtual bool GetNeedLogin() = 0;
    // 1 is GET; every other value is POST. Starts at 2.
    virtual void SetMethod(int method) = 0;
    virtual int GetMethod() = 0;
    // The signature of sign version 6.2, written by the pipeline.
    virtual void SetSign(std::string sign) = 0;
    virtual std::string GetSign() = 0;
    // Seconds, written by the pipeline at each pass; -1 until then.
    virtual void SetTimestamp(int64_t timestamp) = 0;
    virtual int64_t GetTimestamp() = 0;
    virtual void SetHttpId(int httpId) = 0;
    // "2g", "3g" or "wifi"; any other value is not sent.
    virtual void SetNetworkType(std::string networkType) = 0;
    // true builds an "https://" URL.
    virtual void SetIsSSL(bool isSSL) = 0;
    virtual void SetReqBizExt(std::string reqBizExt) = 0;
    virtual std::string GetReqBizExt() = 0;
    virtual std::string GetApi() = 0;
    virtual std::string GetVersion() = 0;
    // Merges into the custom headers: each pair overwrites or adds; other entries stay.
    virtual void SetHeaders(std::map<std::string, std::string> headers) = 0;
    virtual void AddHeader(std::string key, std::string value) = 0;
    // Sets member key of the call data to a real number.
    virtual void AddData(std::string key, double value) = 0;
    // Ready JSON text that is sent instead of the members added with AddData; "" undoes it.
    virtual void SetRawData(std::string rawData) = 0;
    virtual void AddData(std::string key, int value) = 0;
    virtual void AddData(std::string key, std::string value) = 0;
    virtual void RemoveData(std::string key) = 0;
    // Merges into the extra query parameters as SetHeaders does into the headers.
    virtual void SetParams(std::map<std::string, std::string> params) = 0;
    virtual void AddParam(std::string key, std::string value) = 0;
    // An absent key is ignored.
    virtual void RemoveParam(std::string key) = 0;
    // Called once when an asynchronous call completes; see QuilCallback.
    virtual void SetCallback(QuilCallback callback) = 0;
    virtual QuilCallback GetCallback() = 0;
    // Handed back as the callback's second argument; never touched by the library.
    virtual void SetUserData(void* userData) = 0;
    virtual void* GetUserData() = 0;
    virtual bool IsCancelled() = 0;
    // The request id; -1 until the service issues one.
    virtual int GetId() = 0;
    virtual void SetId(int id) = 0;
    // The call data as sent and signed: the raw text when set, otherwise the members in the
    // gateway's styled layout with line feeds removed, "{}" when there are none.
    virtual std::string GetData() = 0;
    // "api$version" for cache and flow control, "" when either is empty. Lower-cases api and
    // version on the request itself, so GetApi and GetVersion return lower case afterwards.
    virtual std::string GetKey() = 0;
    virtual std::map<std::string, std::string> GetHeaders() = 0;
    // The account whose session the call uses; "" means "Default".
    virtual void SetUserInfo(std::string userInfo) = 0;
    virtual std::string GetUserInfo() = 0;
    // 1 selects the first gateway host of the environment.
    virtual void SetDomainMode(int domainMode) = 0;
    virtual int GetDomainMode() = 0;
    virtual void SetOpenBiz(std::string openBiz) = 0;
    virtual std::string GetOpenBiz() = 0;
    virtual void SetMiniAppKey(std::string miniAppKey) = 0;
    virtual std::string GetMiniAppKey() = 0;
    virtual void SetReqAppKey(std::string reqAppKey) = 0;
    virtual std::string GetReqAppKey() = 0;
    virtual void SetAct(std::string act) = 0;
    virtual std::string GetAct() = 0;
    virtual void SetOpenBizData(std::string openBizData) = 0;
    virtual std::string GetOpenBizData() = 0;
    virtual void SetMiniAppIdTarvel(std::string miniAppIdTarvel) = 0;
    virtual std::string GetMiniAppIdTarvel() = 0;
    virtual void SetExtData(std::string extData) = 0;
    virtual std::string GetExtData() = 0;
    virtual void SetExtType(std::string extType) = 0;
    virtual std::string GetExtType() = 0;
    virtual void SetMiniAppIdPelmay(std::string miniAppIdPelmay) = 0;
    virtual std::string GetMiniAppIdPelmay() = 0;

protected:
    // Not virtual and not public: the host cannot delete through this type.
    ~QuilRequest() = default;
};
