// ThreadPool.cpp - the workers' loop and the pool's beginning and end.
#include "core/ThreadPool.h"

namespace {

thread_local bool isPoolWorker = false;

}  // namespace

ThreadPool::ThreadPool(std::size_t threads) {
    try {
        for (std::size_t i = 0; i < threads; ++i) workers.emplace_back([this] { runWorker(); });
    } catch (...) {
        // Ends the process if a worker runs. In the usual order of destruction the condition variable would
        // go first, and its destructor would wait for those workers for ever.
        workers.clear();
        throw;
    }
}

void ThreadPool::finish() {
    {
        const std::lock_guard lock(queue_mutex);
        stop = true;
    }
    condition.notify_all();
    for (auto& worker : workers) worker.join();
    workers.clear();
}

void ThreadPool::push(std::function<void()> task) {
    {
        const std::lock_guard lock(queue_mutex);
        if (stop) throw std::runtime_error("enqueue on stopped ThreadPool");
        tasks.push(std::move(task));
    }
    condition.notify_one();
}

bool ThreadPool::isWorker() {
    return isPoolWorker;
}

void ThreadPool::runWorker() {
    isPoolWorker = true;
    for (;;) {
        std::function<void()> task;
        {
            std::unique_lock lock(queue_mutex);
            condition.wait(lock, [this] { return stop || !tasks.empty(); });
            if (tasks.empty()) return;
            task = std::move(tasks.front());
            tasks.pop();
        }
        task();
    }
}
