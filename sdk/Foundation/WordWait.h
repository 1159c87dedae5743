// Sleeping on a 32-bit word until another thread changes it: the one blocking primitive of the
// signing hand-off. A waiter keeps its own state under its own mutex and sleeps here with that
// mutex released; a waker changes the word (under the same mutex) and then wakes. Unlike a
// condition variable, a woken waiter does not take the mutex back inside the wait, which on
// glibc marks it contended and costs one more system call at its next unlock. Any thread may
// call either function; the word must outlive both calls.
#pragma once

#include <atomic>
#include <cstdint>

namespace quil {
namespace platform {

// Sleeps while word holds expected: returns at once when it does not, after a wake, after
// timeoutNanoseconds (a negative limit: none), or spuriously. Callers re-check their state.
void WaitOnWord(const std::atomic<uint32_t>& word, uint32_t expected, int64_t timeoutNanoseconds);

// Wakes one sleeper on word, or every sleeper when all is true. The caller changes the word
// first, so a waiter that has not slept yet does not sleep on the old value.
void WakeWord(const std::atomic<uint32_t>& word, bool all);

}  // namespace platform
}  // namespace quil
