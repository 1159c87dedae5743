#include "AnswerCompression.h"

#include <zlib.h>

#include <cstdlib>
#include <utility>

namespace quil {

namespace {

std::string Trim(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string::npos) return std::string();
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// True when one comma-separated item of an Accept-Encoding value is gzip and not refused.
bool ItemOffersGzip(const std::string& item) {
    const std::size_t semicolon = item.find(';');
    if (AsciiLower(Trim(item.substr(0, semicolon))) != "gzip") return false;
    if (semicolon == std::string::npos) return true;
    std::string parameter = AsciiLower(Trim(item.substr(semicolon + 1)));
    parameter.erase(0, parameter.find_first_not_of(' '));
    if (parameter.compare(0, 2, "q=") != 0) return true;
    return std::strtod(parameter.c_str() + 2, nullptr) > 0.0;
}

}  // namespace

bool OffersGzip(const ReceivedRequest& request) {
    for (const std::string& line : request.headerLines) {
        const std::size_t colon = line.find(':');
        if (colon == std::string::npos ||
            AsciiLower(Trim(line.substr(0, colon))) != "accept-encoding") {
            continue;
        }
        const std::string value = line.substr(colon + 1);
        std::size_t start = 0;
        while (start <= value.size()) {
            std::size_t comma = value.find(',', start);
            if (comma == std::string::npos) comma = value.size();
            if (ItemOffersGzip(value.substr(start, comma - start))) return true;
            start = comma + 1;
        }
    }
    return false;
}

std::string GzipBytes(const std::string& bytes) {
    z_stream stream{};
    // 15 window bits plus 16: a gzip wrapper, as Content-Encoding gzip wants.
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY) !=
        Z_OK) {
        return std::string();
    }
    std::string out(deflateBound(&stream, static_cast<uLong>(bytes.size())), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(&out[0]);
    stream.avail_out = static_cast<uInt>(out.size());
    const int result = deflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return result == Z_STREAM_END ? out : std::string();
}

void GzipIfOffered(const ReceivedRequest& request, EmulatorAnswer& answer) {
    if (answer.body.empty() || !OffersGzip(request)) return;
    std::string zipped = GzipBytes(answer.body);
    if (zipped.empty()) return;
    answer.body = std::move(zipped);
    answer.headers.emplace_back("Content-Encoding", "gzip");
    answer.headers.emplace_back("Vary", "Accept-Encoding");
}

}  // namespace quil
