#include "RawCurl.h"

namespace quil {
namespace bench {

RawCurl::RawCurl(const WireRequest& request) : body_(request.body) {
    handle_ = curl_easy_init();
    for (const std::string& line : request.headerLines) {
        // A line with nothing after its colon must go out as it is: libcurl's "name;" form.
        const std::size_t colon = line.find(':');
        if (colon != std::string::npos && colon + 1 == line.size()) {
            lines_ = curl_slist_append(lines_, (line.substr(0, colon) + ";").c_str());
        } else {
            lines_ = curl_slist_append(lines_, line.c_str());
        }
    }
    // As the adapter: no "Expect: 100-continue", no "Accept" of libcurl's own.
    lines_ = curl_slist_append(lines_, "Expect:");
    lines_ = curl_slist_append(lines_, "Accept:");
    curl_easy_setopt(handle_, CURLOPT_URL, request.url.c_str());
    curl_easy_setopt(handle_, CURLOPT_HTTPHEADER, lines_);
    curl_easy_setopt(handle_, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
    curl_easy_setopt(handle_, CURLOPT_ACCEPT_ENCODING, "gzip, deflate");
    curl_easy_setopt(handle_, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle_, CURLOPT_PROXY, "");
    curl_easy_setopt(handle_, CURLOPT_WRITEFUNCTION, &RawCurl::Collect);
    curl_easy_setopt(handle_, CURLOPT_WRITEDATA, &answer_);
    curl_easy_setopt(handle_, CURLOPT_HEADERFUNCTION, &RawCurl::Collect);
    curl_easy_setopt(handle_, CURLOPT_HEADERDATA, &header_);
    if (request.post) {
        curl_easy_setopt(handle_, CURLOPT_POSTFIELDS, body_.c_str());
        curl_easy_setopt(handle_, CURLOPT_POSTFIELDSIZE_LARGE,
                         static_cast<curl_off_t>(body_.size()));
    } else {
        curl_easy_setopt(handle_, CURLOPT_HTTPGET, 1L);
    }
}

RawCurl::~RawCurl() {
    curl_easy_cleanup(handle_);
    curl_slist_free_all(lines_);
}

long RawCurl::Perform() {
    answer_.clear();
    header_.clear();
    if (curl_easy_perform(handle_) != CURLE_OK) {
        return 0;
    }
    long status = 0;
    curl_easy_getinfo(handle_, CURLINFO_RESPONSE_CODE, &status);
    return status;
}

size_t RawCurl::Collect(char* data, size_t size, size_t count, void* sink) {
    static_cast<std::string*>(sink)->append(data, size * count);
    return size * count;
}

}  // namespace bench
}  // namespace quil
