// Where the kernel tells nothing of a directory's changes (network and FUSE file
// systems, or the user's inotify watches used up), its change time is looked at
// every two seconds on a thread of its own, never on the GUI thread. A look that
// hangs on a dead mount holds that thread alone, and no further looks pile up
// behind it. The descriptor becomes readable when the directory changed.
#pragma once
#include <memory>
#include <string>
#include <ctime>

// True when inotify does not see every change of what is at `path` (a remote or
// FUSE file system: other machines and the daemon change it behind the kernel).
bool dir_needs_polling(const std::string& path);

// A directory's modification and change times: they move when an entry comes,
// goes or is renamed.
struct DirStamp {
    timespec mtime{};
    timespec ctime{};
    bool operator==(const DirStamp& o) const
    {
        return mtime.tv_sec == o.mtime.tv_sec && mtime.tv_nsec == o.mtime.tv_nsec &&
               ctime.tv_sec == o.ctime.tv_sec && ctime.tv_nsec == o.ctime.tv_nsec;
    }
};
// False when `path` cannot be looked at. May hang on a dead mount.
bool dir_stamp(const std::string& path, DirStamp& out);

class DirPoll {
public:
    explicit DirPoll(int interval_ms = 2000);
    ~DirPoll();
    DirPoll(const DirPoll&) = delete;
    DirPoll& operator=(const DirPoll&) = delete;

    // -1 when no pipe could be had.
    int fd() const;
    // Follows `path` from now on, its present change time the one to compare with,
    // unless `events` (inotify watches it) and its file system is a local one;
    // "" stops.
    void watch(const std::string& path, bool events);
    // Empties the descriptor: true when a change was told since the last call.
    bool take();

    struct State;

private:
    std::shared_ptr<State> state_;
};
