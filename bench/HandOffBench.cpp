// The signing hand-off on its own: a caller gives a trivial task to one worker thread and waits
// for its answer, the shape of every signature. Three ways, so that the cost of the way the
// library does it can be read against the plain and the lean ways:
//   BM_HandOff_Library  ThreadPool::AddTask plus a WaitSlot, as the signing bridge does it
//   BM_HandOff_Plain    a queue of std::function under a mutex and a condition variable, the
//                       answer through a second mutex and condition variable
//   BM_HandOff_Lean     the task on the caller's stack, one mutex for the queue and the answer,
//                       a wake-up only for a side that sleeps
// Wall-clock per round trip (the caller's CPU alone would hide the worker's). Pinned to one CPU,
// each round trip is two context switches; unpinned, two cross-CPU wake-ups.
#include <benchmark/benchmark.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "ThreadPool.h"
#include "WaitSlot.h"

namespace {

void BM_HandOff_Library(benchmark::State& state) {
    // Never stopped: the worker outlives the benchmark, as the signing pool does the process.
    static ThreadPool* const pool = new ThreadPool(1, 1);
    const std::string key = "handoff";
    for (auto _ : state) {
        WaitSlot* slot = WaitSlotRegistry::AcquireWaitSlot(key);
        pool->AddTask([key] { WaitSlotRegistry::PostWaitSlot(key, "{}"); }, "sign");
        WaitSlotRegistry::WaitOnSlotFor(slot, std::chrono::milliseconds(10000));
        benchmark::DoNotOptimize(WaitSlotRegistry::ReadWaitSlot(slot));
        WaitSlotRegistry::ReleaseWaitSlot(key);
    }
}
BENCHMARK(BM_HandOff_Library)->UseRealTime();

// A plain worker: a queue of std::function, one mutex and condition variable for it.
class PlainWorker {
public:
    PlainWorker() {
        std::thread([this] { Loop(); }).detach();
    }
    void Add(std::function<void()> task) {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            tasks_.push_back(std::move(task));
        }
        ready_.notify_one();
    }

private:
    void Loop() {
        for (;;) {
            std::function<void()> task;
            {
                std::unique_lock<std::mutex> lock(mutex_);
                ready_.wait(lock, [this] { return !tasks_.empty(); });
                task = std::move(tasks_.front());
                tasks_.pop_front();
            }
            task();
        }
    }
    std::mutex mutex_;
    std::condition_variable ready_;
    std::deque<std::function<void()>> tasks_;
};

struct PlainAnswer {
    std::mutex mutex;
    std::condition_variable done;
    std::string text;
    bool posted = false;
};

void BM_HandOff_Plain(benchmark::State& state) {
    static PlainWorker* const worker = new PlainWorker();
    for (auto _ : state) {
        PlainAnswer answer;
        worker->Add([&answer] {
            std::lock_guard<std::mutex> lock(answer.mutex);
            answer.text = "{}";
            answer.posted = true;
            answer.done.notify_one();
        });
        std::unique_lock<std::mutex> lock(answer.mutex);
        answer.done.wait(lock, [&answer] { return answer.posted; });
        benchmark::DoNotOptimize(answer.text);
    }
}
BENCHMARK(BM_HandOff_Plain)->UseRealTime();

// The lean way: a task lives on its caller's stack and is linked into the queue, so nothing is
// allocated per task; one mutex covers the queue and every answer; each side notifies only when
// the other is known to sleep.
struct LeanTask {
    void (*run)(LeanTask*) = nullptr;
    LeanTask* next = nullptr;
    std::string text;
    bool done = false;
    bool callerSleeps = false;
    std::condition_variable wake;
};

class LeanWorker {
public:
    LeanWorker() {
        std::thread([this] { Loop(); }).detach();
    }
    void RunAndWait(LeanTask* task) {
        std::unique_lock<std::mutex> lock(mutex_);
        if (tail_ == nullptr) {
            head_ = task;
        } else {
            tail_->next = task;
        }
        tail_ = task;
        if (workerSleeps_) workerWake_.notify_one();
        while (!task->done) {
            task->callerSleeps = true;
            task->wake.wait(lock);
            task->callerSleeps = false;
        }
    }

private:
    void Loop() {
        std::unique_lock<std::mutex> lock(mutex_);
        for (;;) {
            while (head_ == nullptr) {
                workerSleeps_ = true;
                workerWake_.wait(lock);
                workerSleeps_ = false;
            }
            LeanTask* task = head_;
            head_ = task->next;
            if (head_ == nullptr) tail_ = nullptr;
            lock.unlock();
            task->run(task);
            lock.lock();
            task->done = true;
            if (task->callerSleeps) task->wake.notify_one();
        }
    }
    std::mutex mutex_;
    std::condition_variable workerWake_;
    bool workerSleeps_ = false;
    LeanTask* head_ = nullptr;
    LeanTask* tail_ = nullptr;
};

void BM_HandOff_Lean(benchmark::State& state) {
    static LeanWorker* const worker = new LeanWorker();
    for (auto _ : state) {
        LeanTask task;
        task.run = [](LeanTask* self) { self->text = "{}"; };
        worker->RunAndWait(&task);
        benchmark::DoNotOptimize(task.text);
    }
}
BENCHMARK(BM_HandOff_Lean)->UseRealTime();

}  // namespace
