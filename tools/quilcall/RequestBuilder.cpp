#include "RequestBuilder.h"

#include "UrlText.h"

namespace quil {

void ConfigureSdk(const CallOptions& options, QuilConfig* config) {
    config->environment = options.environment;
    if (!options.host.empty()) {
        // The override of the chosen environment only; the others keep their built-in hosts.
        switch (options.environment) {
            case 2:
                config->dailyHost = options.host;
                break;
            case 1:
                config->preHost = options.host;
                break;
            default:
                config->onlineHost = options.host;
                break;
        }
    }
    config->appKey = options.appKey;
    config->appName = options.appName;
    config->appVersion = options.appVersion;
    config->utdid = options.utdid;
    config->ttid = options.ttid;
    config->devId = options.devId;
    config->authCode = options.authCode;
    if (options.hasFeatures) {
        config->features = options.features;
    }
    config->lat = options.lat;
    config->lng = options.lng;
    config->sid = options.sid;
    config->uid = options.uid;
    config->sslValue = options.sslValue;
    config->proxy = options.proxy;
    if (options.hasSecurityPath) {
        config->securityPathFile = options.securityPath;
    }
    if (options.noSecurity) {
        config->securityEnabled = false;
    }
}

QuilRequest* BuildRequest(const CallOptions& options) {
    QuilRequest* request = QuilRequest::Create(options.api, options.version);
    switch (options.data.kind) {
        case CallData::Kind::kNone:
            break;
        case CallData::Kind::kRaw:
            request->SetRawData(options.data.raw);
            break;
        case CallData::Kind::kMembers:
            for (const CallDataMember& member : options.data.members) {
                switch (member.kind) {
                    case CallDataMember::Kind::kString:
                        request->AddData(member.key, member.text);
                        break;
                    case CallDataMember::Kind::kInteger:
                        request->AddData(member.key, member.integer);
                        break;
                    case CallDataMember::Kind::kReal:
                        request->AddData(member.key, member.real);
                        break;
                }
            }
            break;
    }
    if (options.get) {
        request->SetMethod(1);
    }
    request->SetIsSSL(options.ssl);
    if (!options.headers.empty()) {
        request->SetHeaders(options.headers);
    }
    if (!options.params.empty()) {
        // The SDK joins the parameters into the URL as given: each key and value is encoded
        // here, so a blank or an "&" stays inside its parameter.
        request->SetParams(EncodeQueryParameters(options.params));
    }
    request->SetNeedLogin(options.needLogin);
    request->SetUserInfo(options.user);
    request->SetNetworkType(options.networkType);
    request->SetReqBizExt(options.reqBizExt);
    request->SetOpenBiz(options.openBiz);
    request->SetMiniAppKey(options.miniAppKey);
    request->SetReqAppKey(options.reqAppKey);
    request->SetAct(options.act);
    request->SetOpenBizData(options.openBizData);
    request->SetMiniAppIdTarvel(options.miniAppIdTarvel);
    request->SetMiniAppIdPelmay(options.miniAppIdPelmay);
    request->SetExtData(options.extData);
    request->SetExtType(options.extType);
    if (options.hasDomainMode) {
        request->SetDomainMode(options.domainMode);
    }
    return request;
}

}  // namespace quil
