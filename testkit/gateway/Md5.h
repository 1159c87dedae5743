// MD5 in lower-case hexadecimal, for the gateway emulator, which recomputes the digest of the
// call's data that a client puts into the text it signs. A pure function; any thread.
#pragma once

#include <string>

namespace quil {

// The 32 lower-case hexadecimal digits of the MD5 digest of bytes.
std::string Md5Hex(const std::string& bytes);

}  // namespace quil
