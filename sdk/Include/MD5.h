// MD5 digests (RFC 1321) as 32 lowercase hexadecimal characters.
// An instance is plain state owned by whoever built it and is not thread-safe: one thread at a
// time. GetInstance hands out one process-wide instance, which the library never deletes. The
// whole class is exported, so that a host can build its own instances and digest with them or
// with the shared one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "QuilExport.h"

class QUIL_API MD5 {
public:
    MD5();

    // The process-wide instance, built at the first call. Its operations are not guarded:
    // two threads must not use it at once. The library owns it; never delete it.
    static MD5* GetInstance();

    // Starts a new message: clears the bit count and restores the initial state.
    void Reset();

    // Adds length bytes at data to the message. data may be null only when length is 0.
    void Update(const void* data, std::size_t length);

    // The digest of the message so far, as 32 lowercase hexadecimal characters. Each call
    // finalises anew and the padding overwrites the unprocessed tail of the message, so read
    // it once per message: a second read equals the first only when the message length modulo
    // 64 is below 56.
    std::string ToHexString();

private:
    void Finalize();
    void Transform(const uint8_t block[64]);

    uint32_t state_[4];
    uint32_t count_[2];  // message length in bits, low word first
    uint8_t buffer_[64];
    uint8_t digest_[16];
    bool finished_ = false;
};
