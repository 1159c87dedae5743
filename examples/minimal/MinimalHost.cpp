// The smallest synchronous host of QuilSDK: it registers the curl transport, names the gateway
// and the app key, makes one call on its own thread and prints the answer.
//
//   usage: minimal_host HOST[:PORT] APPKEY [SECURITY_LIBRARY]
//
// SECURITY_LIBRARY is the path of the closed security library ("OruSafePath.dll"); without it
// the default applies, "..\SafeGuard\OruSafePath.dll" from this program's folder. Exit code 0
// when the gateway answered SUCCESS, 1 when it refused the call, 2 on a local or network
// failure, 64 on a usage error.
#include <QuilSDK.h>
#include <quil/CurlHttpClient.h>

#include <cstdio>
#include <string>

int main(int argc, char** argv) {
    if (argc < 3 || argc > 4) {
        std::fprintf(stderr, "usage: minimal_host HOST[:PORT] APPKEY [SECURITY_LIBRARY]\n");
        return 64;
    }

    // 1. The transport. The SDK keeps the pointer and may use it from its own threads until
    //    the process ends, so the client is made once and never destroyed.
    static quil::CurlHttpClient* const client = new quil::CurlHttpClient();
    QuilConfig* config = QuilConfig::GetInstance();
    config->RegisterHttpClient(client);

    // 2. Who calls, and where: written before the first call, never changed afterwards.
    config->environment = 2;      // 0 online, 1 pre-release, 2 daily
    config->dailyHost = argv[1];  // the daily gateway's host, here the emulator's address
    config->appKey = argv[2];
    if (argc == 4) {
        // An absolute path replaces the default. Widened byte by byte: ASCII paths only here.
        const std::string path = argv[3];
        config->securityPathFile.assign(path.begin(), path.end());
    }

    // 3. One call. The request belongs to the SDK from here on; the response that comes back
    //    belongs to the caller and owns the request.
    QuilRequest* request = QuilRequest::Create("example.item.get", "1.0");
    request->AddData("itemId", std::string("42"));
    QuilResponse* response = QuilService::GetInstance()->SendSyncRequest(request);
    if (response == nullptr) {
        // Only when no transport is registered.
        std::fprintf(stderr, "minimal_host: no response\n");
        return 2;
    }

    // 4. The answer.
    RetInfo* retInfo = response->GetRetInfo();
    std::printf("status: %d\n", response->GetStatusCode());
    std::printf("retCode: %s\n", retInfo != nullptr ? retInfo->retCode.c_str() : "");
    std::printf("retMsg: %s\n", retInfo != nullptr ? retInfo->retMsg.c_str() : "");
    std::printf("body: %s\n", response->GetBody().c_str());
    int code = 0;
    if (!response->IsSuccess()) {
        code = retInfo != nullptr && retInfo->errorType == 3 ? 1 : 2;
    }
    delete response;  // and with it the request
    return code;
}
