#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace w64 {

// Threads that do numbered jobs in the order in which they are started. Thread 0 is the owner's: it does jobs while it
// waits for one.
class Crew {
public:
    using Work = std::function<void(size_t thread, size_t job)>;

    // There are fewer threads where the system has no more.
    Crew(size_t threads, size_t jobs, Work work);
    Crew(const Crew&) = delete;
    Crew& operator=(const Crew&) = delete;
    ~Crew();  // waits for jobs that are under way only

    void Start(size_t job);
    void Finish(size_t job);  // throws what the job threw

private:
    using Lock = std::unique_lock<std::mutex>;

    void Run(size_t thread);
    void RunNext(size_t thread, Lock& lock);

    Work work_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<size_t> waiting_;
    std::vector<bool> isDone_;
    std::vector<std::exception_ptr> failures_;  // of jobs
    bool ends_ = false;
    std::vector<std::thread> threads_;
};

}  // namespace w64
