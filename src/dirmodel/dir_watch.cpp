#include "dirmodel/dir_watch.h"

#include <cerrno>
#include <cstring>
#include <sys/inotify.h>

#include "dirmodel/es_path.h"
#include <unistd.h>

namespace {
constexpr uint32_t kListEvents = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
constexpr uint32_t kEntryEvents = kListEvents | IN_ATTRIB | IN_CLOSE_WRITE | IN_MODIFY;
constexpr uint32_t kGoneEvents = IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT;
// Room for many events a read; a name is at most NAME_MAX bytes.
constexpr std::size_t kReadBuffer = 64 * 1024;

// Hands each event waiting on `fd` to `fn`, without waiting for more.
template <class Fn>
void for_each_event(int fd, Fn&& fn)
{
    alignas(inotify_event) char buf[kReadBuffer];
    for (;;) {
        const ssize_t n = ::read(fd, buf, sizeof buf);
        if (n <= 0)
            return;
        for (ssize_t off = 0; off + ssize_t(sizeof(inotify_event)) <= n;) {
            const auto* ev = reinterpret_cast<const inotify_event*>(buf + off);
            off += ssize_t(sizeof(inotify_event) + ev->len);
            fn(*ev);
        }
    }
}
}  // namespace

DirWatch::DirWatch() : fd_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}

DirWatch::~DirWatch()
{
    if (fd_ >= 0)
        ::close(fd_);
}

int DirWatch::watch(const std::string& path)
{
    if (fd_ < 0) {
        errno = ENOSYS;
        return -1;
    }
    if (wd_ >= 0 && path == path_)
        return 0;
    stop();
    return adopt(path, add(fd_, path));
}

void DirWatch::stop()
{
    for (int* wd : {&wd_, &parent_wd_})
        if (*wd >= 0) {
            inotify_rm_watch(fd_, *wd);
            *wd = -1;
        }
    path_.clear();
    drain();
}

DirWatch::Added DirWatch::add(int fd, const std::string& path)
{
    Added a;
    if (fd < 0) {
        a.err = ENOSYS;
        return a;
    }
    a.wd = inotify_add_watch(fd, path.c_str(), kEntryEvents | kGoneEvents | IN_ONLYDIR | IN_EXCL_UNLINK);
    if (a.wd < 0) {
        a.err = errno;
        return a;
    }
    if (path != "/")
        a.parent_wd = inotify_add_watch(fd, es_dir_of(path).c_str(),
                                        IN_DELETE | IN_MOVED_FROM | kGoneEvents | IN_ONLYDIR | IN_EXCL_UNLINK);
    return a;
}

int DirWatch::adopt(const std::string& path, const Added& added)
{
    if (added.wd < 0) {
        errno = added.err;
        return -1;
    }
    wd_ = added.wd;
    parent_wd_ = added.parent_wd;
    path_ = path;
    name_ = es_name_of(path);
    return 0;
}

DirWatchEvents DirWatch::read()
{
    DirWatchEvents out;
    if (fd_ < 0)
        return out;
    for_each_event(fd_, [&](const inotify_event& ev) {
        if (ev.mask & IN_Q_OVERFLOW) {
            out.overflow = true;
            return;
        }
        if (ev.wd == parent_wd_ && parent_wd_ >= 0) {
            if ((ev.mask & kGoneEvents) || (ev.len && name_ == ev.name))
                out.gone = true;
            return;
        }
        if (ev.wd != wd_)
            return;  // of the directory watched before
        if (ev.mask & (kGoneEvents | IN_IGNORED)) {
            out.gone = true;
            return;
        }
        if (ev.mask & kListEvents)
            out.listed = true;
        else if (ev.mask & kEntryEvents)
            out.changed = true;
        else
            return;
        if (ev.len == 0)
            return;  // the directory's own attributes
        if (out.names.size() < DirWatchEvents::kMaxNames)
            out.names.push_back({ev.name, (ev.mask & IN_ISDIR) != 0});
        else
            out.overflow = true;
    });
    // Gone: the next watch() of any path, this one made anew included, starts afresh.
    if (out.gone)
        for (int* wd : {&wd_, &parent_wd_})
            if (*wd >= 0) {
                inotify_rm_watch(fd_, *wd);
                *wd = -1;
            }
    return out;
}

DirWatchSet::DirWatchSet(int limit) : fd_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)), limit_(limit) {}

DirWatchSet::~DirWatchSet()
{
    if (fd_ >= 0)
        ::close(fd_);
}

int DirWatchSet::add(const std::string& path)
{
    std::lock_guard lk(m_);
    if (fd_ < 0 || int(handles_.size()) >= limit_)
        return -1;
    const int wd = inotify_add_watch(fd_, path.c_str(), kListEvents | kGoneEvents | IN_ONLYDIR | IN_EXCL_UNLINK);
    if (wd >= 0)
        handles_.insert(wd);
    return wd;
}

void DirWatchSet::remove(int handle)
{
    std::lock_guard lk(m_);
    if (handles_.erase(handle))
        inotify_rm_watch(fd_, handle);
}

std::vector<DirWatchSet::Event> DirWatchSet::read()
{
    std::vector<Event> out;
    if (fd_ < 0)
        return out;
    for_each_event(fd_, [&](const inotify_event& ev) {
        const bool gone = ev.mask & (kGoneEvents | IN_IGNORED);
        if (gone) {
            std::lock_guard lk(m_);
            handles_.erase(ev.wd);
        }
        out.push_back({ev.wd, ev.len ? std::string(ev.name) : std::string(), (ev.mask & IN_ISDIR) != 0,
                       (ev.mask & (IN_CREATE | IN_MOVED_TO)) != 0, gone});
    });
    return out;
}
