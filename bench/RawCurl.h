// quil::bench::RawCurl: the baseline of the end-to-end comparison. One libcurl easy handle,
// reused, that sends a fixed request (the very URL, header lines and body the SDK composed)
// the way the curl adapter puts them on the wire. One thread per object.
#pragma once

#include <curl/curl.h>

#include <string>
#include <vector>

namespace quil {
namespace bench {

struct WireRequest {
    std::string url;
    std::vector<std::string> headerLines;
    std::string body;
    bool post = true;
};

class RawCurl {
public:
    explicit RawCurl(const WireRequest& request);
    ~RawCurl();
    RawCurl(const RawCurl&) = delete;
    RawCurl& operator=(const RawCurl&) = delete;

    // Sends the request once and reads the whole answer; the HTTP status, 0 on failure.
    long Perform();

private:
    static size_t Collect(char* data, size_t size, size_t count, void* sink);

    CURL* handle_ = nullptr;
    curl_slist* lines_ = nullptr;
    std::string body_;
    std::string header_;
    std::string answer_;
};

}  // namespace bench
}  // namespace quil
