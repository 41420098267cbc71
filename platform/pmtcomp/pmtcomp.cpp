#include "platform/pmtcomp/pmtcomp.h"

#include <sched.h>

#include <algorithm>
#include <charconv>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <thread>
#include <vector>

#include "platform/elog/elog.h"

namespace {

// The group's lock in the shape that C++ locks and condition variables take.
class GroupMutex {
  public:
    explicit GroupMutex(Pmtcomp& group) : mutex_(&group.mutex) {}
    void lock() { pthread_mutex_lock(mutex_); }
    void unlock() { pthread_mutex_unlock(mutex_); }

  private:
    pthread_mutex_t* mutex_;
};
using GroupLock = std::unique_lock<GroupMutex>;

struct Worker {
    int32_t offset = 0;
    int32_t count = 0;
    void* user_data = nullptr;
    std::thread thread;
};

}  // namespace

struct PmtcompPool {
    pmtcomp_callback callback = nullptr;
    std::vector<Worker> workers;
    std::condition_variable_any start;
    std::condition_variable_any finish;
    long run = 0;        // number of the run under way; a worker starts when it changes
    size_t busy = 0;     // workers still at it
    long succeeded = 0;  // workers of this run whose callback returned 0
};

namespace {

bool run_piece(const PmtcompPool& pool, const Worker& worker) {
    try {
        return pool.callback(worker.offset, worker.count, worker.user_data) == 0;
    } catch (const std::exception& error) {
        elog_complain(0, "pmtcomp: a worker failed: %s.\n", error.what());
    } catch (...) {
        elog_complain(0, "pmtcomp: a worker failed.\n");
    }
    return false;
}

void work(Pmtcomp& group, const Worker& worker) {
    PmtcompPool& pool = *group.pool;
    GroupMutex mutex(group);
    GroupLock lock(mutex);
    for (long done = 0;;) {
        pool.start.wait(lock, [&] { return group.quit != 0 || pool.run != done; });
        if (group.quit != 0) return;
        done = pool.run;
        lock.unlock();
        const bool succeeded = run_piece(pool, worker);
        lock.lock();
        if (succeeded) ++pool.succeeded;
        if (--pool.busy == 0) pool.finish.notify_all();
    }
}

void cut_range(std::vector<Worker>& workers, int32_t nnodes) {
    const auto n = static_cast<int32_t>(workers.size());
    int32_t offset = 0;
    for (int32_t i = 0; i < n; ++i) {
        const int32_t count = nnodes / n + (i < nnodes % n ? 1 : 0);
        workers[static_cast<size_t>(i)].offset = offset;
        workers[static_cast<size_t>(i)].count = count;
        offset += count;
    }
}

void stop_workers(Pmtcomp& group) {
    {
        GroupMutex mutex(group);
        const GroupLock lock(mutex);
        group.quit = 1;
    }
    group.pool->start.notify_all();
    for (Worker& worker : group.pool->workers) {
        if (worker.thread.joinable()) worker.thread.join();
    }
}

void list_and_start(Pmtcomp& group) {
    for (Worker& worker : group.pool->workers) {
        if (settbl(group.threads, -1, &worker) < 0) throw std::bad_alloc();
        worker.thread = std::thread([&group, &worker] { work(group, worker); });
    }
}

}  // namespace

extern "C" int pmtcomp_threads(void) {
    const char* const text = std::getenv("VELORIX_THREADS");
    if (!text || !*text) {
        cpu_set_t mine;
        const bool known = sched_getaffinity(0, sizeof mine, &mine) == 0;
        return known ? std::clamp(CPU_COUNT(&mine), 1, PMTCOMP_MOST_THREADS) : 1;
    }
    int threads = 0;
    const char* const end = text + std::strlen(text);
    const auto [rest, error] = std::from_chars(text, end, threads);
    if (error == std::errc() && rest == end && threads >= 1 && threads <= PMTCOMP_MOST_THREADS)
        return threads;
    elog_log(0, "pmtcomp_threads: VELORIX_THREADS is '%.64s', expected 1 to %d.\n", text,
             PMTCOMP_MOST_THREADS);
    return -1;
}

extern "C" Pmtcomp* pmtcomp_new(int nthreads, pmtcomp_callback callback, void* const* user_data,
                                int32_t nnodes) {
    if (nthreads < 1 || nnodes < 0 || !callback || !user_data) {
        elog_log(0, "pmtcomp_new: %d threads over %d nodes cannot be made.\n", nthreads, nnodes);
        return nullptr;
    }
    Pmtcomp* group = nullptr;
    try {
        auto pool = std::make_unique<PmtcompPool>();
        pool->callback = callback;
        pool->workers.resize(static_cast<size_t>(nthreads));
        cut_range(pool->workers, nnodes);
        for (int i = 0; i < nthreads; ++i) pool->workers[size_t(i)].user_data = user_data[i];
        group = new Pmtcomp{PTHREAD_MUTEX_INITIALIZER, nullptr, 0, nullptr};
        group->pool = pool.release();
        group->threads = newtbl(nthreads);
        list_and_start(*group);
        return group;
    } catch (const std::exception& error) {
        elog_log(0, "pmtcomp_new: cannot start %d threads: %s.\n", nthreads, error.what());
        pmtcomp_free(group);
        return nullptr;
    }
}

extern "C" long pmtcomp_processthreads(Pmtcomp* group) {
    if (!group) return -1;
    PmtcompPool& pool = *group->pool;
    GroupMutex mutex(*group);
    GroupLock lock(mutex);
    pool.busy = pool.workers.size();
    pool.succeeded = 0;
    ++pool.run;
    pool.start.notify_all();
    pool.finish.wait(lock, [&] { return pool.busy == 0; });
    return pool.succeeded;
}

extern "C" void pmtcomp_free(Pmtcomp* group) {
    if (!group) return;
    stop_workers(*group);
    freetbl(group->threads, nullptr);
    delete group->pool;
    pthread_mutex_destroy(&group->mutex);
    delete group;
}
