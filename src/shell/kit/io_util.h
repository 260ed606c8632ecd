// Small descriptor helpers shared by everything that reads or writes whole files.
// Thread-safe; no state.
#pragma once
#include <cstddef>
#include <string>
#include <sys/types.h>
#include <unistd.h>

class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd_(fd) {}
    ~UniqueFd() { reset(); }
    UniqueFd(UniqueFd&& o) noexcept : fd_(o.release()) {}
    UniqueFd& operator=(UniqueFd&& o) noexcept
    {
        if (this != &o)
            reset(o.release());
        return *this;
    }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;

    int get() const { return fd_; }
    bool ok() const { return fd_ >= 0; }
    int release()
    {
        int f = fd_;
        fd_ = -1;
        return f;
    }
    void reset(int fd = -1)
    {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = fd;
    }

private:
    int fd_ = -1;
};

// read() until n bytes, end of file or an error; returns the bytes read, or -1 when
// nothing could be read because of an error. EINTR is retried.
ssize_t read_full(int fd, void* buf, std::size_t n);
// write() all n bytes; false on any error (errno kept).
bool write_full(int fd, const void* buf, std::size_t n);
// Writes the bytes to a temporary file beside path and renames it into place, so a
// crash never leaves half a file. Mode 0600 for a new file; an existing file's mode
// is kept. errno is meaningful on false.
bool write_file_atomic(const std::string& path, const void* buf, std::size_t n);
// Starts fn(arg) on a detached thread with the given stack size. 0, or the error
// number pthread_create (or its attributes) gave.
int start_detached(void* (*fn)(void*), void* arg, std::size_t stack);
