// The dispatch request: its parameters, the text that is signed, the URL and the HttpRequest
// that carries them. Pure functions over their inputs (the configuration values are passed
// in), so any thread may call them and tests can check every byte.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "HttpRequest.h"

class ZentRequestForm {
public:
    // The configuration values the request carries.
    struct Client {
        std::string appKey;
        std::string appName;
        std::string appVersion;
        std::string utdid;
        std::string lat;
        std::string lng;
        int32_t environment = 2;
    };

    using Params = std::map<std::string, std::string>;

    // The twelve filled parameters; t is the local wall clock in seconds.
    static Params BuildParams(const Client& client, const std::string& domain, int64_t t);

    // The values of the nineteen signed keys joined by "&". Keys that are absent are created
    // with an empty value, which is how the seven empty keys come to be sent.
    static std::string GetSignInput(Params& params);

    // The dispatch host of an environment: 4 production, 1 pre-release, any other the test host.
    static std::string HostFor(int32_t environment);

    // The URL, with the query values unencoded. False when it would not fit the 4,096-byte
    // buffer it is made in (terminator included); url is then left empty.
    static bool MakeUrl(const std::string& host, const Params& params, std::string* url);

    // Every parameter in key order as encoded key "=" encoded value, joined by "&".
    static std::string EncodeBody(const Params& params);

    // A POST of body to url with the three dispatch header lines; the caller owns it.
    static std::unique_ptr<HttpRequest> MakeHttpRequest(const std::string& url,
                                                        const std::string& body);

    static constexpr int kUrlBufferSize = 4096;
    static constexpr int kPort = 80;
};
