#include "host/terminal/ForEachFile.h"

#include "host/terminal/Failure.h"
#include "host/terminal/Interrupt.h"

#include <algorithm>
#include <atomic>
#include <system_error>
#include <thread>
#include <vector>

namespace w64 {

bool ForEachFile(std::span<const std::string> files, unsigned jobs, Console& console,
                 const std::function<void(size_t)>& work) {
    std::atomic<size_t> next = 0;
    std::atomic<bool> allDone = true;
    const auto workThrough = [&] {
        for (size_t i = next++; i < files.size(); i = next++) {
            try {
                Interrupt::Check();
                work(i);
            } catch (const Interrupt&) {
                allDone = false;
                return;
            } catch (const std::exception& failure) {
                console.Error(files[i], ReasonOf(failure));
                allDone = false;
            }
        }
    };
    {
        const size_t threads = std::min<size_t>(std::max(jobs, 1u), files.size());
        std::vector<std::jthread> others;
        try {
            for (size_t i = 1; i < threads; ++i) others.emplace_back(workThrough);
        } catch (const std::system_error&) {  // fewer threads do the work as well
        }
        workThrough();
    }
    return allDone;
}

}  // namespace w64
