// The scanning behind a directory menu: a detached thread reads one directory's
// subdirectories, sorts them, hands the list over, then looks into each one for a
// subdirectory of its own and hands the answers over in small batches. The thread
// touches nothing but its record; the hooks decide how a step reaches the GUI.
#pragma once
#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "dirmodel/dir_statpool.h"

// Directory names in menu order: two numbers (all digits, or empty) by value,
// anything else by bytes, so 9 comes before 10 and a10 before a2.
int _list_cmp(const char* a, const char* b);

inline constexpr int DTM_HIDE_DOT = 0x0001;  // leave out names beginning with "."
inline constexpr int DTM_CHECK = 0x1000;     // look for subdirectories when the entry is made
inline constexpr int DTM_NO_LINKS = 0x2000;  // a link to a directory is no subdirectory

// 1 when the directory at `path` (relative to `at`, an open directory or AT_FDCWD)
// holds a subdirectory, links followed unless DTM_NO_LINKS is in `how`; 0 when not;
// -1 when it is no directory or cannot be read. Stops at the first one found, and
// gives 0 as soon as *stop is set. May hang on a dead mount: not for the GUI thread.
int dtm_has_subdir(int at, const char* path, int how, const std::atomic<bool>* stop = nullptr);

// The status call of dtm_has_subdir and of the tree's directory reading; null
// gives fstatat back. Tests swap in one that hangs.
void dtm_set_stat_fn(DirStatFn fn);
int dtm_stat(int at, const char* name, struct stat* st, int flags);

// Runs a task on one of a few worker threads kept for calls that may hang (a
// bookmark on a dead mount): a stuck worker costs that worker, and past a few of
// them tasks wait their turn. 0, or -1 when no thread could be started.
int dtm_run(std::function<void()> task);

struct DtmScan {
    std::string path;  // file-system bytes
    int flags = 0;     // DTM_HIDE_DOT and whatever the menus carry to children
    std::atomic<bool> stop{false};
    std::atomic<bool> running{false};
    std::atomic<bool> finished{false};

    // Run on the scanning thread, in this order: the sorted names (empty when
    // the directory has none or cannot be read), shared with the thread, which
    // goes on reading them; then, unless stopped, the answers for names
    // [first, first + n), 1 when that one has a subdirectory; notices.
    using Names = std::shared_ptr<const std::vector<std::string>>;
    std::function<void(Names names)> on_listed;
    std::function<void(std::size_t first, std::vector<char>&& has_sub)> on_checked;
    std::function<void(const char* title, const char* text)> on_notice;
};

// Reads the directory and checks its children on the calling thread.
void dtm_scanning_thread(const std::shared_ptr<DtmScan>& scan);
// The same on a detached thread with a 64 KiB stack, which keeps the record alive
// until it ends. 0, or -1 when the thread could not be started.
int dtm_start_scan(std::shared_ptr<DtmScan> scan);
// How many started scans have not yet ended, record released.
int dtm_scans_running();
