// The task queue the emulator's HTTP server runs connections on: one thread per accepted
// connection, so any number of kept-alive clients are served at once and a slow answer delays
// only its own connection. Finished threads are joined as new ones start; shutdown joins all.
// Called by the server's listening thread.
#pragma once

#include <httplib.h>

#include <atomic>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

namespace quil {

class ConnectionThreads : public httplib::TaskQueue {
public:
    ~ConnectionThreads() override;

    void enqueue(std::function<void()> task) override;
    // Joins every thread; the tasks must end by themselves (the server shuts their sockets).
    void shutdown() override;

private:
    struct Worker {
        std::thread thread;
        std::shared_ptr<std::atomic<bool>> done;
    };

    void JoinFinished();

    // Guards workers_.
    std::mutex mutex_;
    std::list<Worker> workers_;
};

}  // namespace quil
