// The file record and the directory listing: the model the file list shows. The
// reader (dir_read.h) fills a listing, the sorter (dir_sort.h) orders it. A listing
// belongs to the GUI thread; nothing here locks.
#pragma once
#include <cstdint>
#include <cstring>
#include <iosfwd>
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
inline constexpr uint32_t DIR_F_PENDING = 0x20;     // status not read yet: name and type only

// The part of a file's status the program reads. `st_mtim` keeps the seconds only,
// but under the C library's spelling, so st_mtime works on it as on a struct stat.
// A million of these are held at once: no field the program does not read.
struct FileStatus {
    int64_t st_size = 0;
    struct {
        time_t tv_sec = 0;
    } st_mtim;
    uid_t st_uid = 0;
    gid_t st_gid = 0;
    mode_t st_mode = 0;
    uint32_t st_nlink = 0;
};

void dir_status_from_stat(FileStatus& out, const struct stat& st);

inline constexpr std::size_t DIR_LINK_BUF = 1024;

// A record's name: up to 15 bytes in place (the last byte counts the room left,
// so it is the terminator when full), longer ones on the heap. Most names fit,
// and a record stays 64 bytes.
class RecName {
public:
    RecName() { clear_inline(); }
    RecName(const char* text) : RecName() { assign(std::string_view(text)); }
    RecName(const RecName& o) : RecName() { assign(o.view()); }
    RecName(RecName&& o) noexcept
    {
        std::memcpy(raw_, o.raw_, sizeof raw_);
        o.clear_inline();
    }
    RecName& operator=(const RecName& o)
    {
        if (this != &o)
            assign(o.view());
        return *this;
    }
    RecName& operator=(RecName&& o) noexcept
    {
        if (this != &o) {
            release();
            std::memcpy(raw_, o.raw_, sizeof raw_);
            o.clear_inline();
        }
        return *this;
    }
    RecName& operator=(std::string_view text)
    {
        assign(text);
        return *this;
    }
    ~RecName() { release(); }

    void assign(std::string_view text);
    void clear() { assign(std::string_view()); }

    const char* c_str() const { return on_heap() ? heap_ptr() : raw_; }
    const char* data() const { return c_str(); }
    std::size_t size() const { return on_heap() ? heap_len() : kInline - uint8_t(raw_[kInline]); }
    std::size_t length() const { return size(); }
    bool empty() const { return size() == 0; }
    char operator[](std::size_t i) const { return c_str()[i]; }
    std::string_view view() const { return {c_str(), size()}; }
    bool starts_with(std::string_view p) const { return view().starts_with(p); }
    operator std::string() const { return std::string(view()); }

    friend bool operator==(const RecName& a, const RecName& b) { return a.view() == b.view(); }
    friend bool operator==(const RecName& a, std::string_view b) { return a.view() == b; }
    friend bool operator==(const RecName& a, const char* b) { return a.view() == b; }
    friend bool operator==(const RecName& a, const std::string& b) { return a.view() == b; }

private:
    static constexpr std::size_t kInline = 15;
    static constexpr uint8_t kHeap = 0xFF;

    bool on_heap() const { return uint8_t(raw_[kInline]) == kHeap; }
    char* heap_ptr() const
    {
        char* p;
        std::memcpy(&p, raw_, sizeof p);
        return p;
    }
    uint32_t heap_len() const
    {
        uint32_t n;
        std::memcpy(&n, raw_ + 8, sizeof n);
        return n;
    }
    void clear_inline()
    {
        raw_[0] = '\0';
        raw_[kInline] = char(kInline);
    }
    std::size_t heap_room() const;  // bytes a heap name may grow to in place
    void release();

    char raw_[16];
};

std::ostream& operator<<(std::ostream& os, const RecName& n);

// One directory entry. `name` holds the bytes the directory delivered, never a
// translation. For a link (or an unreadable entry, flag 0x04) `link` holds the
// text of the link column: a 1024-byte buffer made the first time it is needed and
// kept when the record is recycled (a pointer, not a string, so that records of
// plain files stay small). Records come from a pool of their own: no allocator
// header on each of a million records.
struct FileRecord {
    FileRecord() = default;
    FileRecord(FileRecord&&) = default;
    FileRecord& operator=(FileRecord&&) = default;

    FileStatus status;
    RecName name;
    uint32_t flags = 0;
    int row = -1;
    std::unique_ptr<char[]> link;

    // The link text, "" when there is none.
    const char* link_text() const { return link ? link.get() : ""; }
    // Replaces the link text (cut to 1023 bytes).
    void set_link(std::string_view text);

    static void* operator new(std::size_t size);
    static void operator delete(void* p, std::size_t size) noexcept;
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

// A name of the directory that something happened to, as a watch reports it.
// `was_dir`: the entry was a directory when it went (the watch says so).
struct DirChange {
    std::string name;
    bool was_dir = false;
};

// A column's comparison: negative, zero or positive.
using DirCmpFn = int (*)(const FileRecord* a, const FileRecord* b);
