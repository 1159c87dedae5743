// The text the gateway expects a call to have signed, built field by field from what a test set
// on the request and the configuration, to compare with what the gateway emulator rebuilt from
// the wire. A plain record; fill it on one thread.
#pragma once

#include <cstdint>
#include <string>

namespace quil {
namespace test {

struct ExpectedSignInput {
    std::string utdid;
    std::string uid;  // only for a call that needs a session
    std::string reqBizExt;
    std::string appKey;
    std::string data;  // the call's data as sent; its MD5 goes into the text
    int64_t timestamp = 0;
    std::string api;      // lower case
    std::string version;  // lower case
    std::string sid;      // only for a call that needs a session
    std::string ttid;
    std::string devId;
    std::string lat;
    std::string lng;
    std::string extType;
    std::string extData;
    int64_t features = 0;
    std::string openBiz;
    std::string miniAppKey;
    std::string reqAppKey;
    std::string act;
    std::string openBizData;

    // The text for sign version 6.3 (extended) or 6.2.
    std::string Build(bool extended) const;
};

}  // namespace test
}  // namespace quil
