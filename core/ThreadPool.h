// ThreadPool.h - a fixed number of workers behind one first-in, first-out queue.
// Any thread may enqueue, a task included. The queue has no bound and no task is ever cancelled.
#ifndef LUMETRA_CORE_THREADPOOL_H
#define LUMETRA_CORE_THREADPOOL_H

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <queue>
#include <stdexcept>
#include <thread>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace lumetra {

/// Workers for a machine with so many processors: one is left to the host, but two always work. 0 (unknown)
/// wraps to 2^32 - 1 and is used unchanged.
inline std::uint32_t workerCount(std::uint32_t processors) {
    const std::uint32_t others = processors - 1;
    return others > 2 ? others : 2;
}

}  // namespace lumetra

class ThreadPool {
public:
    /// Starts the workers; 0 is allowed and runs nothing.
    /// @throws std::system_error if the first worker cannot be started; a later one that cannot ends the
    ///         process, since the workers before it are already waiting
    explicit ThreadPool(std::size_t threads);

    /// Calls finish().
    ~ThreadPool() { finish(); }

    /// Runs every task still queued, then ends the workers in the order of their start.
    void finish();

    ThreadPool(const ThreadPool&) = delete;
    ThreadPool& operator=(const ThreadPool&) = delete;

    /// Queues a call; callable and arguments are copied and released once the call has returned.
    /// @return the call's result or exception; destroying it never waits
    /// @throws std::runtime_error "enqueue on stopped ThreadPool" once finish() has begun
    template <class Callable, class... Args>
    auto enqueue(Callable&& callable, Args&&... args) {
        using Result = std::invoke_result_t<std::decay_t<Callable>&, std::decay_t<Args>&...>;
        const auto task = std::make_shared<std::packaged_task<Result()>>(
            [callable = std::decay_t<Callable>(std::forward<Callable>(callable)),
             arguments = std::tuple<std::decay_t<Args>...>(std::forward<Args>(args)...)]() mutable -> Result {
                return std::apply(callable, arguments);
            });
        auto result = task->get_future();
        push([task] { (*task)(); });
        return result;
    }

    /// Whether the calling thread is a worker, of any pool.
    static bool isWorker();

private:
    void push(std::function<void()> task);
    void runWorker();

    std::vector<std::thread> workers;
    std::queue<std::function<void()>> tasks;  // guarded by queue_mutex
    std::mutex queue_mutex;                   // never held while a task runs
    std::condition_variable condition;        // a task came, or the pool stops
    bool stop = false;                        // guarded by queue_mutex
};

#endif
