// GatewayUrlBuilder: the gateway URL of a call ("/gw/<api>/<version>/"), with the data in the
// query on GET or in the form body on POST, and the extra query parameters behind it.
// Stateless; any thread may call it.
#pragma once

#include <cstddef>
#include <map>
#include <string>

class GatewayUrlBuilder {
public:
    // What one URL is built from. api and version are expected in lower case already.
    struct Target {
        const std::string& api;
        const std::string& version;
        const std::string& data;  // sent URL-encoded
        const std::map<std::string, std::string>& params;
        bool isSSL;
        bool domainModeIsOne;
    };

    // A GET URL's part before the parameters must stay below this many bytes.
    static constexpr std::size_t kGetUrlLimit = 4096;

    // Writes scheme, host, "/gw/", api, "/", version, "/?data=", the encoded data and the
    // parameter text into url. Returns false and leaves url untouched when the part before the
    // parameters would need kGetUrlLimit bytes or more.
    static bool BuildGetUrl(std::string& url, const Target& target);

    // Writes scheme, host, "/gw/", api, "/", version, "/?" and the parameter text into url, and
    // "data=" with the encoded data into body. Unbounded.
    static void BuildPostUrl(std::string& url, std::string& body, const Target& target);

    // Appends "&key=value" for each entry in key order; nothing is encoded.
    static void AppendParams(std::string& out, const std::map<std::string, std::string>& params);
};
