// Watches the one directory the list shows, with inotify: what another program
// creates, deletes, renames or changes there, and the directory itself going away.
// The descriptor is read by the GUI's event loop (a socket notifier); nothing here
// blocks. GUI thread only.
#pragma once
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "dirmodel/dir_types.h"

struct DirWatchEvents {
    bool listed = false;    // an entry was added, removed or renamed
    bool changed = false;   // an entry's contents or attributes changed
    bool overflow = false;  // the kernel dropped events: the listing may be stale
    bool gone = false;      // the directory was deleted, moved away or unmounted
    // The names of the entries added, removed, renamed or changed, in the order the
    // kernel told (a name may come many times). Past kMaxNames they are dropped and
    // `overflow` is set: so many are read again whole.
    std::vector<DirChange> names;
    static constexpr std::size_t kMaxNames = 100000;
};

class DirWatch {
public:
    DirWatch();
    ~DirWatch();
    DirWatch(const DirWatch&) = delete;
    DirWatch& operator=(const DirWatch&) = delete;

    // The descriptor to wait on; -1 when inotify could not be had.
    int fd() const { return fd_; }
    // Watches `path` instead of what was watched. 0, or -1 with errno (ENOSPC: the
    // user's watch limit is reached).
    int watch(const std::string& path);

    // watch() in steps, for a directory whose watch is slow to add (the kernel
    // marks every entry it holds: 90 ms for a million). stop() drops the watches
    // and what arrived for them; add() may run on any thread meanwhile; adopt()
    // takes its result, with what arrived for it since.
    struct Added {
        int wd = -1;
        int parent_wd = -1;
        int err = 0;
    };
    void stop();
    static Added add(int fd, const std::string& path);
    // 0, or -1 with the errno add() met.
    int adopt(const std::string& path, const Added& added);
    const std::string& path() const { return path_; }
    // Reads what has arrived without waiting; events of an earlier watch are dropped.
    DirWatchEvents read();
    // Drops what has arrived: a read of the directory that starts now sees it all.
    void drain() { read(); }

private:
    int fd_ = -1;
    int wd_ = -1;
    // Its parent too, for the directory's own name going: the directory's own
    // "deleted" comes only once nothing holds it, and the process's working
    // directory does.
    int parent_wd_ = -1;
    std::string path_;
    std::string name_;
};

// Several directories at once, for what comes and goes in them (the bookmarks'
// open branches, the Trash view), up to a bound so that a tree opened wide cannot
// use up the user's inotify watches. add() may be called on any thread, since a
// path on a dead mount may hang; the rest on the GUI thread.
class DirWatchSet {
public:
    explicit DirWatchSet(int limit);
    ~DirWatchSet();
    DirWatchSet(const DirWatchSet&) = delete;
    DirWatchSet& operator=(const DirWatchSet&) = delete;

    // -1 when inotify could not be had.
    int fd() const { return fd_; }
    // A handle for `path` (the same one for a path watched already), or -1: the
    // bound is reached or the kernel refused.
    int add(const std::string& path);
    void remove(int handle);

    struct Event {
        int handle;
        std::string name;  // "" for the directory itself
        bool is_dir;
        bool came;         // created or moved in; else deleted, moved out or changed
        bool gone;         // the directory itself went: its handle is void now
    };
    // Reads what has arrived without waiting.
    std::vector<Event> read();

private:
    int fd_ = -1;
    int limit_;
    std::mutex m_;
    std::set<int> handles_;
};
