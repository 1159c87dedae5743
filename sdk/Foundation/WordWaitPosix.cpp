#include "WordWait.h"

#if defined(__linux__)
#include <linux/futex.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>
#else
#include "WordWaitParking.h"
#endif

namespace quil {
namespace platform {

#if defined(__linux__)

static_assert(sizeof(std::atomic<uint32_t>) == sizeof(uint32_t) &&
                  std::atomic<uint32_t>::is_always_lock_free,
              "the futex word is the atomic's own storage");

namespace {

// The futex word: the atomic's storage, read by the kernel as a plain 32-bit integer.
uint32_t* Address(const std::atomic<uint32_t>& word) {
    return reinterpret_cast<uint32_t*>(const_cast<std::atomic<uint32_t>*>(&word));
}

}  // namespace

void WaitOnWord(const std::atomic<uint32_t>& word, uint32_t expected, int64_t timeoutNanoseconds) {
    // A relative limit on the monotonic clock. The result is not looked at: a changed word
    // (EAGAIN), a signal (EINTR), a time-out and a wake all end in the caller's own check.
    if (timeoutNanoseconds < 0) {
        syscall(SYS_futex, Address(word), FUTEX_WAIT_PRIVATE, expected, nullptr, nullptr, 0);
        return;
    }
    timespec limit;
    limit.tv_sec = static_cast<time_t>(timeoutNanoseconds / 1000000000);
    limit.tv_nsec = static_cast<long>(timeoutNanoseconds % 1000000000);
    syscall(SYS_futex, Address(word), FUTEX_WAIT_PRIVATE, expected, &limit, nullptr, 0);
}

void WakeWord(const std::atomic<uint32_t>& word, bool all) {
    syscall(SYS_futex, Address(word), FUTEX_WAKE_PRIVATE, all ? INT32_MAX : 1, nullptr, nullptr, 0);
}

#else

void WaitOnWord(const std::atomic<uint32_t>& word, uint32_t expected, int64_t timeoutNanoseconds) {
    parking::Wait(word, expected, timeoutNanoseconds);
}

void WakeWord(const std::atomic<uint32_t>& word, bool /*all*/) { parking::Wake(word); }

#endif

}  // namespace platform
}  // namespace quil
