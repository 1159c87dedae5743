// Makes the header block of an answer whose body libcurl decoded describe that decoded body:
// the Content-Encoding lines, and the Content-Length that counted the encoded bytes, are taken
// out, so a host never decodes the body a second time. Pure text work; safe on any thread.
#pragma once

#include <vector>

namespace quil {

class CurlDecodedHeaders {
public:
    // block: a final header block as collected (status line first, every line ended by CR LF,
    // the empty line last). Every Content-Encoding line is removed; when one of them named a
    // coding other than "identity", every Content-Length line is removed too. All other lines
    // keep their bytes and their order. Throws std::bad_alloc.
    static void Apply(std::vector<char>& block);
};

}  // namespace quil
