// Compresses an emulator answer the way a front server with gzip on (nginx, say) does: when
// the request offers gzip, the body goes out gzip-encoded with "Content-Encoding: gzip" and
// "Vary: Accept-Encoding". Lets a client's handling of compressed answers be tried offline.
// Free functions; any thread.
#pragma once

#include <string>

#include "EmulatorAnswer.h"
#include "ReceivedRequest.h"

namespace quil {

// True when one of the request's Accept-Encoding lines offers gzip (without "q=0").
bool OffersGzip(const ReceivedRequest& request);

// The gzip form of bytes (zlib, gzip wrapper).
std::string GzipBytes(const std::string& bytes);

// Compresses answer's body when the request offers gzip and the body is not empty.
void GzipIfOffered(const ReceivedRequest& request, EmulatorAnswer& answer);

}  // namespace quil
