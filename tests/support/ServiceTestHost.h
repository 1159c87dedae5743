// The host side of a service test, set up once per process: a recording log and statistics
// sink, an application key, a scripted signer in place of the security bridge, and a scripted
// HTTP client. The signer and the client are process-wide, because the service keeps pointers
// to them for the life of the process. Call ServiceTestHost::Install() before the first call.
#pragma once

#include <string>

#include "QuilServiceImpl.h"
#include "RecordingLog.h"
#include "RecordingStatistics.h"
#include "ScriptedHttpClient.h"
#include "ScriptedSign.h"

namespace quil {
namespace test {

class ServiceTestHost {
public:
    // Registers the log (level 0), the statistics sink, the signer and the client, sets the
    // application key, and returns the service.
    static QuilServiceImpl* Install();
    // The end of a test: lets every pass still on a network worker finish (through a
    // NetworkPoolBarrier), puts the scripted client back, and unregisters the log and the
    // statistics sink. False when the workers did not finish within the wait limit.
    static bool Retire();

    static RecordingLog& Log();
    static RecordingStatistics& Statistics();
    static ScriptedSign& Sign();
    static ScriptedHttpClient& Client();

    // A gateway answer with status 200, the given "ret" element and extra header lines (each
    // ending in CR LF).
    static ScriptedResponse GatewayAnswer(const std::string& ret = "SUCCESS::call ok",
                                          const std::string& extraHeaders = "");
};

}  // namespace test
}  // namespace quil
