// What a run of the before or after chain leaves behind. DoBefore and DoAfter each allocate one
// (all fields zero) and hand it to their caller, who owns and deletes it. Filters write into it
// on the thread that runs the chain.
#pragma once

#include <cstdint>
#include <memory>

class QuilResponse;
class ResponseSource;

struct FilterResult {
    // 0: go on with the next filter. 1: the chain stopped.
    int32_t code = 0;
    // The response with which a before filter ends the call; null when there is none. Handed to
    // the caller of DoBefore together with the result.
    QuilResponse* response = nullptr;
    // The cache record of the before chain; only the cache and threshold filters touch it.
    ResponseSource* responseSource = nullptr;
    // The request now waits in the pending-request pool, which will complete it.
    bool waiting = false;
    // Owns the ResponseSource that the cache before filter made, so that it ends with this
    // record even after another filter has cleared responseSource. Callers never read it.
    std::shared_ptr<ResponseSource> responseSourceOwner;
};
