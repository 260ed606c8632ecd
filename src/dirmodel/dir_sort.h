// Ordering of a listing's records by one column, and the texts of the permission,
// owner and group columns. GUI thread only: the sort parameters and the owner and
// group caches are shared and unlocked.
#pragma once
#include <cstdint>
#include <sys/types.h>

#include "dirmodel/dir_types.h"

int dir_cmp_name(const FileRecord* a, const FileRecord* b);
// The larger size first: 1 when a is smaller, -1 when it is larger, 0 when equal.
int dir_cmp_size(const FileRecord* a, const FileRecord* b);
int dir_cmp_date(const FileRecord* a, const FileRecord* b);
int dir_cmp_user(const FileRecord* a, const FileRecord* b);
int dir_cmp_group(const FileRecord* a, const FileRecord* b);
int dir_cmp_permissions(const FileRecord* a, const FileRecord* b);
// Compares link texts only when both records have one; 0 otherwise.
int dir_cmp_link(const FileRecord* a, const FileRecord* b);
int dir_cmp_dir(const FileRecord* a, const FileRecord* b);

// Sorts records[0, count) by `primary` then by name, in the direction of
// `ascending` (non-zero: +1), directories first when `folders_first`. A null
// primary leaves the order alone.
void dir_sort(DirListing& listing, DirCmpFn primary, int ascending, bool folders_first = false);

// Makes the comparison below the one dir_sort would use, without sorting.
void dir_sort_set(DirCmpFn primary, int ascending, bool folders_first);

// The comparison of the last dir_sort (its column, direction and folders-first).
int _qsort_cmp(const void* a, const void* b);

// Three characters (no terminator) for which = 1 owner, 2 group, 3 others; one type
// letter for 0 (tests for any of each letter's bits, in the order b c d p l n s, so
// a directory or a link shows "b" and a plain file "l") and one
// sticky letter for 4; nothing above 4.
void dir_get_permissions(mode_t mode, char* out, int which);

// The owner's or group's name (at most 15 characters, `out` holds 16), the decimal
// id when the database has none. Returns the length for a cached or numeric name,
// 0 for a name fresh from the database.
int dir_get_username(uid_t uid, char* out);
int dir_get_groupname(gid_t gid, char* out);
