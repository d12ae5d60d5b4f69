// Work on many files at once, its results taken in the files' order: the slow part of each file
// (reading, decoding, scaling) runs on a few worker threads side by side, and what must stay in
// order (printing, renaming with a running counter, one store transaction after another) runs on
// the calling thread, file after file, as soon as each file and all before it are ready.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace Lumeno::Commands {

// The number of workers: `requested` when it is set (above 0), else one per core.
inline unsigned workerCount(unsigned requested = 0)
{
    if (requested > 0) {
        return requested;
    }
    const unsigned cores = std::thread::hardware_concurrency();
    return cores > 0 ? cores : 1;
}

// What preparing one file gave: its value, or the exception it ended in.
template <class Prepared> struct Outcome {
    std::optional<Prepared> value;
    std::exception_ptr error;

    // The value, or the exception rethrown.
    Prepared& get()
    {
        if (error) {
            std::rethrow_exception(error);
        }
        return *value;
    }
};

// Calls prepare(i) for each i below `count` on `workers` threads, the calling thread one of them,
// and finish(i, Outcome&&) on the calling thread for each i in order: the calling thread
// finishes each file as soon as it and all before it are prepared, and prepares files itself
// while it waits. stop() is asked between files (and while the calling thread waits, a few times
// a second): once it answers true no file is started any more, and the files already started
// are still finished, in order. At most a few files per worker wait prepared for their turn, so
// that one slow file does not let the others pile up in memory.
template <class Prepared, class Prepare, class Finish, class Stop>
void inOrder(std::size_t count, unsigned workers, Prepare prepare, Finish finish, Stop stop)
{
    auto attempt = [&prepare](std::size_t i) {
        Outcome<Prepared> outcome;
        try {
            outcome.value.emplace(prepare(i));
        } catch (...) {
            outcome.error = std::current_exception();
        }
        return outcome;
    };
    if (workers <= 1 || count <= 1) {
        for (std::size_t i = 0; i < count && !stop(); ++i) {
            finish(i, attempt(i));
        }
        return;
    }

    const std::size_t window = std::size_t{4} * workers;
    std::mutex lock;
    std::condition_variable ready; // a file was prepared
    std::condition_variable room;  // a file was finished, or the work stops
    std::vector<std::optional<Outcome<Prepared>>> done(std::min(count, window));
    std::size_t next = 0;     // the next file to start
    std::size_t finished = 0; // files finished so far
    bool stopping = false;
    // Who waits, so that a file costs no wake-up call when no one does (they are system calls).
    bool finisherWaits = false;
    unsigned workersWaiting = 0;
    // Under the lock: whether another file may be started now.
    auto mayStart = [&] { return !stopping && next < count && next < finished + window; };
    auto prepareNext = [&](std::unique_lock<std::mutex>& hold) {
        const std::size_t i = next++;
        hold.unlock();
        Outcome<Prepared> outcome = attempt(i);
        hold.lock();
        done[i % done.size()] = std::move(outcome);
        if (finisherWaits) {
            ready.notify_one();
        }
    };

    auto work = [&] {
        std::unique_lock<std::mutex> hold(lock);
        for (;;) {
            ++workersWaiting;
            room.wait(hold, [&] { return stopping || next >= count || mayStart(); });
            --workersWaiting;
            if (!mayStart()) {
                return;
            }
            prepareNext(hold);
        }
    };
    std::vector<std::thread> threads;
    threads.reserve(workers - 1);
    for (unsigned w = 1; w < workers; ++w) {
        threads.emplace_back(work);
    }
    auto halt = [&] {
        {
            const std::lock_guard<std::mutex> hold(lock);
            stopping = true;
        }
        room.notify_all();
    };
    try {
        for (std::size_t i = 0; i < count; ++i) {
            std::optional<Outcome<Prepared>> outcome;
            {
                std::unique_lock<std::mutex> hold(lock);
                for (;;) {
                    auto& slot = done[i % done.size()];
                    if (slot) {
                        outcome = std::move(slot);
                        slot.reset();
                        break;
                    }
                    if (stopping && i >= next) {
                        break; // never started
                    }
                    if (mayStart()) {
                        prepareNext(hold); // rather than wait idle
                        continue;
                    }
                    finisherWaits = true;
                    ready.wait_for(hold, std::chrono::milliseconds(200));
                    finisherWaits = false;
                    if (!stopping) {
                        hold.unlock();
                        const bool stopNow = stop();
                        hold.lock();
                        if (stopNow) {
                            stopping = true;
                            room.notify_all();
                        }
                    }
                }
            }
            if (!outcome) {
                break;
            }
            finish(i, std::move(*outcome));
            bool wake = false;
            {
                const std::lock_guard<std::mutex> hold(lock);
                ++finished;
                wake = workersWaiting > 0;
            }
            if (wake) {
                room.notify_one(); // one more file may start
            }
            if (!stopping && stop()) {
                halt();
            }
        }
    } catch (...) {
        halt();
        for (std::thread& t : threads) {
            t.join();
        }
        throw;
    }
    halt();
    for (std::thread& t : threads) {
        t.join();
    }
}

} // namespace Lumeno::Commands
