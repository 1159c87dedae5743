// A compact SHA-256 (FIPS 180-4) and HMAC (RFC 2104), enough for the stand-in's signatures.
#include "Sha256.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace quil {
namespace standin {

namespace {

constexpr uint32_t kRoundConstants[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

uint32_t RotateRight(uint32_t value, int bits) { return (value >> bits) | (value << (32 - bits)); }

void Compress(uint32_t state[8], const unsigned char block[64]) {
    uint32_t w[64];
    for (int i = 0; i < 16; ++i) {
        w[i] = (uint32_t(block[i * 4]) << 24) | (uint32_t(block[i * 4 + 1]) << 16) |
               (uint32_t(block[i * 4 + 2]) << 8) | uint32_t(block[i * 4 + 3]);
    }
    for (int i = 16; i < 64; ++i) {
        uint32_t s0 = RotateRight(w[i - 15], 7) ^ RotateRight(w[i - 15], 18) ^ (w[i - 15] >> 3);
        uint32_t s1 = RotateRight(w[i - 2], 17) ^ RotateRight(w[i - 2], 19) ^ (w[i - 2] >> 10);
        w[i] = w[i - 16] + s0 + w[i - 7] + s1;
    }
    uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
    uint32_t e = state[4], f = state[5], g = state[6], h = state[7];
    for (int i = 0; i < 64; ++i) {
        uint32_t s1 = RotateRight(e, 6) ^ RotateRight(e, 11) ^ RotateRight(e, 25);
        uint32_t choice = (e & f) ^ (~e & g);
        uint32_t t1 = h + s1 + choice + kRoundConstants[i] + w[i];
        uint32_t s0 = RotateRight(a, 2) ^ RotateRight(a, 13) ^ RotateRight(a, 22);
        uint32_t majority = (a & b) ^ (a & c) ^ (b & c);
        uint32_t t2 = s0 + majority;
        h = g;
        g = f;
        f = e;
        e = d + t1;
        d = c;
        c = b;
        b = a;
        a = t1 + t2;
    }
    state[0] += a;
    state[1] += b;
    state[2] += c;
    state[3] += d;
    state[4] += e;
    state[5] += f;
    state[6] += g;
    state[7] += h;
}

}  // namespace

Sha256Stream::Sha256Stream()
    : state_{0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
             0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19} {}

void Sha256Stream::Update(const char* data, std::size_t size) {
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(data);
    length_ += size;
    if (blockUsed_ > 0) {
        const std::size_t take = std::min(size, sizeof(block_) - blockUsed_);
        std::memcpy(block_ + blockUsed_, bytes, take);
        blockUsed_ += take;
        bytes += take;
        size -= take;
        if (blockUsed_ < sizeof(block_)) return;
        Compress(state_, block_);
        blockUsed_ = 0;
    }
    for (; size >= 64; bytes += 64, size -= 64) Compress(state_, bytes);
    if (size > 0) std::memcpy(block_, bytes, size);
    blockUsed_ = size;
}

std::string Sha256Stream::Digest() const {
    Sha256Stream last = *this;
    const uint64_t bitLength = length_ * 8;
    // The 0x80 marker, zeros up to 56 modulo 64, the length in bits, big-endian.
    unsigned char tail[72] = {0x80};
    const std::size_t zeros = (64 + 55 - length_ % 64) % 64;
    for (int i = 0; i < 8; ++i) {
        tail[1 + zeros + i] = static_cast<unsigned char>(bitLength >> (56 - 8 * i));
    }
    last.Update(reinterpret_cast<const char*>(tail), 1 + zeros + 8);
    std::string digest;
    digest.reserve(32);
    for (uint32_t word : last.state_) {
        for (int shift = 24; shift >= 0; shift -= 8) {
            digest.push_back(static_cast<char>((word >> shift) & 0xff));
        }
    }
    return digest;
}

std::string Sha256(const std::string& data) {
    Sha256Stream stream;
    stream.Update(data);
    return stream.Digest();
}

HmacSha256Key::HmacSha256Key(const std::string& key) {
    std::string block = key.size() > 64 ? Sha256(key) : key;
    block.resize(64, '\0');
    std::string innerPad(64, '\0');
    std::string outerPad(64, '\0');
    for (int i = 0; i < 64; ++i) {
        innerPad[i] = static_cast<char>(block[i] ^ 0x36);
        outerPad[i] = static_cast<char>(block[i] ^ 0x5c);
    }
    inner_.Update(innerPad);
    outer_.Update(outerPad);
}

std::string HmacSha256Key::Sign(std::initializer_list<const std::string*> pieces) const {
    Sha256Stream inner = inner_;
    for (const std::string* piece : pieces) inner.Update(*piece);
    Sha256Stream outer = outer_;
    outer.Update(inner.Digest());
    return outer.Digest();
}

std::string HmacSha256(const std::string& key, const std::string& message) {
    return HmacSha256Key(key).Sign({&message});
}

std::string ToHex(const std::string& bytes) {
    static const char kDigits[] = "0123456789abcdef";
    std::string hex;
    hex.reserve(bytes.size() * 2);
    for (unsigned char byte : bytes) {
        hex.push_back(kDigits[byte >> 4]);
        hex.push_back(kDigits[byte & 0x0f]);
    }
    return hex;
}

}  // namespace standin
}  // namespace quil
