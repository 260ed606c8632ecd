// The reader's handling of one entry, shared by the full read (dir_read) and the
// patch of a few changed names (dir_patch), so that both make the same record of
// the same entry. Each call is made on the thread of the read it serves.
#pragma once
#include <cstddef>
#include <unistd.h>

#include "dirmodel/dir_statpool.h"
#include "dirmodel/dir_types.h"

// "." and "..", and with hide_dot every other dot name: never listed.
bool dir_hidden_name(const char* name, bool hide_dot);
// The record for the next entry: the one in hand, else the last spare, else a new
// one; its flags and link text cleared.
FileRecord* dir_take_record(DirListing& l, FileRecord* hand);
// Entry i of the batch into the record: status, link text, the texts of an
// unreadable entry, and the name. False, with the name left alone, when the entry
// is gone since it was listed, or is a non-directory that `filespec` (null: all)
// does not match.
bool dir_fill_entry(FileRecord* r, const DirStatBatch& b, std::size_t i, bool answered, const char* filespec);

// The directory's descriptor, closed when the read is done with it.
class DirFd {
public:
    explicit DirFd(int fd) : fd_(fd) {}
    ~DirFd() { reset(); }
    DirFd(const DirFd&) = delete;
    DirFd& operator=(const DirFd&) = delete;
    int get() const { return fd_; }
    void reset()
    {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = -1;
    }

private:
    int fd_;
};
