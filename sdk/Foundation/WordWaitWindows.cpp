#include "WordWait.h"
#include "WordWaitParking.h"

namespace quil {
namespace platform {

// The portable buckets rather than WaitOnAddress, which would add a link dependency for a
// platform whose figures are not measured here.
void WaitOnWord(const std::atomic<uint32_t>& word, uint32_t expected, int64_t timeoutNanoseconds) {
    parking::Wait(word, expected, timeoutNanoseconds);
}

void WakeWord(const std::atomic<uint32_t>& word, bool /*all*/) { parking::Wake(word); }

}  // namespace platform
}  // namespace quil
