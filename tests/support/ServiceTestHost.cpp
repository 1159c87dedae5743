#include "ServiceTestHost.h"

#include "NetworkPoolBarrier.h"
#include "QuilConfig.h"
#include "SecurityKolvaAfterFilter.h"
#include "StatisticsSlot.h"

namespace quil {
namespace test {

QuilServiceImpl* ServiceTestHost::Install() {
    QuilConfig* config = QuilConfig::GetInstance();
    config->RegisterQuilLog(&Log());
    config->SetQuilLogLevel(QUIL_LOG_VERBOSE);
    config->RegisterUTStatistics(&Statistics());
    config->appKey = "12345678";
    QuilServiceImpl::SetSignProviderForTesting(&Sign());
    // The traffic-protection filter asks the same scripted bridge for verdicts and cookies.
    SecurityKolvaAfterFilter::SetSignForTesting(&Sign());
    config->RegisterHttpClient(&Client());
    return dynamic_cast<QuilServiceImpl*>(QuilService::GetInstance());
}

bool ServiceTestHost::Retire() {
    QuilConfig* config = QuilConfig::GetInstance();
    NetworkPoolBarrier barrier(&Client());
    config->RegisterHttpClient(&barrier);
    const bool drained = barrier.Drain();
    config->RegisterHttpClient(&Client());
    config->RegisterQuilLog(nullptr);
    config->RegisterUTStatistics(nullptr);
    return drained;
}

RecordingLog& ServiceTestHost::Log() {
    static RecordingLog log;
    return log;
}

RecordingStatistics& ServiceTestHost::Statistics() {
    static RecordingStatistics statistics;
    return statistics;
}

ScriptedSign& ServiceTestHost::Sign() {
    static ScriptedSign sign;
    return sign;
}

ScriptedHttpClient& ServiceTestHost::Client() {
    static ScriptedHttpClient client;
    return client;
}

ScriptedResponse ServiceTestHost::GatewayAnswer(const std::string& ret,
                                                const std::string& extraHeaders) {
    ScriptedResponse response;
    response.statusCode = 200;
    response.header = "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n" + extraHeaders;
    response.body = "{\"data\":{},\"ret\":[\"" + ret + "\"]}";
    return response;
}

}  // namespace test
}  // namespace quil
