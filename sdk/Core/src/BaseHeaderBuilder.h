// BaseHeaderBuilder: the fixed part of a gateway request's header lines (identity, session,
// routing, timestamp, signature marks, content type), in the order the gateway expects.
// Stateless; any thread may call it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

class BaseHeaderBuilder {
public:
    // Everything the base lines are made of, as plain values. sid and uid are empty when the
    // call needs no session; networkType is already reduced to "2g", "3g", "wifi" or "".
    struct Fields {
        std::string host;
        std::string sid;
        std::string uid;
        std::string utdid;
        std::string ttid;
        std::string devId;
        std::string reqBizExt;
        std::string openBiz;
        std::string miniAppKey;
        std::string reqAppKey;
        std::string act;
        std::string openBizData;
        std::string miniAppIdTarvel;
        std::string miniAppIdPelmay;
        std::string extType;
        std::string extData;
        std::string networkType;
        std::string lng;
        std::string lat;
        int64_t timestamp = -1;
        std::string sign;  // the older protocol's signature; empty when signed the newer way
        std::string appKey;
        int64_t features = 0;
        std::string kolvaVersion;
    };

    // The content type line, the only one with a blank after its colon.
    static constexpr const char* kContentTypeLine =
        "Content-Type: application/x-www-form-urlencoded;charset=utf-8";

    // The most lines Build appends.
    static constexpr std::size_t kMostLines = 25;

    // Appends the base lines for fields to out. Values are URL-encoded, the host is not.
    static void Build(std::vector<std::string>& out, const Fields& fields);
};
