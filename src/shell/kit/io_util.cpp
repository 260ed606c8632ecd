#include "shell/kit/io_util.h"

#include <cerrno>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>

ssize_t read_full(int fd, void* buf, std::size_t n)
{
    auto* p = static_cast<char*>(buf);
    std::size_t done = 0;
    while (done < n) {
        ssize_t r = ::read(fd, p + done, n - done);
        if (r < 0) {
            if (errno == EINTR)
                continue;
            return done ? static_cast<ssize_t>(done) : -1;
        }
        if (r == 0)
            break;
        done += static_cast<std::size_t>(r);
    }
    return static_cast<ssize_t>(done);
}

bool write_full(int fd, const void* buf, std::size_t n)
{
    auto* p = static_cast<const char*>(buf);
    while (n) {
        ssize_t w = ::write(fd, p, n);
        if (w < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        p += w;
        n -= static_cast<std::size_t>(w);
    }
    return true;
}

bool write_file_atomic(const std::string& path, const void* buf, std::size_t n)
{
    mode_t mode = 0600;
    struct stat st {};
    if (::stat(path.c_str(), &st) == 0)
        mode = st.st_mode & 07777;
    std::string tmp = path + ".XXXXXX";
    UniqueFd fd{::mkstemp(tmp.data())};
    if (!fd.ok())
        return false;
    ::fchmod(fd.get(), mode);
    if (!write_full(fd.get(), buf, n) || ::fsync(fd.get()) != 0) {
        int e = errno;
        ::unlink(tmp.c_str());
        errno = e;
        return false;
    }
    fd.reset();
    if (::rename(tmp.c_str(), path.c_str()) != 0) {
        int e = errno;
        ::unlink(tmp.c_str());
        errno = e;
        return false;
    }
    return true;
}

int start_detached(void* (*fn)(void*), void* arg, std::size_t stack)
{
    pthread_attr_t attr;
    int rc = pthread_attr_init(&attr);
    if (rc != 0)
        return rc;
    pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
    rc = pthread_attr_setstacksize(&attr, stack);
    pthread_t tid;
    if (rc == 0)
        rc = pthread_create(&tid, &attr, fn, arg);
    pthread_attr_destroy(&attr);
    return rc;
}
