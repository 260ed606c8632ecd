#include "fileops/slot_refresh.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
bool all_digits(const char* s)
{
    if (!*s)
        return false;
    for (; *s; ++s)
        if (*s < '0' || *s > '9')
            return false;
    return true;
}

// The command name as the kernel keeps it (at most 15 bytes and a newline).
bool read_comm(int dirfd, std::string& out)
{
    const int fd = ::openat(dirfd, "comm", O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    char buf[64];
    const ssize_t n = ::read(fd, buf, sizeof buf);
    ::close(fd);
    if (n <= 0)
        return false;
    out.assign(buf, static_cast<std::size_t>(n));
    if (!out.empty() && out.back() == '\n')
        out.pop_back();
    return true;
}
}  // namespace

int slot_signal_instances(const std::string& proc_root, const std::string& comm, int signo)
{
    const int saved = errno;
    DIR* d = ::opendir(proc_root.c_str());
    if (!d) {
        errno = saved;
        return 0;
    }
    const uid_t me = ::getuid();
    int count = 0;
    while (const dirent* e = ::readdir(d)) {
        if (!all_digits(e->d_name))
            continue;
        const int pfd = ::openat(::dirfd(d), e->d_name, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (pfd < 0)
            continue;  // the process has gone meanwhile
        struct stat st {};
        std::string name;
        const bool match = ::fstat(pfd, &st) == 0 && st.st_uid == me && read_comm(pfd, name) &&
                           name == comm;
        ::close(pfd);
        if (match && ::kill(static_cast<pid_t>(std::atol(e->d_name)), signo) == 0)
            ++count;
    }
    ::closedir(d);
    errno = saved;
    return count;
}

int slot_refresh_instances()
{
    return slot_signal_instances("/proc", "vell", SIGWINCH);
}
