// Patching a listing for a few names that changed: they are looked at again (on
// the status workers, relative to the directory) and their records removed,
// refreshed or inserted at their sorted place, so that one new file in a directory
// of a million entries costs one status call and not a read of them all. The
// listing ends as a full read would make it. GUI thread only, as dir_read.
#pragma once
#include <vector>

#include "dirmodel/dir_read.h"

// What a patch did, in rows: the indices the removed records had before it and
// the indices the inserted ones have after it (both ascending), and the indices
// after it of records refreshed where they stand. A record whose place in the
// order changed was removed and inserted; it keeps its flags.
struct DirPatchResult {
    std::vector<int> removed;
    std::vector<int> inserted;
    std::vector<int> updated;
    bool empty() const { return removed.empty() && inserted.empty() && updated.empty(); }
};

// Patches `l` (read and sorted by dir_read with the same `primary`, `ascending`,
// env.hide_dot and env.folders_first) for the named entries. Selection and cut
// marks stay on their records; a removed current record gives its place to the
// entry after it, else the one before. Returns 0, or -1 when the directory
// cannot be opened (the listing is left as it was).
int dir_patch(DirListing& l, const std::vector<DirChange>& changes, DirCmpFn primary, int ascending,
              const DirReadEnv& env, DirPatchResult& out);
