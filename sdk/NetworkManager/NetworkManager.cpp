#include "NetworkManager.h"

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "Platform.h"
#include "QuilLogger.h"
#include "ThreadPool.h"

namespace {

// Guards the construction of the singleton and serialises the cancel operations. Lock order:
// this mutex, then the pool's mutex, then the pool's semaphore mutex.
std::mutex g_singletonMutex;
// Read without the mutex on the fast path, hence atomic.
std::atomic<NetworkManager*> g_instance{nullptr};

// The managers DestroyInstance retired. Never freed, and reachable from here, so that a pointer
// a caller kept (the service keeps one for the life of the process) never dangles. Guarded by
// g_singletonMutex.
std::vector<NetworkManager*>* g_retired = new std::vector<NetworkManager*>();

using ClientSlot = std::shared_ptr<std::atomic<IHttpClient*>>;

// A send time: the difference of two millisecond readings as a signed 32-bit count, in seconds.
double ElapsedSeconds(int64_t startMs, int64_t endMs) {
    return static_cast<int32_t>(endMs - startMs) / 1000.0;
}

// Runs one asynchronous send on a pool worker. It touches only the shared client slot and the
// request, never the manager, which may be gone by now.
void ExecuteHttpRequest(const ClientSlot& clientSlot, HttpRequest* request) {
    IHttpClient* client = clientSlot->load(std::memory_order_acquire);
    if (client != nullptr) {
        const int64_t start = quil::platform::MonotonicMilliseconds();
        HttpResponse* response = client->SendHttpRequest(request);
        const int64_t end = quil::platform::MonotonicMilliseconds();
        QUIL_LOG(QUIL_LOG_INFO, "NetworkManager async send httpRequest: %s use: (%.2f)s",
                 request->url.c_str(), ElapsedSeconds(start, end));
        if (response != nullptr) {
            // A client that forgot to attach the request would leave the completion unreachable;
            // attach the one it was given.
            if (response->request == nullptr) response->request = request;
            HttpRequest* answered = response->request;
            // Without a callback the response goes to nobody, as it always has.
            if (answered->callback != nullptr) {
                answered->callback(response, answered->callbackContext);
            }
            return;
        }
    }
    // No client, or no answer: an empty response (status 0) completes the request.
    HttpRequestCallback callback = request->callback;
    void* context = request->callbackContext;
    if (callback == nullptr) return;  // nobody to hand the empty response to
    HttpResponse* empty = new HttpResponse();
    empty->request = request;
    callback(empty, context);
}

}  // namespace

NetworkManager::NetworkManager()
    : threadPool_(new ThreadPool(5, 5)),
      httpClient_(std::make_shared<std::atomic<IHttpClient*>>(nullptr)) {}

NetworkManager::~NetworkManager() {
    // From here on the pool frees itself; running sends finish on their own. A retired
    // manager has stopped its pool already.
    if (threadPool_ != nullptr) threadPool_->Stop();
    threadPool_ = nullptr;
    NetworkManager* self = this;
    g_instance.compare_exchange_strong(self, nullptr);
}

NetworkManager* NetworkManager::GetInstance() {
    NetworkManager* instance = g_instance.load(std::memory_order_acquire);
    if (instance == nullptr) {
        std::lock_guard<std::mutex> lock(g_singletonMutex);
        instance = g_instance.load(std::memory_order_relaxed);
        if (instance == nullptr) {
            instance = new NetworkManager();
            g_instance.store(instance, std::memory_order_release);
        }
    }
    return instance;
}

void NetworkManager::DestroyInstance() {
    std::lock_guard<std::mutex> lock(g_singletonMutex);
    NetworkManager* instance = g_instance.load(std::memory_order_acquire);
    if (instance == nullptr) return;
    // Deleting it would leave every holder of the pointer with a dangling one; it is retired.
    instance->retired_.store(true, std::memory_order_release);
    g_retired->push_back(instance);
    g_instance.store(nullptr, std::memory_order_release);
    // From here on the pool frees itself; running sends finish on their own.
    instance->threadPool_->Stop();
    instance->threadPool_ = nullptr;
}

NetworkManager* NetworkManager::Successor() {
    if (!retired_.load(std::memory_order_acquire)) return nullptr;
    return GetInstance();
}

void NetworkManager::RegisterHttpClient(IHttpClient* client) {
    if (NetworkManager* current = Successor()) return current->RegisterHttpClient(client);
    if (client != nullptr) httpClient_->store(client, std::memory_order_release);
}

HttpResponse* NetworkManager::SendSyncHttpRequest(HttpRequest* request) {
    if (NetworkManager* current = Successor()) return current->SendSyncHttpRequest(request);
    IHttpClient* client = httpClient_->load(std::memory_order_acquire);
    if (request == nullptr || client == nullptr) return nullptr;
    const int64_t start = quil::platform::MonotonicMilliseconds();
    HttpResponse* response = client->SendHttpRequest(request);
    const int64_t end = quil::platform::MonotonicMilliseconds();
    QUIL_LOG(QUIL_LOG_INFO, "NetworkManager sync send httpRequest: %s use: (%.2f)s",
             request->url.c_str(), ElapsedSeconds(start, end));
    return response;
}

int NetworkManager::SendAsyncHttpRequest(HttpRequest* request) {
    if (NetworkManager* current = Successor()) return current->SendAsyncHttpRequest(request);
    if (request == nullptr) return -6;
    ClientSlot clientSlot = httpClient_;
    // The task name is the key up to its first zero byte.
    threadPool_->AddTask([clientSlot, request] { ExecuteHttpRequest(clientSlot, request); },
                         std::string(request->cancelKey.c_str()));
    return 0;
}

void NetworkManager::CancelHttpRequest(HttpRequest* request) {
    if (NetworkManager* current = Successor()) return current->CancelHttpRequest(request);
    if (request == nullptr) return;
    std::lock_guard<std::mutex> lock(g_singletonMutex);
    threadPool_->CancelTask(std::string(request->cancelKey.c_str()));
}

void NetworkManager::CancelHttpRequest(const char* cancelKey) {
    if (NetworkManager* current = Successor()) return current->CancelHttpRequest(cancelKey);
    if (cancelKey == nullptr) return;
    std::lock_guard<std::mutex> lock(g_singletonMutex);
    threadPool_->CancelTask(std::string(cancelKey));
}

void NetworkManager::CancelAllHttpRequest() {
    if (NetworkManager* current = Successor()) return current->CancelAllHttpRequest();
    std::lock_guard<std::mutex> lock(g_singletonMutex);
    threadPool_->ClearTasks();
}

void NetworkManager::CancelAllRequest() { CancelAllHttpRequest(); }

void NetworkManager::SetHttpTimeout(int /*timeout*/) {}

void NetworkManager::SetHttpMaxConcurrentCount(int count) {
    if (NetworkManager* current = Successor()) return current->SetHttpMaxConcurrentCount(count);
    httpMaxConcurrentCount_.store(count);
}

void NetworkManager::SetDownloadMaxConcurrentCount(int count) {
    if (NetworkManager* current = Successor()) return current->SetDownloadMaxConcurrentCount(count);
    downloadMaxConcurrentCount_.store(count);
}
