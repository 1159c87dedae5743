// quil::CallOptions: everything one quilcall run was asked to do, as the argument parser left
// it. A plain record, filled once on the main thread and read from then on.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "CallData.h"

namespace quil {

struct CallOptions {
    // The call.
    std::string api;
    std::string version;
    CallData data;
    bool get = false;  // method 1 (GET); POST otherwise
    bool ssl = false;
    std::map<std::string, std::string> headers;
    std::map<std::string, std::string> params;
    bool needLogin = false;
    std::string user;  // the account key; "" is "Default"
    bool async = false;
    int repeat = 1;  // the same call this many times in a row (1 to 100)
    // Request fields that most calls leave alone; empty means "not set".
    std::string networkType;
    std::string reqBizExt;
    std::string openBiz;
    std::string miniAppKey;
    std::string reqAppKey;
    std::string act;
    std::string openBizData;
    std::string miniAppIdTarvel;
    std::string extData;
    std::string extType;
    std::string miniAppIdPelmay;
    bool hasDomainMode = false;
    int domainMode = 1;

    // Who this client is and where it talks to.
    int environment = 2;  // 0 online, 1 pre, 2 daily (the configuration's own default)
    std::string host;     // override of the chosen environment's gateway host
    std::string appKey;
    std::string appName;
    std::string appVersion;
    std::string utdid;
    std::string ttid;
    std::string devId;
    std::string authCode;
    bool hasFeatures = false;
    int64_t features = 0;
    std::string lat;
    std::string lng;
    std::string sid;
    std::string uid;
    // Log in through the test kit's scripted login, which succeeds with this session; empty
    // means no login flow is registered.
    std::string loginSid;
    std::string loginUid;
    std::string sslValue;
    std::string proxy;
    bool hasSecurityPath = false;
    std::wstring securityPath;
    bool noSecurity = false;
    int logLevel = -1;  // -1: no log sink

    // Transport.
    std::vector<std::string> connectTo;
    long timeoutMs = 30000;
    bool insecure = false;

    // Domain dispatch: the domain whose address is asked for (after the call, when API and
    // VERSION are given too), and the addresses reported as failed, in order.
    bool hasDispatch = false;
    std::string dispatchDomain;
    std::vector<std::string> dispatchFailed;

    // Output.
    bool json = false;
    bool timing = false;
};

}  // namespace quil
