// A host cookie store for tests: answers every URL with one fixed cookie and counts the asks.
// Thread-safe.
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "IQuilCookieStorage.h"

namespace quil {
namespace test {

class FakeCookieStorage : public IQuilCookieStorage {
public:
    explicit FakeCookieStorage(std::string cookie = "") : cookie_(std::move(cookie)) {}

    bool GetCookie(const std::string& url, std::string& cookie) override {
        std::lock_guard<std::mutex> lock(mutex_);
        urls_.push_back(url);
        cookie = cookie_;
        return !cookie_.empty();
    }

    std::vector<std::string> Urls() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return urls_;
    }

private:
    mutable std::mutex mutex_;  // guards urls_
    const std::string cookie_;
    std::vector<std::string> urls_;
};

}  // namespace test
}  // namespace quil
