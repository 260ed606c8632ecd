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

// kTarget: a link's own status and text are in the slot; its target's status is
// being asked for.
enum : uint8_t { kPending, kRunning, kTarget, kWriting, kDone, kAbandoned };

// Workers whose call the reader gave up on and that have not returned yet, in the
// whole process. Past kMaxStuck no worker is started: a dead mount read again and
// again costs at most that many threads (and their descriptors), not one per read.
std::atomic<int> sStuck{0};
constexpr int kMaxStuck = 4;

constexpr std::size_t kWorkerStack = 256 * 1024;
// Entries a sleeping reader lets the workers finish before it wakes: a batch. Each
// wake costs a worker the call that wakes and the reader a switch, and on two cores
// a wake every 64 entries cost more than the reader's own work.
constexpr std::size_t kWaitRun = 512;

}  // namespace

std::string& DirStatBatch::link(std::size_t i)
{
    std::string* texts = links_.load();
    if (!texts) {
        auto* made = new std::string[size()];
        if (links_.compare_exchange_strong(texts, made))
            texts = made;
        else
            delete[] made;  // another worker made them first
    }
    return texts[i];
}

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
    const std::chrono::steady_clock::time_point epoch = std::chrono::steady_clock::now();

    // Now in the slots' milliseconds: never 0, which is "not started".
    uint32_t now_ms() const
    {
        using namespace std::chrono;
        return static_cast<uint32_t>(duration_cast<milliseconds>(steady_clock::now() - epoch).count()) + 1;
    }
    std::chrono::steady_clock::time_point started(const DirStatSlot& slot) const
    {
        return epoch + std::chrono::milliseconds(slot.started_ms.load() - 1);
    }

    ~DirStatJob()
    {
        if (dirfd >= 0)
            ::close(dirfd);
    }
};

namespace {

// One entry's calls. A link's text is read before its target's status (readlink
// does not touch the target), and `before_target` may publish what is known so far:
// a target that hangs then costs the entry its target's status, not its text.
// False when before_target says the reader gave up on the entry.
template <class BeforeTarget>
bool stat_entry(DirStatJob& job, DirStatBatch& b, std::size_t i, DirStatSlot& out, BeforeTarget&& before_target)
{
    const char* name = b.name(i);
    struct stat st {};
    out.bits = 0;
    out.err = 0;
    if (job.fn(job.dirfd, name, &st, AT_SYMLINK_NOFOLLOW) != 0) {
        out.err = static_cast<uint16_t>(errno);
        out.bits = DIR_SB_LSTAT_FAILED;
        return true;
    }
    dir_status_from_stat(out.st, st);
    if (!S_ISLNK(st.st_mode))
        return true;
    out.bits |= DIR_SB_LINK;
    char buf[1024];
    ssize_t n = ::readlinkat(job.dirfd, name, buf, sizeof buf - 1);
    if (n < 0) {
        out.bits |= DIR_SB_READLINK_FAILED;
        b.link(i).clear();
    } else {
        b.link(i).assign(buf, static_cast<std::size_t>(n));
    }
    if (!before_target())
        return false;
    struct stat target {};
    if (job.fn(job.dirfd, name, &target, 0) == 0)
        dir_status_from_stat(out.st, target);
    else
        out.bits |= DIR_SB_TARGET_FAILED;
    return true;
}

void worker_loop(std::shared_ptr<DirStatJob> job)
{
    DirStatSlot local;
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
            slot.started_ms.store(job->now_ms(), std::memory_order_relaxed);
            uint8_t expect = kPending;
            if (!slot.state.compare_exchange_strong(expect, kRunning))
                continue;
            // b->link(i) is this worker's until the entry is done or handed over.
            const bool kept = stat_entry(*job, *b, i, local, [&] {
                slot.bits = local.bits | DIR_SB_TARGET_FAILED;  // what stands if the target hangs
                slot.err = 0;
                slot.st = local.st;
                uint8_t running = kRunning;
                return slot.state.compare_exchange_strong(running, kTarget);
            });
            expect = (local.bits & DIR_SB_LINK) && kept ? kTarget : kRunning;
            if (!kept || !slot.state.compare_exchange_strong(expect, kWriting)) {
                // The reader gave up on this call and counted this worker as stuck.
                sStuck.fetch_sub(1);
                return;
            }
            slot.bits = local.bits;
            slot.err = local.err;
            slot.st = local.st;
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

bool DirStatPool::may_start() const
{
    return sStuck.load() < kMaxStuck;
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
    if (inline_)
        return;
    while (started_ < want_threads_ && may_start()) {
        if (!spawn_worker()) {
            inline_ = started_ == 0;  // the system has no thread to give
            break;
        }
    }
    starved_ = started_ == 0 && !inline_;
    if (inline_ || starved_)
        return;
    {
        std::lock_guard lk(job_->m);
        job_->queue.push_back(batch);
    }
    job_->work_cv.notify_all();
}

bool DirStatPool::ready(const DirStatBatch& batch, std::size_t i) const
{
    return !inline_ && batch.entries[i].state.load(std::memory_order_acquire) == kDone;
}

bool DirStatPool::wait(DirStatBatch& batch, std::size_t i, const std::function<void()>& pump,
                       std::chrono::steady_clock::time_point& last_pump,
                       std::chrono::milliseconds pump_every)
{
    using clock = std::chrono::steady_clock;
    DirStatSlot& slot = batch.entries[i];
    if (inline_) {
        stat_entry(*job_, batch, i, slot, [] { return true; });
        slot.state.store(kDone, std::memory_order_relaxed);
        return true;
    }
    if (slot.state.load(std::memory_order_acquire) == kDone)
        return true;
    if (starved_) {
        // Every worker allowed is stuck: what no worker has taken times out at once.
        uint8_t expect = kPending;
        if (slot.state.compare_exchange_strong(expect, kAbandoned))
            return false;
    }
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
            deadline = job_->started(slot) + timeout_;
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
        if (st == kRunning || st == kTarget) {
            uint8_t expect = st;
            if (slot.state.compare_exchange_strong(expect, kAbandoned)) {
                // The stuck worker is gone for this read; keep the pool at strength
                // while the process's stuck workers are few.
                sStuck.fetch_add(1);
                --started_;
                if (!(may_start() && spawn_worker()) && started_ == 0)
                    starved_ = true;
                // A link whose target hangs keeps its own status and its text.
                return st == kTarget;
            }
        } else if (st == kPending) {
            // Every worker is stuck elsewhere: add one for the entries behind them.
            if (!(may_start() && spawn_worker())) {
                uint8_t expect = kPending;
                if (slot.state.compare_exchange_strong(expect, kAbandoned))
                    return false;
            }
            pending_since = clock::now();
        }
    }
}
