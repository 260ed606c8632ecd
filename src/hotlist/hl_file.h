// The favourite directories: an ordered list of unique paths in display form, and
// the file that keeps it between runs. No toolkit: the tree and the menus show it.
#pragma once
#include <string>
#include <vector>

struct HotList {
    std::vector<std::string> entries;

    // 0, or -1 when the path is already an entry (byte comparison).
    int add(const std::string& path);
    // Removes the first entry equal to path; false when there was none.
    bool remove(const std::string& path);
    bool contains(const std::string& path) const;
};

// This session's own changes to the list since it was read, replayed over the file
// when it is saved so that what another instance saved in between is kept.
struct HotlistEdits {
    std::vector<std::string> added, removed;
    bool reordered = false;

    void note_add(const std::string& path);
    void note_remove(const std::string& path);
};

// The list to write when the file now holds `disk`: with no reordering here, the
// file's entries less those removed here, then those added here in their order;
// after a reordering here, this list's order, then the entries only the file has.
HotList hotlist_merge(const HotList& disk, const HotList& mine, const HotlistEdits& edits);

// Reads one entry per line. A line longer than 1024 bytes is cut there and its rest
// read as the next line; a repeated line is dropped; an empty line is an empty
// entry. 0, or -1 when the file cannot be opened: the list is then "/" alone.
int hotlist_read(const std::string& file, HotList& out);
// Writes the list whole through a temporary file and a rename. 0, or -1.
int hotlist_write(const std::string& file, const HotList& list);
// Writes hotlist_merge of what the file holds now (the list as it is when the file
// cannot be read); the edits are cleared once written, so a later save replays
// only what changed after it. 0, or -1.
int hotlist_save_merged(const std::string& file, const HotList& mine, HotlistEdits& edits);
