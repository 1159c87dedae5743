// Rebuilds, from a gateway request as it arrived, the text its client must have signed, and
// checks the signature the way the stand-in security library makes it. Pure functions; any
// thread.
#pragma once

#include <string>

#include "ReceivedRequest.h"

namespace quil {

// The parts of a "/gw/<api>/<version>/" request that the signature covers, decoded.
struct GatewayCall {
    std::string api;      // from the path, as it stands there (clients send it in lower case)
    std::string version;  // from the path
    std::string data;     // the "data" field of the query (GET) or of the form body (POST)
};

// Splits the path and finds the data. False when the path is not "/gw/<api>/<version>[/]".
bool ReadGatewayCall(const ReceivedRequest& request, GatewayCall* call);

// The sign input of the request: extended is true for the JSON road ("x-pv:6.3"), false
// for the wide road ("x-pv:6.2").
std::string RebuildSignInput(const ReceivedRequest& request, const GatewayCall& call,
                             bool extended);

// The outcome of checking one request's signature.
struct SignVerdict {
    bool valid = false;
    std::string signInput;  // what was rebuilt (empty when the road was unknown)
    std::string reason;     // why it failed, for the answer's message
};

// Checks the request's signature. appKey is the key the gateway signs with; when empty, the
// request's own "x-appkey" is trusted.
SignVerdict VerifyGatewaySignature(const ReceivedRequest& request, const GatewayCall& call,
                                   const std::string& appKey);

}  // namespace quil
