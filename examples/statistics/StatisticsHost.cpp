// A host with a statistics sink: each call's phases are printed as the SDK reports them.
//
//   usage: statistics_host HOST[:PORT] APPKEY [SECURITY_LIBRARY]
//
// Makes two synchronous calls against the daily gateway at HOST[:PORT]; exit code 0 when both
// succeeded.
#include <QuilSDK.h>
#include <quil/CurlHttpClient.h>

#include <cstdio>
#include <string>

#include "PhasePrinter.h"

int main(int argc, char** argv) {
    if (argc < 3 || argc > 4) {
        std::fprintf(stderr, "usage: statistics_host HOST[:PORT] APPKEY [SECURITY_LIBRARY]\n");
        return 64;
    }
    // Made once and never destroyed: the SDK may use both from its threads until the end.
    static quil::CurlHttpClient* const client = new quil::CurlHttpClient();
    static PhasePrinter* const printer = new PhasePrinter(stdout);

    QuilConfig* config = QuilConfig::GetInstance();
    config->RegisterHttpClient(client);
    // Before the first call: the SDK declares the report's layout at its first call.
    config->RegisterUTStatistics(printer);
    config->dailyHost = argv[1];
    config->appKey = argv[2];
    if (argc == 4) {
        const std::string path = argv[3];  // ASCII paths only in this example
        config->securityPathFile.assign(path.begin(), path.end());
    }

    int failures = 0;
    const char* apis[] = {"example.stats.first", "example.stats.second"};
    for (const char* api : apis) {
        QuilRequest* request = QuilRequest::Create(api, "1.0");
        request->AddData("n", 1);
        // The report of a synchronous call is committed before the response is handed back.
        QuilResponse* response = QuilService::GetInstance()->SendSyncRequest(request);
        if (response == nullptr || !response->IsSuccess()) {
            ++failures;
        }
        delete response;
    }
    return failures == 0 ? 0 : 1;
}
