#include "MD5.h"

#include <cstring>

#include "LazySingleton.h"

namespace {

// The process-wide instance; only its construction is guarded, its use is not.
quil::LazySingleton<MD5> g_instance;

const uint8_t kPadding[64] = {0x80};

inline uint32_t RotateLeft(uint32_t x, int n) { return (x << n) | (x >> (32 - n)); }
inline uint32_t F(uint32_t x, uint32_t y, uint32_t z) { return (x & y) | (~x & z); }
inline uint32_t G(uint32_t x, uint32_t y, uint32_t z) { return (x & z) | (y & ~z); }
inline uint32_t H(uint32_t x, uint32_t y, uint32_t z) { return x ^ y ^ z; }
inline uint32_t I(uint32_t x, uint32_t y, uint32_t z) { return y ^ (x | ~z); }

template <uint32_t (*Round)(uint32_t, uint32_t, uint32_t)>
inline void Step(uint32_t& a, uint32_t b, uint32_t c, uint32_t d, uint32_t x, int s, uint32_t t) {
    a = b + RotateLeft(a + Round(b, c, d) + x + t, s);
}

void Encode(uint8_t* output, const uint32_t* input, std::size_t length) {
    for (std::size_t i = 0, j = 0; j < length; ++i, j += 4) {
        output[j] = static_cast<uint8_t>(input[i] & 0xff);
        output[j + 1] = static_cast<uint8_t>((input[i] >> 8) & 0xff);
        output[j + 2] = static_cast<uint8_t>((input[i] >> 16) & 0xff);
        output[j + 3] = static_cast<uint8_t>((input[i] >> 24) & 0xff);
    }
}

void Decode(uint32_t* output, const uint8_t* input, std::size_t length) {
    for (std::size_t i = 0, j = 0; j < length; ++i, j += 4) {
        output[i] = static_cast<uint32_t>(input[j]) | (static_cast<uint32_t>(input[j + 1]) << 8) |
                    (static_cast<uint32_t>(input[j + 2]) << 16) |
                    (static_cast<uint32_t>(input[j + 3]) << 24);
    }
}

}  // namespace

MD5::MD5() {
    std::memset(buffer_, 0, sizeof(buffer_));
    std::memset(digest_, 0, sizeof(digest_));
    Reset();
}

MD5* MD5::GetInstance() {
    return g_instance.Get([] { return new MD5(); });
}

void MD5::Reset() {
    finished_ = false;
    count_[0] = 0;
    count_[1] = 0;
    state_[0] = 0x67452301;
    state_[1] = 0xefcdab89;
    state_[2] = 0x98badcfe;
    state_[3] = 0x10325476;
}

void MD5::Update(const void* data, std::size_t length) {
    finished_ = false;
    const uint8_t* input = static_cast<const uint8_t*>(data);
    std::size_t index = (count_[0] >> 3) & 0x3f;
    // The bit count is 64 bits wide over two words; it wraps as the algorithm defines.
    const uint64_t bits =
        (static_cast<uint64_t>(count_[1]) << 32 | count_[0]) + (static_cast<uint64_t>(length) << 3);
    count_[0] = static_cast<uint32_t>(bits);
    count_[1] = static_cast<uint32_t>(bits >> 32);

    const std::size_t partLength = 64 - index;
    std::size_t i = 0;
    if (length >= partLength) {
        std::memcpy(&buffer_[index], input, partLength);
        Transform(buffer_);
        for (i = partLength; i + 63 < length; i += 64) Transform(&input[i]);
        index = 0;
    }
    if (length > i) std::memcpy(&buffer_[index], &input[i], length - i);
}

std::string MD5::ToHexString() {
    if (!finished_) {
        finished_ = true;
        // Finalising pads through Update, which clears the flag again: every read finalises.
        Finalize();
    }
    static const char kDigits[] = "0123456789abcdef";
    std::string hex(32, '0');
    for (int i = 0; i < 16; ++i) {
        hex[2 * i] = kDigits[digest_[i] >> 4];
        hex[2 * i + 1] = kDigits[digest_[i] & 0x0f];
    }
    return hex;
}

void MD5::Finalize() {
    // State and count are restored afterwards; the buffer keeps the padding.
    uint32_t savedState[4];
    uint32_t savedCount[2];
    std::memcpy(savedState, state_, sizeof(state_));
    std::memcpy(savedCount, count_, sizeof(count_));

    uint8_t bits[8];
    Encode(bits, count_, 8);
    const std::size_t index = (count_[0] >> 3) & 0x3f;
    const std::size_t padLength = index < 56 ? 56 - index : 120 - index;
    Update(kPadding, padLength);
    Update(bits, 8);
    Encode(digest_, state_, 16);

    std::memcpy(state_, savedState, sizeof(state_));
    std::memcpy(count_, savedCount, sizeof(count_));
}

void MD5::Transform(const uint8_t block[64]) {
    uint32_t a = state_[0], b = state_[1], c = state_[2], d = state_[3];
    uint32_t x[16];
    Decode(x, block, 64);

    Step<F>(a, b, c, d, x[0], 7, 0xd76aa478);
    Step<F>(d, a, b, c, x[1], 12, 0xe8c7b756);
    Step<F>(c, d, a, b, x[2], 17, 0x242070db);
    Step<F>(b, c, d, a, x[3], 22, 0xc1bdceee);
    Step<F>(a, b, c, d, x[4], 7, 0xf57c0faf);
    Step<F>(d, a, b, c, x[5], 12, 0x4787c62a);
    Step<F>(c, d, a, b, x[6], 17, 0xa8304613);
    Step<F>(b, c, d, a, x[7], 22, 0xfd469501);
    Step<F>(a, b, c, d, x[8], 7, 0x698098d8);
    Step<F>(d, a, b, c, x[9], 12, 0x8b44f7af);
    Step<F>(c, d, a, b, x[10], 17, 0xffff5bb1);
    Step<F>(b, c, d, a, x[11], 22, 0x895cd7be);
    Step<F>(a, b, c, d, x[12], 7, 0x6b901122);
    Step<F>(d, a, b, c, x[13], 12, 0xfd987193);
    Step<F>(c, d, a, b, x[14], 17, 0xa679438e);
    Step<F>(b, c, d, a, x[15], 22, 0x49b40821);

    Step<G>(a, b, c, d, x[1], 5, 0xf61e2562);
    Step<G>(d, a, b, c, x[6], 9, 0xc040b340);
    Step<G>(c, d, a, b, x[11], 14, 0x265e5a51);
    Step<G>(b, c, d, a, x[0], 20, 0xe9b6c7aa);
    Step<G>(a, b, c, d, x[5], 5, 0xd62f105d);
    Step<G>(d, a, b, c, x[10], 9, 0x02441453);
    Step<G>(c, d, a, b, x[15], 14, 0xd8a1e681);
    Step<G>(b, c, d, a, x[4], 20, 0xe7d3fbc8);
    Step<G>(a, b, c, d, x[9], 5, 0x21e1cde6);
    Step<G>(d, a, b, c, x[14], 9, 0xc33707d6);
    Step<G>(c, d, a, b, x[3], 14, 0xf4d50d87);
    Step<G>(b, c, d, a, x[8], 20, 0x455a14ed);
    Step<G>(a, b, c, d, x[13], 5, 0xa9e3e905);
    Step<G>(d, a, b, c, x[2], 9, 0xfcefa3f8);
    Step<G>(c, d, a, b, x[7], 14, 0x676f02d9);
    Step<G>(b, c, d, a, x[12], 20, 0x8d2a4c8a);

    Step<H>(a, b, c, d, x[5], 4, 0xfffa3942);
    Step<H>(d, a, b, c, x[8], 11, 0x8771f681);
    Step<H>(c, d, a, b, x[11], 16, 0x6d9d6122);
    Step<H>(b, c, d, a, x[14], 23, 0xfde5380c);
    Step<H>(a, b, c, d, x[1], 4, 0xa4beea44);
    Step<H>(d, a, b, c, x[4], 11, 0x4bdecfa9);
    Step<H>(c, d, a, b, x[7], 16, 0xf6bb4b60);
    Step<H>(b, c, d, a, x[10], 23, 0xbebfbc70);
    Step<H>(a, b, c, d, x[13], 4, 0x289b7ec6);
    Step<H>(d, a, b, c, x[0], 11, 0xeaa127fa);
    Step<H>(c, d, a, b, x[3], 16, 0xd4ef3085);
    Step<H>(b, c, d, a, x[6], 23, 0x04881d05);
    Step<H>(a, b, c, d, x[9], 4, 0xd9d4d039);
    Step<H>(d, a, b, c, x[12], 11, 0xe6db99e5);
    Step<H>(c, d, a, b, x[15], 16, 0x1fa27cf8);
    Step<H>(b, c, d, a, x[2], 23, 0xc4ac5665);

    Step<I>(a, b, c, d, x[0], 6, 0xf4292244);
    Step<I>(d, a, b, c, x[7], 10, 0x432aff97);
    Step<I>(c, d, a, b, x[14], 15, 0xab9423a7);
    Step<I>(b, c, d, a, x[5], 21, 0xfc93a039);
    Step<I>(a, b, c, d, x[12], 6, 0x655b59c3);
    Step<I>(d, a, b, c, x[3], 10, 0x8f0ccc92);
    Step<I>(c, d, a, b, x[10], 15, 0xffeff47d);
    Step<I>(b, c, d, a, x[1], 21, 0x85845dd1);
    Step<I>(a, b, c, d, x[8], 6, 0x6fa87e4f);
    Step<I>(d, a, b, c, x[15], 10, 0xfe2ce6e0);
    Step<I>(c, d, a, b, x[6], 15, 0xa3014314);
    Step<I>(b, c, d, a, x[13], 21, 0x4e0811a1);
    Step<I>(a, b, c, d, x[4], 6, 0xf7537e82);
    Step<I>(d, a, b, c, x[11], 10, 0xbd3af235);
    Step<I>(c, d, a, b, x[2], 15, 0x2ad7d2bb);
    Step<I>(b, c, d, a, x[9], 21, 0xeb86d391);

    state_[0] += a;
    state_[1] += b;
    state_[2] += c;
    state_[3] += d;
}
