// SHA-256 and HMAC-SHA256 for the stand-in security library and the verifiers that check its
// signatures. The plain functions are thread-safe with no state; a Sha256Stream or HmacSha256Key
// object belongs to one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>

namespace quil {
namespace standin {

// The 32-byte digest of data.
std::string Sha256(const std::string& data);

// The 32-byte HMAC-SHA256 of message under key.
std::string HmacSha256(const std::string& key, const std::string& message);

// A digest fed in pieces. Copyable: a copy taken after a common prefix goes on from there.
class Sha256Stream {
public:
    Sha256Stream();
    void Update(const char* data, std::size_t size);
    void Update(const std::string& data) { Update(data.data(), data.size()); }
    // The 32-byte digest of everything fed so far; the stream itself is left as it was.
    std::string Digest() const;

private:
    uint32_t state_[8];
    uint64_t length_ = 0;      // bytes fed so far
    unsigned char block_[64];  // the bytes of the block not yet compressed
    std::size_t blockUsed_ = 0;
};

// An HMAC-SHA256 key with its padded key blocks already digested, so that each message costs
// only its own blocks.
class HmacSha256Key {
public:
    explicit HmacSha256Key(const std::string& key);
    // The 32-byte HMAC-SHA256 of the concatenation of the given pieces.
    std::string Sign(std::initializer_list<const std::string*> pieces) const;

private:
    Sha256Stream inner_;
    Sha256Stream outer_;
};

// Lower-case hexadecimal of bytes.
std::string ToHex(const std::string& bytes);

}  // namespace standin
}  // namespace quil
