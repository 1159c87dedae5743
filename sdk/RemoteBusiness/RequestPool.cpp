#include "RequestPool.h"

#include <list>
#include <mutex>
#include <vector>

#include "QuilRequestImpl.h"
#include "QuilService.h"

namespace {

// Guards the list and every operation on it, the walks included. Never held while anything
// outside the list runs: RetryRequest and the host's callbacks come after it is released, so a
// callback that starts another call, which may park again, cannot deadlock.
std::mutex poolMutex;

// Made once and never freed: a login may end on a host thread while the process exits.
std::list<QuilRequest*>& Pool() {
    static std::list<QuilRequest*>* pool = new std::list<QuilRequest*>();
    return *pool;
}

// Unlinks the account's requests, oldest first.
std::vector<QuilRequest*> TakeAccount(const std::string& userInfo) {
    std::vector<QuilRequest*> taken;
    std::lock_guard<std::mutex> lock(poolMutex);
    std::list<QuilRequest*>& pool = Pool();
    for (auto entry = pool.begin(); entry != pool.end();) {
        // The request is read only here, under the lock: nobody else holds a parked request.
        if ((*entry)->GetUserInfo() == userInfo) {
            taken.push_back(*entry);
            entry = pool.erase(entry);
        } else {
            ++entry;
        }
    }
    return taken;
}

}  // namespace

void RequestPool::addToRequestPool(QuilRequest* request) {
    if (request == nullptr) {
        return;
    }
    std::lock_guard<std::mutex> lock(poolMutex);
    Pool().push_back(request);
}

void RequestPool::retryAllRequest(std::string userInfo) {
    for (QuilRequest* request : TakeAccount(userInfo)) {
        QuilService::GetInstance()->RetryRequest(request);
    }
}

void RequestPool::failAllRequest(std::string userInfo) {
    for (QuilRequest* request : TakeAccount(userInfo)) {
        if (QuilRequestImpl* impl = dynamic_cast<QuilRequestImpl*>(request)) {
            impl->finished = true;
        }
        QuilService::GetInstance()->RetryRequest(request);
    }
}

std::size_t RequestPool::Size() {
    std::lock_guard<std::mutex> lock(poolMutex);
    return Pool().size();
}
