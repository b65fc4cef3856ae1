#include "paintbands.h"

#include "vectorstate.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace mpxpaint {

namespace {

// A job shared by the caller and the helper: bands are handed out by one counter.
struct Job
{
    BandFn fn = nullptr;
    void* context = nullptr;
    unsigned int rows = 0;
    unsigned int bandRows = 1;
    std::atomic<unsigned int> nextRow {0};

    void work()
    {
        for (;;) {
            const unsigned int first = nextRow.fetch_add(bandRows, std::memory_order_relaxed);
            if (first >= rows)
                return;
            fn(context, first, std::min(rows, first + bandRows));
        }
    }
};

class Helper
{
public:
    Helper() : thread([this] { loop(); }) { }

    ~Helper()
    {
        {
            std::lock_guard<std::mutex> lock(mutex);
            quit = true;
        }
        wake.notify_one();
        thread.join();
    }

    Helper(const Helper&) = delete;
    Helper& operator=(const Helper&) = delete;

    // False when another caller's job is running.
    bool run(Job& job)
    {
        std::unique_lock<std::mutex> callerLock(callerMutex, std::try_to_lock);
        if (!callerLock.owns_lock())
            return false;
        {
            std::lock_guard<std::mutex> lock(mutex);
            open = &job;
        }
        wake.notify_one();
        cleanVectorState();
        job.work();
        std::unique_lock<std::mutex> lock(mutex);
        // A helper that has not taken the job yet must not find it any more.
        open = nullptr;
        done.wait(lock, [this] { return !helperWorking; });
        return true;
    }

private:
    void loop()
    {
        std::unique_lock<std::mutex> lock(mutex);
        for (;;) {
            wake.wait(lock, [this] { return quit || open; });
            if (quit)
                return;
            Job* job = open;
            open = nullptr;
            helperWorking = true;
            lock.unlock();
            cleanVectorState();
            job->work();
            lock.lock();
            helperWorking = false;
            done.notify_one();
        }
    }

    std::mutex callerMutex; // one job at a time
    std::mutex mutex;       // guards open, helperWorking and quit
    std::condition_variable wake;
    std::condition_variable done;
    Job* open = nullptr;
    bool helperWorking = false;
    bool quit = false;
    std::thread thread;
};

Helper& helper()
{
    static Helper instance;
    return instance;
}

} // namespace

void runBands(unsigned int rows, unsigned int bandRows, BandFn fn, void* context)
{
    Job job;
    job.fn = fn;
    job.context = context;
    job.rows = rows;
    job.bandRows = std::max(bandRows, 1u);
    if (rows > job.bandRows && helper().run(job))
        return;
    cleanVectorState();
    job.work();
}

} // namespace mpxpaint
