#include "base/threads/Crew.h"

#include <exception>
#include <utility>

namespace w64 {

Crew::Crew(size_t threads, size_t jobs, Work work)
    : work_(std::move(work)), isDone_(jobs, true), failures_(jobs) {
    threads_.reserve(threads);
    try {
        for (size_t thread = 1; thread < threads; ++thread) threads_.emplace_back(&Crew::Run, this, thread);
    } catch (const std::exception&) {  // the owner does without; those that are there must be joined
    }
}

Crew::~Crew() {
    {
        const Lock lock(mutex_);
        ends_ = true;
    }
    changed_.notify_all();
    for (std::thread& thread : threads_) thread.join();
}

void Crew::Start(size_t job) {
    {
        const Lock lock(mutex_);
        isDone_[job] = false;
        waiting_.push_back(job);
    }
    changed_.notify_all();
}

void Crew::Finish(size_t job) {
    Lock lock(mutex_);
    while (!isDone_[job]) {
        if (waiting_.empty()) {
            changed_.wait(lock);
        } else {
            RunNext(0, lock);
        }
    }
    if (failures_[job]) std::rethrow_exception(std::exchange(failures_[job], nullptr));
}

void Crew::Run(size_t thread) {
    Lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return ends_ || !waiting_.empty(); });
        if (ends_) return;
        RunNext(thread, lock);
    }
}

void Crew::RunNext(size_t thread, Lock& lock) {
    const size_t job = waiting_.front();
    waiting_.pop_front();
    lock.unlock();
    std::exception_ptr failure;
    try {
        work_(thread, job);
    } catch (...) {
        failure = std::current_exception();
    }
    lock.lock();
    failures_[job] = std::move(failure);
    isDone_[job] = true;
    changed_.notify_all();
}

}  // namespace w64
