// Loaded into the real program by hang.sh: every status call, open and directory
// read of a path holding "hangmount" sleeps a minute first, as on a network mount
// that stopped answering.
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <cstring>

namespace {
void maybe_hang(const char* path)
{
    if (path && std::strstr(path, "hangmount"))
        ::sleep(60);
}

template <typename Fn>
Fn next(const char* name)
{
    return reinterpret_cast<Fn>(::dlsym(RTLD_NEXT, name));
}
}  // namespace

#define VELL_HANG(ret, name, params, args, path)                   \
    extern "C" ret name params                                      \
    {                                                               \
        static auto real = next<ret(*) params>(#name);              \
        maybe_hang(path);                                           \
        return real args;                                           \
    }

VELL_HANG(int, stat, (const char* p, struct stat* s), (p, s), p)
VELL_HANG(int, lstat, (const char* p, struct stat* s), (p, s), p)
VELL_HANG(int, fstatat, (int d, const char* p, struct stat* s, int f), (d, p, s, f), p)
VELL_HANG(int, statx, (int d, const char* p, int f, unsigned m, struct statx* s), (d, p, f, m, s), p)
VELL_HANG(DIR*, opendir, (const char* p), (p), p)

// open and openat take the mode only when they create.
extern "C" int openat(int d, const char* p, int f, ...)
{
    static auto real = next<int (*)(int, const char*, int, ...)>("openat");
    va_list ap;
    va_start(ap, f);
    const mode_t m = (f & (O_CREAT | O_TMPFILE)) ? va_arg(ap, mode_t) : 0;
    va_end(ap);
    maybe_hang(p);
    return real(d, p, f, m);
}

extern "C" int open(const char* p, int f, ...)
{
    static auto real = next<int (*)(const char*, int, ...)>("open");
    va_list ap;
    va_start(ap, f);
    const mode_t m = (f & (O_CREAT | O_TMPFILE)) ? va_arg(ap, mode_t) : 0;
    va_end(ap);
    maybe_hang(p);
    return real(p, f, m);
}
