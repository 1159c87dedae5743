// The host side of a dispatch test: the service test host (recording log, scripted signer and
// client, application key) with the dispatcher signing through the same scripted signer, plus
// helpers that make dispatch answers and wait for the one background request to end. One per
// test process; the test thread uses it.
#pragma once

#include <string>
#include <vector>

#include "ScriptedHttpClient.h"
#include "ServiceTestHost.h"
#include "ZentDispatcher.h"

namespace quil {
namespace test {

class DispatchTestHost {
public:
    // Installs the service test host and points the dispatcher at its signer.
    static ZentDispatcher* Install();

    // Standard Base64 with "=" padding, for answers the client decodes.
    static std::string Base64(const std::string& text);

    // A 200 answer: code and sign in "x-zn-code" / "x-zn-sign" (omitted when empty), the
    // Base64 of text as body.
    static ScriptedResponse Answer(const std::string& text, const std::string& code = "1000",
                                   const std::string& sign = "sign62");

    // {"dns":[{"host":host,"ips":[ips...]}]} for one host.
    static std::string DnsText(const std::string& host, const std::vector<std::string>& ips);

    // Waits until the dispatcher has started count requests and none is running.
    static bool WaitForRequestsDone(int count);
};

}  // namespace test
}  // namespace quil
