// LazySingleton: the shape of every process-wide object that is built on first use and never
// destroyed: an atomic pointer read without a lock on the fast path, and a construction that
// runs exactly once (the platform's one-time initialisation). Declare one at namespace scope;
// it is constant-initialised, so it is ready before any code runs. Any thread may call Get.
#pragma once

#include <atomic>

#include "Platform.h"

namespace quil {

template <typename T>
class LazySingleton {
public:
    constexpr LazySingleton() noexcept = default;
    LazySingleton(const LazySingleton&) = delete;
    LazySingleton& operator=(const LazySingleton&) = delete;

    // The object, built by make() on the first call; every other caller waits for that build
    // and then sees the whole object. make returns a new T* (or a pointer to a class derived
    // from T), which is never freed.
    template <typename Make>
    T* Get(Make&& make) {
        T* object = instance_.load(std::memory_order_acquire);
        if (object != nullptr) {
            return object;
        }
        platform::CallOnce(once_,
                           [this, &make] { instance_.store(make(), std::memory_order_release); });
        return instance_.load(std::memory_order_acquire);
    }

    // The object if it has been built, else null; never builds it.
    T* Peek() const { return instance_.load(std::memory_order_acquire); }

private:
    std::atomic<T*> instance_{nullptr};
    platform::OnceFlag once_;
};

}  // namespace quil
