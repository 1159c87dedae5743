// Turns the SDK's header lines into the entries of libcurl's header list, so that exactly those
// lines go on the wire in their order and libcurl adds none of its own that would change what
// the server sees. Pure text work; safe on any thread.
#pragma once

#include <string>
#include <vector>

namespace quil {

class CurlHeaderLines {
public:
    // Fills entries for libcurl's CURLOPT_HTTPHEADER from lines. offerEncoding says whether
    // libcurl may add its Accept-Encoding line. Returns false with error set when a line cannot
    // go on the wire as given (a line break or NUL inside it, or no name before a colon);
    // nothing is sent then. Throws std::bad_alloc.
    static bool Translate(const std::vector<std::string>& lines, bool offerEncoding,
                          std::vector<std::string>& entries, std::string& error);
};

}  // namespace quil
