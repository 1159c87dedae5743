// A gateway call composed by hand in a test, byte for byte as a client must send it: the
// header lines in their fixed order, the URL or form body, and the text that is signed,
// signed through the stand-in's signature functions. Written apart from the emulator, so that
// the emulator's own rebuilding is checked against it.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace quil {
namespace test {

struct HandComposedCall {
    std::string api = "quil.test.echo";
    std::string version = "1.0";
    std::string data = "{\"k\":\"v\"}";
    bool get = false;
    std::map<std::string, std::string> params;  // query parameters, sent unencoded
    std::string host = "127.0.0.1";
    std::string utdid = "utdid-1";
    std::string ttid = "ttid-1";
    std::string devId = "dev-1";
    std::string reqBizExt;
    std::string appKey = "app-key-1";
    long long timestamp = 0;
    bool needLogin = false;
    std::string sid;
    std::string uid;
    std::string lat;
    std::string lng;
    std::string extType;
    std::string extData;
    int features = 0;
    std::string openBiz;
    std::string miniAppKey;
    std::string reqAppKey;
    std::string act;
    std::string openBizData;
    std::map<std::string, std::string> customHeaders;
    bool wideRoad = false;  // sign by the wide road ("x-pv:6.2") instead of the JSON road

    // The text to sign for the JSON road (extended) or the wide road.
    std::string SignInput(bool extended) const;
    // The header lines, each without a line end, in the order a client sends them, with the
    // signature of the chosen road.
    std::vector<std::string> HeaderLines() const;
    // The request target: "/gw/<api>/<version>/?..." with the query.
    std::string Target() const;
    // The body ("data=..." on POST, empty on GET).
    std::string Body() const;
    // The whole HTTP/1.1 request as bytes; the header lines replaced when lines is given.
    std::string Wire() const;
    std::string Wire(const std::vector<std::string>& lines) const;
};

}  // namespace test
}  // namespace quil
