// QuilRequestImpl: the one implementation of QuilRequest. The pipeline reaches its fields
// directly after a dynamic cast. Not thread-safe: one owner at a time (host, pipeline,
// response, or the pending-request pool); CancelCall alone writes cancelled from elsewhere.
#pragma once

#include <json/json.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <string>

#include "QuilRequest.h"

class QuilRequestImpl : public QuilRequest {
public:
    QuilRequestImpl(std::string api, std::string version);
    QuilRequestImpl(const QuilRequestImpl&) = delete;
    QuilRequestImpl& operator=(const QuilRequestImpl&) = delete;

    void SetNeedLogin(bool needLogin) override;
    bool GetNeedLogin() override;
    void SetMethod(int method) override;
    int GetMethod() override;
    void SetSign(std::string sign) override;
    std::string GetSign() override;
    void SetTimestamp(int64_t timestamp) override;
    int64_t GetTimestamp() override;
    void SetHttpId(int httpId) override;
    void SetNetworkType(std::string networkType) override;
    void SetIsSSL(bool isSSL) override;
    void SetReqBizExt(std::string reqBizExt) override;
    std::string GetReqBizExt() override;
    std::string GetApi() override;
    std::string GetVersion() override;
    void SetHeaders(std::map<std::string, std::string> headers) override;
    void AddHeader(std::string key, std::string value) override;
    void AddData(std::string key, double value) override;
    void SetRawData(std::string rawData) override;
    void AddData(std::string key, int value) override;
    void AddData(std::string key, std::string value) override;
    void RemoveData(std::string key) override;
    void SetParams(std::map<std::string, std::string> params) override;
    void AddParam(std::string key, std::string value) override;
    void RemoveParam(std::string key) override;
    void SetCallback(QuilCallback callback) override;
    QuilCallback GetCallback() override;
    void SetUserData(void* userData) override;
    void* GetUserData() override;
    bool IsCancelled() override;
    int GetId() override;
    void SetId(int id) override;
    std::string GetData() override;
    // The same text as GetData, without copying the raw text when one is set: a reference to
    // it, or else to scratch, which then holds the written members. For the composer, which
    // reads the data of a call twice and may be handed megabytes of it.
    const std::string& DataText(std::string& scratch);
    std::string GetKey() override;
    std::map<std::string, std::string> GetHeaders() override;
    void SetUserInfo(std::string userInfo) override;
    std::string GetUserInfo() override;
    void SetDomainMode(int domainMode) override;
    int GetDomainMode() override;
    void SetOpenBiz(std::string openBiz) override;
    std::string GetOpenBiz() override;
    void SetMiniAppKey(std::string miniAppKey) override;
    std::string GetMiniAppKey() override;
    void SetReqAppKey(std::string reqAppKey) override;
    std::string GetReqAppKey() override;
    void SetAct(std::string act) override;
    std::string GetAct() override;
    void SetOpenBizData(std::string openBizData) override;
    std::string GetOpenBizData() override;
    void SetMiniAppIdTarvel(std::string miniAppIdTarvel) override;
    std::string GetMiniAppIdTarvel() override;
    void SetExtData(std::string extData) override;
    std::string GetExtData() override;
    void SetExtType(std::string extType) override;
    std::string GetExtType() override;
    void SetMiniAppIdPelmay(std::string miniAppIdPelmay) override;
    std::string GetMiniAppIdPelmay() override;

    // The operations below follow the host-visible ones in the table of operations.
    // Logs the end of the request; callback and userData belong to the host and stay untouched.
    virtual ~QuilRequestImpl();
    // Replaces the sign-version-6.3 headers with a copy of signHeaders (no merge).
    virtual void SetSignHeaders(const std::map<std::string, std::string>& signHeaders);
    virtual std::map<std::string, std::string> GetSignHeaders();
    // Lower-case copies; the fields stay as they are.
    virtual std::string GetLowerApi();
    virtual std::string GetLowerVersion();

    // Fields, in their fixed order. The pipeline reads and writes them directly.
    bool needLogin = false;
    int32_t method = 2;  // 1 is GET, anything else POST
    std::string api;
    std::string version;
    Json::Value data;     // members added with AddData; null until the first
    std::string rawData;  // wins over data when not empty
    std::map<std::string, std::string> headers;
    std::map<std::string, std::string> params;
    QuilCallback callback = nullptr;
    void* userData = nullptr;  // the host's, never touched
    std::string networkType;
    std::string spareText;
    int32_t httpId = -1;
    std::atomic<bool> cancelled{false};  // a host may read it while CancelCall writes it
    int32_t id = -1;                     // issued by the service
    bool isSSL = false;
    std::string sign;
    std::map<std::string, std::string> signHeaders;
    int64_t timestamp = -1;
    std::string reqBizExt;
    std::string userInfo;
    int32_t domainMode = 1;  // set from QuilConfig::domainSetting at construction
    std::string openBiz;
    std::string miniAppKey;
    std::string reqAppKey;
    std::string act;
    std::string openBizData;
    std::string miniAppIdTarvel;
    std::string extData;
    std::string extType;
    std::string miniAppIdPelmay;
    int32_t retryTime = 0;  // passes repeated so far
    int32_t isAsync = 0;    // 1 on the asynchronous road
    uint8_t signDirty = 0;
    bool finished = false;  // set by the pending-request pool; stops retries
};
