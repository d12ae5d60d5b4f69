// Files worked on side by side and finished in their order: the order, the failures in their
// place, the memory bound, and stopping.
#include <Lumeno/Commands/InOrder.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using Lumeno::Commands::inOrder;
using Lumeno::Commands::Outcome;

TEST(InOrder, FilesFinishInTheirOrderWithTheirFailuresInPlace)
{
    for (const unsigned workers : {1u, 2u, 5u}) {
        std::vector<std::string> finished;
        std::atomic<int> running{0};
        std::atomic<int> mostRunning{0};
        inOrder<std::string>(
            40, workers,
            [&](std::size_t i) {
                const int now = ++running;
                for (int seen = mostRunning; now > seen && !mostRunning.compare_exchange_weak(seen, now);) {
                }
                // Later files are quicker, so that they are ready before earlier ones.
                std::this_thread::sleep_for(std::chrono::microseconds(50 * (40 - i)));
                --running;
                if (i % 7 == 3) {
                    throw std::runtime_error("bad " + std::to_string(i));
                }
                return std::to_string(i);
            },
            [&](std::size_t i, Outcome<std::string>&& outcome) {
                try {
                    finished.push_back(outcome.get());
                } catch (const std::runtime_error& e) {
                    finished.push_back(e.what());
                }
                EXPECT_EQ(finished.size(), i + 1);
            },
            [] { return false; });
        ASSERT_EQ(finished.size(), 40u) << workers << " workers";
        for (std::size_t i = 0; i < 40; ++i) {
            EXPECT_EQ(finished[i], i % 7 == 3 ? "bad " + std::to_string(i) : std::to_string(i));
        }
        EXPECT_LE(mostRunning.load(), static_cast<int>(workers));
        if (workers > 1) {
            EXPECT_GT(mostRunning.load(), 1) << "the files were not worked on side by side";
        }
    }
}

TEST(InOrder, OneSlowFileHoldsBackOnlyAFewPreparedOnes)
{
    // The first file is slow: the others may be prepared meanwhile, but not all 100 of them.
    std::atomic<std::size_t> started{0};
    std::size_t startedWhenFirstFinished = 0;
    inOrder<int>(
        100, 2,
        [&](std::size_t i) {
            ++started;
            if (i == 0) {
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
            }
            return static_cast<int>(i);
        },
        [&](std::size_t i, Outcome<int>&&) {
            if (i == 0) {
                startedWhenFirstFinished = started;
            }
        },
        [] { return false; });
    EXPECT_LE(startedWhenFirstFinished, 8u + 1u);
    EXPECT_EQ(started.load(), 100u);
}

TEST(InOrder, AStopFinishesWhatWasBegunAndBeginsNothingMore)
{
    std::atomic<std::size_t> started{0};
    std::vector<std::size_t> finished;
    bool stop = false;
    inOrder<std::size_t>(
        1000, 2,
        [&](std::size_t i) {
            ++started;
            std::this_thread::sleep_for(std::chrono::microseconds(200));
            return i;
        },
        [&](std::size_t i, Outcome<std::size_t>&& outcome) {
            EXPECT_EQ(outcome.get(), i);
            finished.push_back(i);
            stop = i == 10; // as a Cancel pressed while the eleventh file is finished
        },
        [&] { return stop; });
    ASSERT_GE(finished.size(), 11u);
    for (std::size_t i = 0; i < finished.size(); ++i) {
        EXPECT_EQ(finished[i], i);
    }
    // Whatever had begun was finished; far from everything had begun.
    EXPECT_EQ(finished.size(), started.load());
    EXPECT_LT(started.load(), 30u);
}
