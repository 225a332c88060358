#pragma once

#include "host/terminal/Console.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>

namespace w64 {

// The progress of the work on some files, shown as a bar with speed and time left.
// Units:  work is counted in bytes of audio, or in any other unit that is the same for all files.
// Threads: any; each file has a Share of its own.
class Progress {
    using Clock = std::chrono::steady_clock;

public:
    // The name of `file` is shown before the bar when there is one file; for more, their count is.
    Progress(Console& console, const std::string& file, int files);
    Progress(const Progress&) = delete;  // its shares point to it
    Progress& operator=(const Progress&) = delete;
    ~Progress() { console_.ClearStatus(); }

    // One file's part. What is still undone when it ends is taken off the total.
    class Share {
    public:
        // `work` is a first estimate, corrected by Expect.
        Share(Progress& progress, int64_t work);
        Share(const Share&) = delete;  // counted once
        Share& operator=(const Share&) = delete;
        ~Share();

        void Expect(int64_t work);
        void Advance(int64_t work, double audioSeconds = 0);

        // "0:03:25.000, 812x realtime"
        std::string Outcome() const;

    private:
        Progress& progress_;
        const Clock::time_point start_ = Clock::now();
        int64_t work_;
        int64_t done_ = 0;
        double audioSeconds_ = 0;
    };

private:
    void DrawSometimes();
    std::string Line() const;

    Console& console_;
    const std::string name_;
    const int files_;
    const Clock::time_point start_ = Clock::now();
    std::atomic<int64_t> work_ = 0;
    std::atomic<int64_t> done_ = 0;
    std::atomic<int64_t> audioMicroseconds_ = 0;
    std::atomic<int> filesDone_ = 0;
    std::mutex drawing_;
    Clock::time_point drawn_ = start_;
};

}  // namespace w64
