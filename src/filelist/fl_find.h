// The file list's core bookkeeping over a DirListing: finding records by name, the
// selection counts and flags that the view mirrors, the two navigation histories and
// the target of "up". The widgets call these, then bring the view in step. GUI
// thread only.
#pragma once
#include <functional>
#include <list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "dirmodel/dir_types.h"

// x_find flags.
inline constexpr int FIND_EXACT = 0x1;
inline constexpr int FIND_NO_DIRS = 0x2;
inline constexpr int FIND_BACKWARD = 0x4;
inline constexpr int FIND_PREFIX = 0x8;

// Finds records by name. An empty or null name gives -2, ".." gives -1 (the parent
// row). The walk starts at index 0 whatever `start` says; with FIND_BACKWARD it steps
// back from there, so it looks at index 0 only. A record is a hit when FIND_EXACT is
// set and the names are equal, else when FIND_PREFIX is set and `name` begins the
// record's name, else when the record's name matches `name` as a pattern (es_strcmp).
// Without an action: the first hit, or -2. With one: the action is called for every
// hit and the last hit's index is returned, or -2.
int x_find(const DirListing& l, const char* name, int start, int flags,
           const std::function<void(int index)>& action = {});

// Selection. Each keeps `selected`, `selected_dirs` and the DIR_F_SELECTED flags in
// step; indices outside 0 .. count-1 are ignored. A directory is a record whose
// status is a directory.
int fl_select_index(DirListing& l, int index);    // returns index
void fl_unselect_index(DirListing& l, int index);
void fl_invert_index(DirListing& l, int index);
void fl_invert_all(DirListing& l);
void fl_select_all(DirListing& l);
void fl_unselect_all(DirListing& l);
// x_find with fl_select_index / fl_unselect_index as the action. Last hit or -2.
int fl_select(DirListing& l, const char* name, int flags);
int fl_unselect(DirListing& l, const char* name, int flags);

// One navigation history: a stack of at most NAV_HISTORY_MAX paths, the top the most
// recent.
inline constexpr int NAV_HISTORY_MAX = 10;

class NavHistory {
public:
    // x_history_push: nothing for an empty path or one equal to the top; when full,
    // the oldest entry is dropped (its node becomes the new top).
    void push(std::string_view path);
    // The top path, removed; nullopt when empty.
    std::optional<std::string> pop();
    int count() const { return static_cast<int>(nodes_.size()); }
    bool empty() const { return nodes_.empty(); }
    void clear() { nodes_.clear(); }
    // Most recent first.
    std::vector<std::string> entries() const { return {nodes_.begin(), nodes_.end()}; }

private:
    std::list<std::string> nodes_;  // front is the top
};

inline void x_history_push(NavHistory& h, const char* path)
{
    if (path)
        h.push(path);
}

// The history side of the moves; the caller changes directory to the path returned.
// After a successful change of directory away from `previous` (fl_newpath).
void fl_history_entered(NavHistory& back, NavHistory& forward, std::string_view previous);
// fl_back: nullopt when the back history is empty; else pushes `current` forward and
// returns the popped back path.
std::optional<std::string> fl_back_target(NavHistory& back, NavHistory& forward,
                                          std::string_view current);
// fl_forward: pushes `current` on the back history even when there is nowhere to go
// (the duplicate rule keeps that from repeating), then pops the forward top.
std::optional<std::string> fl_forward_target(NavHistory& back, NavHistory& forward,
                                             std::string_view current);

// fl_up: where to go from `path` and which name to select there, so the directory
// just left is current. Trailing slashes are ignored; nullopt at "/" (and for "").
struct UpTarget {
    std::string dir;
    std::string select;
};
std::optional<UpTarget> fl_up_target(std::string_view path);

// The name in `dir` on the way down to `inner` ("b" for "/a" and "/a/b/c"), so going
// back out of a directory leaves the cursor on the folder the user came from; empty
// when `inner` is not below `dir`.
std::string fl_name_toward(std::string_view dir, std::string_view inner);

// The names a refresh of the same directory tries to make current, in order: the
// first selected record, then the first unselected one after it (the entry after
// the selection, when the selection was deleted), then the last unselected one
// before it. Empty when nothing is selected.
std::vector<std::string> fl_reselect_names(const DirListing& l);
