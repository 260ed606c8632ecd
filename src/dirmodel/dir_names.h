// The names of a directory as its stream gives them, in large reads. The first
// directory's names can be read ahead, on a thread of their own, while the program
// starts: its first read then takes them up instead of reading them again, and the
// status of those the thread had time for.
#pragma once
#include <cstddef>
#include <memory>
#include <string>

#include "dirmodel/dir_types.h"

struct DirNameEntry {
    const char* name;
    unsigned char type;     // a d_type: DT_DIR, DT_LNK, DT_UNKNOWN, ...
    const FileStatus* st;   // read ahead, for an entry that is no link; else null
};

struct DirNamesAhead;

// The entries of an open directory, "." and ".." among them, in the stream's
// order. Reads the descriptor itself (which it does not own), or takes up the
// names read ahead for the same directory when they are still good: read from the
// start, of this directory, and nothing came or went since they began.
class DirNames {
public:
    explicit DirNames(int dirfd);
    ~DirNames();
    DirNames(const DirNames&) = delete;
    DirNames& operator=(const DirNames&) = delete;

    // The next entry, or null at the end (or on an error, which ends the stream as
    // readdir's does). The name stays valid until the next call.
    const DirNameEntry* next();

    bool took_ahead() const { return ahead_ != nullptr; }

private:
    bool refill();

    int fd_;
    std::shared_ptr<DirNamesAhead> ahead_;
    std::unique_ptr<char[]> block_;  // the block being walked
    std::unique_ptr<FileStatus[]> st_;  // its entries' status read ahead, if any
    std::size_t len_ = 0, at_ = 0, index_ = 0;
    bool end_ = false;
    DirNameEntry cur_{};
};

// Starts reading the names of `path` on a thread of its own, for the next
// DirNames of that directory. Called once, as the program starts; a read of any
// other directory drops them.
void dir_names_read_ahead(const std::string& path);
