// The "/zent/mobileDispatch" endpoint of the gateway emulator: checks the signed form a client
// posts, and answers the Base64 of a JSON text with the configured "dns" entries, signed in
// "x-zn-sign" so that the client can verify it. Settings are not owned; any thread.
#pragma once

#include "EmulatorAnswer.h"
#include "GatewaySettings.h"
#include "ReceivedRequest.h"

namespace quil {

// The codes the emulator's dispatch service answers in "x-zn-code" when it refuses a request.
constexpr char kDispatchBadForm[] = "4000";
constexpr char kDispatchBadSign[] = "4001";

class DispatchEndpoint {
public:
    explicit DispatchEndpoint(GatewaySettings& settings) : settings_(settings) {}

    // Decides the answer, from the next scripted one when there is a script, and notes the
    // rebuilt sign input in request.signInput.
    EmulatorAnswer Answer(ReceivedRequest& request) const;

    // The JSON text of a dispatch answer holding entries, before Base64.
    static std::string AnswerText(const std::vector<DispatchEntry>& entries);

private:
    // The answer to a checked form; scripted, when not null, overrides the settings.
    EmulatorAnswer Decide(ReceivedRequest& request, const ScriptedDispatchAnswer* scripted) const;

    GatewaySettings& settings_;
};

}  // namespace quil
