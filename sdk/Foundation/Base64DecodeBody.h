// Decoding of a Base64 response body into text (the dispatch service answers with Base64 of a
// JSON text). The decoder yields text, not binary: a zero byte ends its three-byte piece.
// Pure function; any thread may call it. The response stays with the caller.
#pragma once

#include <memory>
#include <string>

#include "HttpResponse.h"

// Decodes the body of response. A null response or an empty body gives an empty string. The
// body is read up to its first zero byte, characters outside the alphabet are skipped, decoding
// stops at the first "=", and an unfinished group at the end is dropped.
std::string Base64DecodeBody(const std::shared_ptr<HttpResponse>& response);
