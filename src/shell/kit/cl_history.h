// Combo-box histories: bounded lists of distinct strings, most recent first, each kept
// in a text file of the configuration directory (one entry a line). The widgets own
// the five lists as globals and fill their combo boxes from them. GUI thread only.
#pragma once
#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

inline constexpr int CL_MAX = 20;                  // entries kept per list
inline constexpr uint32_t CL_F_CHANGED = 0x01;     // list differs from its combo box
inline constexpr std::size_t CL_LINE_MAX = 1022;   // longer lines are split on reading

// A ring of CL_MAX slots: the k-th most recent entry (k from 0) lives in slot
// (head + k) % CL_MAX. Slots outside the first `count` positions hold nothing
// meaningful.
struct ClHistory {
    int head = 0;
    std::array<std::string, CL_MAX> ring;
    int count = 0;
    uint32_t flags = 0;
    // The texts this session recorded, oldest first, each once: replayed over the
    // file at exit so that another instance's entries are kept.
    std::vector<std::string> used;

    bool changed() const { return (flags & CL_F_CHANGED) != 0; }
    void mark_changed() { flags |= CL_F_CHANGED; }
    // The combo box has been refilled from the list (cl_apply).
    void clear_changed() { flags &= ~CL_F_CHANGED; }
    // All entries, most recent first: what a combo box shows.
    std::vector<std::string> entries() const;
};

// A new list from "dir/name" (one "/" put between unless dir ends with one). Lines
// longer than CL_LINE_MAX bytes are split and the rest becomes the next entry; one
// trailing newline per line is dropped; at most CL_MAX entries, the first line the
// most recent. A missing file or a null dir or name gives an empty list. The list
// comes back marked changed.
ClHistory cl_read(const char* dir, const char* name);

// Writes the entries most recent first, "%s\n" each, to "dir/name" through a temporary
// file and a rename. Returns 0, or -1 when nothing could be written (the caller shows
// no error).
int cl_save(const ClHistory& list, const char* dir, const char* name);

// Saves the list over what the file holds now: the file's entries with this
// session's uses put on top again, in the order they were made. A file that cannot
// be read takes the list as it is. The list becomes what was written. 0, or -1.
int cl_save_merged(ClHistory& list, const char* dir, const char* name);

// Records a use of `text`: an existing equal entry moves to the front (nothing changes,
// and the list is not marked, when it already is the front); a new entry goes in
// front and pushes out the oldest when the list is full.
void cl_add(ClHistory& list, std::string_view text);

// The n-th most recent entry, n from 1; null when n is out of range. Valid until the
// list changes.
const char* cl_get(const ClHistory& list, int n);

// Empties the list (frees its entries); the list may be used again.
void cl_destroy(ClHistory& list);

// When text begins with "http://", "ftp://", "gopher://" or "file://" (case matters),
// the rest after that prefix; otherwise (also for null) null.
const char* cl_is_web_address(const char* text);

// Completion from the history: the most recent entry that, with any web prefix
// stripped, begins with `text` (also stripped). Returns the stripped entry (pointing
// into the list, valid until it changes), or null.
const char* cl_find_pattern(const ClHistory& list, const char* text);

// The five histories of the process. The widgets keep one instance as a global.
inline constexpr const char* CL_PATH_FILE = "goto.001";
inline constexpr const char* CL_SPEC_FILE = "fspec.001";
inline constexpr const char* CL_PATTERN_FILE = "pattern.001";
inline constexpr const char* CL_WITH_FILE = "with.001";
inline constexpr const char* CL_COPY_FILE = "copy.001";

struct ClBoxes {
    ClHistory path;     // gPathList: tb_curpath
    ClHistory fspec;    // gSpecList: tb_filespec; never empty after init_read_cboxs
    ClHistory pattern;  // gPatternList: ppattern
    ClHistory with;     // gWithList: read only, never saved
    ClHistory copy;     // gCopyList: read only, never saved
};

// Reads all five lists from `dir`; an empty filter list gets "*".
void init_read_cboxs(ClBoxes& boxes, const char* dir);
// Saves the path, filter and pattern lists to `dir` (cl_save_merged); "with" and
// "copy" are left alone.
void init_save_cboxs(ClBoxes& boxes, const char* dir);
// Empties all five lists.
void init_destroy_cboxs(ClBoxes& boxes);
