// One queued unit of work of a ThreadPool: a callable and the name by which it can be
// cancelled while it is still queued. Names need not be unique. Owned by the pool's queue.
#pragma once

#include <functional>
#include <string>

struct ThreadPoolTask {
    std::function<void()> function;
    std::string name;
};
