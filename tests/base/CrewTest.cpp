#include "base/threads/Crew.h"

#include <gtest/gtest.h>
#include <stdexcept>
#include <vector>

namespace w64 {

TEST(Crew, DoesEachJobAndPassesOnWhatItThrows) {
    constexpr size_t kJobs = 4;
    constexpr size_t kBad = 2;
    for (const size_t threads : {size_t{1}, size_t{3}}) {
        std::vector<int> done(kJobs);
        Crew crew(threads, kJobs, [&](size_t thread, size_t job) {
            EXPECT_LT(thread, threads);
            if (++done[job] == 1 && job == kBad) throw std::runtime_error("bad");
        });
        for (size_t job = 0; job < kJobs; ++job) crew.Start(job);
        for (size_t job = 0; job < kJobs; ++job) {
            if (job == kBad) {
                EXPECT_THROW(crew.Finish(job), std::runtime_error);
            } else {
                crew.Finish(job);
            }
        }
        crew.Finish(kBad);  // thrown once
        crew.Start(kBad);
        crew.Finish(kBad);
        EXPECT_EQ(done, (std::vector{1, 1, 2, 1})) << threads;
    }
}

}  // namespace w64
