// The file record and the directory listing: the model the file list shows. The
// reader (dir_read.h) fills a listing, the sorter (dir_sort.h) orders it. A listing
// belongs to the GUI thread; nothing here locks.
#pragma once
#include <cstdint>
#include <ctime>
#include <memory>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <sys/types.h>
#include <vector>

// Record flags.
inline constexpr uint32_t DIR_F_CURRENT = 0x01;
inline constexpr uint32_t DIR_F_SELECTED = 0x02;
inline constexpr uint32_t DIR_F_LINK = 0x04;        // `link` holds the link column's text
inline constexpr uint32_t DIR_F_UNREADABLE = 0x10;

// The part of a file's status the program reads. `st_mtim` is a timespec so the
// C library's st_mtime spelling works on it as on a struct stat.
struct FileStatus {
    dev_t st_dev = 0;
    ino_t st_ino = 0;
    int64_t st_size = 0;
    struct timespec st_mtim {};
    uid_t st_uid = 0;
    gid_t st_gid = 0;
    mode_t st_mode = 0;
    uint32_t st_nlink = 0;
};

void dir_status_from_stat(FileStatus& out, const struct stat& st);

inline constexpr std::size_t DIR_LINK_BUF = 1024;

// One directory entry. `name` holds the bytes the directory delivered, never a
// translation. For a link (or an unreadable entry, flag 0x04) `link` holds the
// text of the link column: a 1024-byte buffer made the first time it is needed and
// kept when the record is recycled (a pointer, not a string, so that records of
// plain files stay small).
struct FileRecord {
    FileStatus status;
    std::string name;
    uint32_t flags = 0;
    int row = -1;
    std::unique_ptr<char[]> link;

    // The link text, "" when there is none.
    const char* link_text() const { return link ? link.get() : ""; }
    // Replaces the link text (cut to 1023 bytes).
    void set_link(std::string_view text);
};

// The listing of one directory. records[0, count) are live in display order,
// records[count, count + spare) are recycled records kept for reuse, and the rest of
// the `capacity` slots are null. The listing owns every record in it.
struct DirListing {
    std::vector<FileRecord*> records;
    std::string path;
    std::string filespec = "*";
    uint64_t total_size = 0;
    int32_t count = 0;
    int32_t dirs = 0;
    int32_t selected = 0;
    int32_t selected_dirs = 0;
    int32_t capacity = 0;
    int32_t current = -1;
    int32_t spare = 0;

    DirListing() = default;
    DirListing(const DirListing&) = delete;
    DirListing& operator=(const DirListing&) = delete;
    ~DirListing();

    FileRecord& operator[](int i) { return *records[i]; }
    const FileRecord& operator[](int i) const { return *records[i]; }
};

// A column's comparison: negative, zero or positive.
using DirCmpFn = int (*)(const FileRecord* a, const FileRecord* b);
