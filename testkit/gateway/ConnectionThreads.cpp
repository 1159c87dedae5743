#include "ConnectionThreads.h"

#include <system_error>

namespace quil {

ConnectionThreads::~ConnectionThreads() { shutdown(); }

void ConnectionThreads::JoinFinished() {
    for (auto it = workers_.begin(); it != workers_.end();) {
        if (it->done->load()) {
            it->thread.join();
            it = workers_.erase(it);
        } else {
            ++it;
        }
    }
}

void ConnectionThreads::enqueue(std::function<void()> task) {
    std::lock_guard<std::mutex> lock(mutex_);
    JoinFinished();
    auto done = std::make_shared<std::atomic<bool>>(false);
    try {
        std::thread thread([task, done] {
            task();
            done->store(true);
        });
        workers_.push_back(Worker{std::move(thread), done});
    } catch (const std::system_error&) {
        // No thread to be had: serve the connection here rather than leak its socket.
        task();
    }
}

void ConnectionThreads::shutdown() {
    std::list<Worker> workers;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        workers.swap(workers_);
    }
    for (Worker& worker : workers) {
        worker.thread.join();
    }
}

}  // namespace quil
