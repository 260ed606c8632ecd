// Find Files' search: walks a tree on a few worker threads, one directory at a time
// per thread, and keeps the entries that pass the query's tests. The window starts
// a search and takes what it found in batches from its timer; nothing here waits
// for the workers, so a call that hangs on a dead mount costs one abandoned worker
// and a line in the troubles, never the caller. Every member may be called from any
// one thread (the GUI's); the workers are the search's own.
#pragma once
#include <atomic>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "dirmodel/dir_types.h"

// Kinds of entries a search keeps (FindQuery::kinds).
inline constexpr unsigned FIND_FILES = 1;  // everything that is not a folder or a link
inline constexpr unsigned FIND_DIRS = 2;
inline constexpr unsigned FIND_LINKS = 4;  // with links followed, only those that lead nowhere
inline constexpr unsigned FIND_ANY = 7;

struct FindQuery {
    std::string root;
    std::string name = "*";      // es_strcmp's patterns
    std::string content;         // bytes a regular file holds; empty: not tested
    bool content_icase = false;  // ASCII letters of `content` in either case
    int64_t min_size = -1;       // bounds in bytes, -1: none; folders never pass a bound
    int64_t max_size = -1;
    time_t newer_than = 0;       // mtime >= this when non-zero
    time_t older_than = 0;       // mtime <= this when non-zero
    unsigned kinds = FIND_ANY;
    bool dot_files = false;      // dot names are listed and their folders searched
    bool one_fs = false;         // folders of other file systems are not entered
    bool follow_links = false;   // links are taken for what they lead to
    int threads = 0;             // 0: as many as the machine has cores, 2 to 8
    // A call that has not returned after this gives up on its folder, as the
    // directory reader gives up on an entry.
    std::chrono::milliseconds timeout{10000};
    // Tests: runs on the worker before each folder is opened (a sleep makes it hang).
    std::function<void(const std::string& path)> before_dir;
};

struct FindHit {
    uint32_t folder = 0;  // index into the folders FindBatch hands out
    FileRecord rec;       // as the file list would have it: status, name, link text
};

struct FindTrouble {
    std::string path;
    int err = 0;           // errno of what failed, 0 for a time-out
    bool timeout = false;  // the call did not answer: its subtree is left out
    bool loop = false;     // a folder that is one of its own parents
};

// What came in since the last take().
struct FindBatch {
    std::vector<FindHit> hits;
    std::vector<std::string> folders;  // new folders, numbered on from the last batch's
    std::vector<FindTrouble> troubles;
    uint64_t folders_searched = 0;     // totals so far
    uint64_t matches = 0;
    bool done = false;                 // the walk has ended, or was stopped
};

struct FindState;

class FindSearch {
public:
    explicit FindSearch(FindQuery q);
    // Stops the search; workers that are still inside a call end on their own.
    ~FindSearch();
    FindSearch(const FindSearch&) = delete;
    FindSearch& operator=(const FindSearch&) = delete;

    // Starts the workers; -1 (EINVAL) when the root is not a full path. A root that
    // cannot be opened is reported as a trouble, as any folder would be.
    int start();
    // Ends the search at once: what was found stays, take() reports it done.
    void stop();
    // Moves out what came in since the last call (cheap: swaps under a lock).
    void take(FindBatch& out);
    // No worker is running any more (stuck ones aside). For tests.
    bool idle() const;

private:
    std::shared_ptr<FindState> s_;
};
