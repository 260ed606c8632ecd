// Status workers of the directory reader. A worker claims entries one at a time, so
// a hanging call holds up one entry only. The reader abandons a worker whose call
// runs past the time-out: the worker keeps the job (its descriptor and batches)
// alive through a shared pointer, and when its call finally returns it finds its
// slot abandoned and ends. Nothing a worker touches belongs to the listing.
#include "dirmodel/dir_statpool.h"

#include <cerrno>
#include <condition_variable>
#include <deque>
#include <fcntl.h>
#include <mutex>
#include <pthread.h>
#include <sched.h>
#include <unistd.h>

namespace {

enum : uint8_t { kPending, kRunning, kWriting, kDone, kAbandoned };

constexpr std::size_t kWorkerStack = 256 * 1024;
// Entries a sleeping reader lets the workers finish before it wakes.
constexpr std::size_t kWaitRun = 64;

int64_t now_ns()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

}  // namespace

struct DirStatJob {
    int dirfd = -1;
    DirStatFn fn;
    std::mutex m;
    std::condition_variable work_cv;
    std::condition_variable done_cv;
    std::deque<std::shared_ptr<DirStatBatch>> queue;
    bool closing = false;
    // The entry the reader sleeps on: the worker that finishes it wakes the reader.
    std::atomic<const DirStatSlot*> awaited{nullptr};

    ~DirStatJob()
    {
        if (dirfd >= 0)
            ::close(dirfd);
    }
};

namespace {

// One entry's calls, into locals of the caller.
void stat_entry(DirStatJob& job, const char* name, DirStatSlot& out, std::string& link)
{
    struct stat st {};
    out.bits = 0;
    out.err = 0;
    if (job.fn(job.dirfd, name, &st, AT_SYMLINK_NOFOLLOW) != 0) {
        out.err = errno;
        out.bits = DIR_SB_LSTAT_FAILED;
        return;
    }
    dir_status_from_stat(out.st, st);
    if (!S_ISLNK(st.st_mode))
        return;
    out.bits |= DIR_SB_LINK;
    struct stat target {};
    if (job.fn(job.dirfd, name, &target, 0) == 0)
        dir_status_from_stat(out.st, target);
    else
        out.bits |= DIR_SB_TARGET_FAILED;
    char buf[1024];
    ssize_t n = ::readlinkat(job.dirfd, name, buf, sizeof buf - 1);
    if (n < 0) {
        out.bits |= DIR_SB_READLINK_FAILED;
        link.clear();
    } else {
        link.assign(buf, static_cast<std::size_t>(n));
    }
}

void worker_loop(std::shared_ptr<DirStatJob> job)
{
    DirStatSlot local;
    std::string local_link;
    for (;;) {
        std::shared_ptr<DirStatBatch> b;
        {
            std::unique_lock lk(job->m);
            job->work_cv.wait(lk, [&] { return job->closing || !job->queue.empty(); });
            if (job->queue.empty())
                return;
            b = job->queue.front();
        }
        for (;;) {
            std::size_t i = b->next.fetch_add(1);
            if (i >= b->size()) {
                std::lock_guard lk(job->m);
                if (!job->queue.empty() && job->queue.front() == b)
                    job->queue.pop_front();
                break;
            }
            DirStatSlot& slot = b->entries[i];
            slot.started_ns.store(now_ns(), std::memory_order_relaxed);
            uint8_t expect = kPending;
            if (!slot.state.compare_exchange_strong(expect, kRunning))
                continue;
            stat_entry(*job, b->name(i), local, local_link);
            expect = kRunning;
            if (!slot.state.compare_exchange_strong(expect, kWriting))
                return;  // the reader gave up on this call and replaced this worker
            slot.bits = local.bits;
            slot.err = local.err;
            slot.st = local.st;
            if (local.bits & DIR_SB_LINK)
                b->links[i].swap(local_link);
            slot.state.store(kDone);
            if (job->awaited.load() == &slot) {
                std::lock_guard lk(job->m);
                job->done_cv.notify_one();
            }
        }
    }
}

void* worker_main(void* arg)
{
    std::unique_ptr<std::shared_ptr<DirStatJob>> job(static_cast<std::shared_ptr<DirStatJob>*>(arg));
    worker_loop(std::move(*job));
    return nullptr;
}

}  // namespace

DirStatPool::DirStatPool(int dirfd, DirStatFn fn, int threads, std::chrono::milliseconds timeout)
    : job_(std::make_shared<DirStatJob>()), timeout_(timeout), want_threads_(threads < 1 ? 1 : threads)
{
    job_->dirfd = ::fcntl(dirfd, F_DUPFD_CLOEXEC, 0);
    job_->fn = fn ? std::move(fn) : DirStatFn([](int fd, const char* n, struct stat* st, int fl) {
        return ::fstatat(fd, n, st, fl);
    });
}

DirStatPool::~DirStatPool()
{
    {
        std::lock_guard lk(job_->m);
        job_->closing = true;
        job_->queue.clear();
    }
    job_->work_cv.notify_all();
}

bool DirStatPool::spawn_worker()
{
    pthread_attr_t attr;
    if (pthread_attr_init(&attr) != 0)
        return false;
    pthread_attr_setstacksize(&attr, kWorkerStack);
    pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
    auto* arg = new std::shared_ptr<DirStatJob>(job_);
    pthread_t tid;
    int rc = pthread_create(&tid, &attr, worker_main, arg);
    pthread_attr_destroy(&attr);
    if (rc != 0) {
        delete arg;
        return false;
    }
    ++started_;
    return true;
}

void DirStatPool::submit(const std::shared_ptr<DirStatBatch>& batch)
{
    batch->entries = std::make_unique<DirStatSlot[]>(batch->size());
    batch->links = std::make_unique<std::string[]>(batch->size());
    if (inline_)
        return;
    while (started_ < want_threads_) {
        if (!spawn_worker()) {
            inline_ = started_ == 0;
            break;
        }
    }
    if (inline_)
        return;
    {
        std::lock_guard lk(job_->m);
        job_->queue.push_back(batch);
    }
    job_->work_cv.notify_all();
}

bool DirStatPool::wait(DirStatBatch& batch, std::size_t i, const std::function<void()>& pump,
                       std::chrono::steady_clock::time_point& last_pump,
                       std::chrono::milliseconds pump_every)
{
    using clock = std::chrono::steady_clock;
    DirStatSlot& slot = batch.entries[i];
    if (inline_) {
        stat_entry(*job_, batch.name(i), slot, batch.links[i]);
        slot.state.store(kDone, std::memory_order_relaxed);
        return true;
    }
    if (slot.state.load(std::memory_order_acquire) == kDone)
        return true;
    // Sleep until a run of entries is done (or this one's time-out, or the next
    // pump), so that the workers have the cores to themselves meanwhile.
    const DirStatSlot& run_end = batch.entries[std::min(i + kWaitRun, batch.size()) - 1];
    auto pending_since = clock::now();
    for (;;) {
        uint8_t st = slot.state.load();
        if (st == kDone)
            return true;
        clock::time_point deadline;
        if (st == kPending)
            deadline = pending_since + timeout_;
        else
            deadline = clock::time_point(std::chrono::nanoseconds(slot.started_ns.load())) + timeout_;
        auto wake = std::min(deadline, last_pump + pump_every);
        {
            std::unique_lock lk(job_->m);
            const DirStatSlot* target = &run_end;
            job_->awaited.store(target);
            job_->done_cv.wait_until(lk, wake, [&] {
                if (target->state.load() == kDone && target != &slot) {
                    // The run's end is in; a stuck entry before it is waited on alone.
                    target = &slot;
                    job_->awaited.store(target);
                }
                return slot.state.load() == kDone && target == &slot;
            });
            job_->awaited.store(nullptr);
        }
        if (slot.state.load() == kDone)
            return true;
        auto now = clock::now();
        if (now >= last_pump + pump_every) {
            if (pump)
                pump();
            last_pump = clock::now();
        }
        if (now < deadline)
            continue;
        st = slot.state.load();
        if (st == kRunning) {
            uint8_t expect = kRunning;
            if (slot.state.compare_exchange_strong(expect, kAbandoned)) {
                // The stuck worker is gone for this read; keep the pool at strength.
                --started_;
                if (!spawn_worker() && started_ == 0)
                    inline_ = true;
                return false;
            }
        } else if (st == kPending) {
            // Every worker is stuck elsewhere: add one for the entries behind them.
            if (!spawn_worker()) {
                uint8_t expect = kPending;
                if (slot.state.compare_exchange_strong(expect, kAbandoned))
                    return false;
            }
            pending_since = clock::now();
        }
    }
}
