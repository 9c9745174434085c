#include "kestrel/foundation/HelperThreads.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <latch>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

namespace kestrel {
namespace {

TEST(HelperThreads, DoEachPartOnceAndEachRowOnce) {
    for (const int threads : {0, 1, 2, 5}) {
        const HelperThreads help(threads);
        EXPECT_EQ(HelperThreads::Count(), std::max(threads, 1));
        for (const int count : {0, 1, 2, 3, 100}) {
            std::vector<std::atomic<int>> done(static_cast<std::size_t>(count));
            EXPECT_TRUE(HelperThreads::Share(count, [&](int i) { return ++done[static_cast<std::size_t>(i)] > 0; }));
            for (const auto& times : done) EXPECT_EQ(times, 1);
        }
        for (const int rows : {-1, 0, 1, 31, 32, 1000}) {
            std::vector<std::atomic<int>> done(static_cast<std::size_t>(std::max(rows, 0)));
            EXPECT_TRUE(ShareRows(7, 7 + rows, [&](std::int64_t from, std::int64_t to) {
                for (; from < to; ++from) ++done[static_cast<std::size_t>(from - 7)];
                return true;
            }));
            for (const auto& times : done) EXPECT_EQ(times, 1);
        }
    }
}

TEST(HelperThreads, WorkAtTheSameTimeAndOnlyWhereTheyWereAskedFor) {
    std::mutex guard;
    std::condition_variable met;
    int there = 0;
    const auto meet = [&](int) {  // both threads have to be at a part before either goes on
        std::unique_lock lock(guard);
        ++there;
        met.notify_all();
        met.wait(lock, [&] { return there >= 2; });
        return HelperThreads::Count() == 1;  // a part works alone
    };
    {
        const HelperThreads help(2);
        EXPECT_TRUE(HelperThreads::Share(2, meet));
        {
            const HelperThreads none(1);
            EXPECT_EQ(HelperThreads::Count(), 1);
        }
        EXPECT_EQ(HelperThreads::Count(), 2);
        std::thread([] { EXPECT_EQ(HelperThreads::Count(), 1); }).join();
    }
    EXPECT_EQ(HelperThreads::Count(), 1);
    const auto own = std::this_thread::get_id();
    EXPECT_TRUE(HelperThreads::Share(50, [&](int) { return std::this_thread::get_id() == own; }));
}

TEST(HelperThreads, AFailureEndsTheWorkAndComesThrough) {
    for (const int threads : {1, 3}) {
        const HelperThreads help(threads);
        std::atomic<int> begun = 0;
        std::latch all(threads);
        EXPECT_FALSE(HelperThreads::Share(1000, [&](int) {
            ++begun;
            all.arrive_and_wait();  // every thread is at its first part, which fails
            return false;
        }));
        EXPECT_EQ(begun, threads);
        EXPECT_THROW(HelperThreads::Share(10,
                                          [](int i) {
                                              if (i == 7) throw std::bad_alloc();
                                              return true;
                                          }),
                     std::bad_alloc);
        EXPECT_TRUE(HelperThreads::Share(10, [](int) { return true; }));  // the next work is not touched by it
    }
}

}  // namespace
}  // namespace kestrel
