#include "dirmodel/dir_names.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <dirent.h>
#include <fcntl.h>
#include <mutex>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>

#include "dirmodel/dir_entry.h"
#include "dirmodel/dir_poll.h"

namespace {

// Large reads: a few hundred system calls for a million entries instead of
// thousands. At the allocator's mapping threshold, so a block read ahead goes
// back to the system as soon as it is walked.
constexpr std::size_t kBlock = 256 * 1024;

struct Block {
    std::unique_ptr<char[]> data;
    std::size_t len;
    std::unique_ptr<FileStatus[]> st;  // by the entry's place in the block; mode 0: not read
};

}  // namespace

struct DirNamesAhead {
    std::mutex m;
    std::condition_variable cv;
    std::deque<Block> blocks;
    bool opened = false;  // the fields below are set
    bool ok = false;
    bool done = false;
    bool dropped = false;
    bool statting = false;
    std::atomic<bool> taken{false};
    dev_t dev = 0;
    ino_t ino = 0;
    DirStamp stamp;  // taken before the first read

    void drop()
    {
        std::lock_guard lk(m);
        dropped = true;
        blocks.clear();
    }
};

namespace {

std::mutex sAheadLock;
std::shared_ptr<DirNamesAhead> sAhead;

// All the names are in and the program is still starting: this core has nothing
// else to do, so it asks for the entries' status, in the stream's order, until the
// first read takes them. Links are left to the read: they need their target too.
void stat_ahead(DirNamesAhead& a, int fd)
{
    {
        std::lock_guard lk(a.m);
        if (a.taken || a.dropped || !a.done)
            return;
        a.statting = true;
    }
    // Nobody pops a block while `statting` is set: the reader waits for it to clear.
    for (Block& b : a.blocks) {
        std::size_t n = 0;
        for (std::size_t at = 0; at < b.len; ++n)
            at += reinterpret_cast<const struct dirent64*>(b.data.get() + at)->d_reclen;
        b.st = std::make_unique<FileStatus[]>(n);
        std::size_t k = 0;
        for (std::size_t at = 0; at < b.len; ++k) {
            const auto* d = reinterpret_cast<const struct dirent64*>(b.data.get() + at);
            at += d->d_reclen;
            if ((k & 15) == 0 && a.taken.load(std::memory_order_relaxed))
                goto stop;
            struct stat st {};
            if (d->d_type != DT_LNK && d->d_type != DT_UNKNOWN && !dir_hidden_name(d->d_name, false) &&
                ::fstatat(fd, d->d_name, &st, AT_SYMLINK_NOFOLLOW) == 0 && !S_ISLNK(st.st_mode))
                dir_status_from_stat(b.st[k], st);
        }
    }
stop:
    {
        std::lock_guard lk(a.m);
        a.statting = false;
    }
    a.cv.notify_all();
}

void read_ahead(const std::shared_ptr<DirNamesAhead>& a, const std::string& path)
{
    const int fd = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    struct stat st {};
    const bool ok = fd >= 0 && ::fstat(fd, &st) == 0;
    {
        std::lock_guard lk(a->m);
        a->opened = true;
        a->ok = ok;
        a->dev = st.st_dev;
        a->ino = st.st_ino;
        a->stamp = {st.st_mtim, st.st_ctim};
        a->done = !ok;
    }
    a->cv.notify_all();
    while (ok) {
        {
            std::lock_guard lk(a->m);
            if (a->dropped)
                break;
        }
        auto data = std::make_unique_for_overwrite<char[]>(kBlock);
        const ssize_t n = ::getdents64(fd, data.get(), kBlock);
        {
            std::lock_guard lk(a->m);
            if (n > 0 && !a->dropped)
                a->blocks.push_back({std::move(data), static_cast<std::size_t>(n), nullptr});
            else
                a->done = true;
        }
        a->cv.notify_all();
        if (n <= 0)
            break;
    }
    if (ok)
        stat_ahead(*a, fd);
    if (fd >= 0)
        ::close(fd);
}

}  // namespace

void dir_names_read_ahead(const std::string& path)
{
    auto a = std::make_shared<DirNamesAhead>();
    try {
        std::thread([a, path] { read_ahead(a, path); }).detach();
    } catch (const std::system_error&) {
        return;  // no thread: the first read reads its names itself
    }
    std::lock_guard lk(sAheadLock);
    sAhead = std::move(a);
}

DirNames::DirNames(int dirfd) : fd_(dirfd)
{
    std::shared_ptr<DirNamesAhead> a;
    {
        std::lock_guard lk(sAheadLock);
        a.swap(sAhead);
    }
    if (!a)
        return;
    // The directory's times, taken now, after whoever watches it took theirs: the
    // same as before the names were read ahead, nothing came or went since.
    a->taken = true;
    struct stat st {};
    bool good = ::fstat(dirfd, &st) == 0;
    {
        std::unique_lock lk(a->m);
        a->cv.wait(lk, [&] { return !a->statting; });
        // Not opened within a second (a hanging mount): not worth waiting for.
        good = good && a->cv.wait_for(lk, std::chrono::seconds(1), [&] { return a->opened; }) && a->ok &&
               st.st_dev == a->dev && st.st_ino == a->ino && a->stamp == DirStamp{st.st_mtim, st.st_ctim};
    }
    if (good)
        ahead_ = std::move(a);
    else
        a->drop();
}

DirNames::~DirNames()
{
    if (ahead_)
        ahead_->drop();
}

const DirNameEntry* DirNames::next()
{
    while (at_ >= len_)
        if (end_ || !refill()) {
            end_ = true;
            return nullptr;
        }
    const auto* d = reinterpret_cast<const struct dirent64*>(block_.get() + at_);
    at_ += d->d_reclen;
    const FileStatus* st = st_ && st_[index_].st_mode ? &st_[index_] : nullptr;
    ++index_;
    cur_ = {d->d_name, d->d_type, st};
    return &cur_;
}

bool DirNames::refill()
{
    at_ = len_ = index_ = 0;
    st_.reset();
    if (ahead_) {
        std::unique_lock lk(ahead_->m);
        ahead_->cv.wait(lk, [&] { return !ahead_->blocks.empty() || ahead_->done; });
        if (ahead_->blocks.empty())
            return false;
        block_ = std::move(ahead_->blocks.front().data);
        len_ = ahead_->blocks.front().len;
        st_ = std::move(ahead_->blocks.front().st);
        ahead_->blocks.pop_front();
        return true;
    }
    if (!block_)
        block_ = std::make_unique_for_overwrite<char[]>(kBlock);
    const ssize_t n = ::getdents64(fd_, block_.get(), kBlock);
    if (n <= 0)
        return false;
    len_ = static_cast<std::size_t>(n);
    return true;
}
