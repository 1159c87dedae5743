// SHA-256 and HMAC-SHA256 for the stand-in security library and the verifiers that check its
// signatures. Plain functions over byte strings; thread-safe, no state.
#pragma once

#include <string>

namespace quil {
namespace standin {

// The 32-byte digest of data.
std::string Sha256(const std::string& data);

// The 32-byte HMAC-SHA256 of message under key.
std::string HmacSha256(const std::string& key, const std::string& message);

// Lower-case hexadecimal of bytes.
std::string ToHex(const std::string& bytes);

}  // namespace standin
}  // namespace quil
