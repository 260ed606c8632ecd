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

// Reads one entry per line. A line longer than 1024 bytes is cut there and its rest
// read as the next line; a repeated line is dropped; an empty line is an empty
// entry. 0, or -1 when the file cannot be opened: the list is then "/" alone.
int hotlist_read(const std::string& file, HotList& out);
// Writes the list whole through a temporary file and a rename. 0, or -1.
int hotlist_write(const std::string& file, const HotList& list);
