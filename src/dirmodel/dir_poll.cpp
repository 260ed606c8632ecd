#include "dirmodel/dir_poll.h"

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <fcntl.h>
#include <linux/magic.h>
#include <mutex>
#include <system_error>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <thread>
#include <unistd.h>

namespace {
// File systems that change without the local kernel knowing.
constexpr unsigned long kFuse = 0x65735546, kCifs = 0xFF534D42, kSmb2 = 0xFE534D42, kCeph = 0x00C36400,
                        kNinePee = 0x01021997, kAfs = 0x5346414F, kGfs2 = 0x01161970, kOcfs2 = 0x7461636F,
                        kLustre = 0x0BD00BD0;

}  // namespace

bool dir_stamp(const std::string& path, DirStamp& out)
{
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0)
        return false;
    out = {st.st_mtim, st.st_ctim};
    return true;
}

bool dir_needs_polling(const std::string& path)
{
    struct statfs fs {};
    if (::statfs(path.c_str(), &fs) != 0)
        return false;
    switch (static_cast<unsigned long>(fs.f_type)) {
    case NFS_SUPER_MAGIC:
    case SMB_SUPER_MAGIC:
    case CODA_SUPER_MAGIC:
    case kFuse:
    case kCifs:
    case kSmb2:
    case kCeph:
    case kNinePee:
    case kAfs:
    case kGfs2:
    case kOcfs2:
    case kLustre:
        return true;
    default:
        return false;
    }
}

// Shared with the thread, which may outlive the object while stuck in a call.
struct DirPoll::State {
    std::mutex m;
    std::condition_variable cv;
    std::string path;
    bool events = false;      // inotify watches it
    unsigned generation = 0;  // bumped by each watch(): a fresh baseline
    bool started = false;
    bool closing = false;
    int pipe_read = -1;
    int pipe_write = -1;
    std::chrono::milliseconds interval;

    ~State()
    {
        for (int fd : {pipe_read, pipe_write})
            if (fd >= 0)
                ::close(fd);
    }
};

namespace {
void poll_loop(std::shared_ptr<DirPoll::State> s)
{
    std::string path;
    unsigned seen = ~0u;
    DirStamp seen_stamp;
    bool have = false;
    std::unique_lock lk(s->m);
    for (;;) {
        if (s->closing)
            return;
        if (s->generation != seen) {
            seen = s->generation;
            path = s->path;
            have = false;
            if (!path.empty() && s->events) {
                // Asking the file system's type may hang too: here, not on the GUI thread.
                lk.unlock();
                const bool needed = dir_needs_polling(path);
                lk.lock();
                if (!needed && s->generation == seen)
                    path.clear();
            }
            continue;
        }
        if (path.empty()) {
            s->cv.wait(lk);
            continue;
        }
        const unsigned asked = seen;
        lk.unlock();
        DirStamp now;
        const bool ok = dir_stamp(path, now);  // may hang on a dead mount: this thread alone
        lk.lock();
        if (s->closing)
            return;
        if (s->generation == asked && ok) {
            if (have && !(now == seen_stamp)) {
                const char one = 1;
                (void)!::write(s->pipe_write, &one, 1);
            }
            seen_stamp = now;
            have = true;
        }
        if (s->generation == asked)
            s->cv.wait_for(lk, s->interval, [&] { return s->closing || s->generation != asked; });
    }
}
}  // namespace

DirPoll::DirPoll(int interval_ms) : state_(std::make_shared<State>())
{
    state_->interval = std::chrono::milliseconds(interval_ms);
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC | O_NONBLOCK) == 0) {
        state_->pipe_read = fds[0];
        state_->pipe_write = fds[1];
    }
}

DirPoll::~DirPoll()
{
    {
        std::lock_guard lk(state_->m);
        state_->closing = true;
    }
    state_->cv.notify_all();
}

int DirPoll::fd() const
{
    return state_->pipe_read;
}

void DirPoll::watch(const std::string& path, bool events)
{
    bool start = false;
    {
        std::lock_guard lk(state_->m);
        if (path == state_->path && events == state_->events)
            return;
        state_->path = path;
        state_->events = events;
        ++state_->generation;
        start = !state_->started && !path.empty() && state_->pipe_write >= 0;
        state_->started = state_->started || start;
    }
    state_->cv.notify_all();
    if (start) {
        try {
            std::thread(poll_loop, state_).detach();
        } catch (const std::system_error&) {
            // No thread: the directory is followed by F5 alone, as before.
        }
    }
}

bool DirPoll::take()
{
    char buf[64];
    bool any = false;
    while (state_->pipe_read >= 0 && ::read(state_->pipe_read, buf, sizeof buf) > 0)
        any = true;
    return any;
}
