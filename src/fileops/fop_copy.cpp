// Copying one item of any type with its attributes. Worker thread.
#include "fop_engine.h"
#include "fop_info.h"
#include "fop_ui.h"
#include "shell/io_util.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
constexpr std::size_t kLinkMax = 1280;
// copy_file_range moves this much per call: large enough to keep the kernel's
// fast path busy, small enough that pause and cancel are felt at once.
constexpr std::size_t kRangeChunk = 1 << 20;

const char* const kCopyTitle = "Copy/Move";
const char* const kContAbort = "&Continue|&Abort";

int percent_of(int64_t done, int64_t total)
{
    return total > 0 ? int(done * 100 / total) : 0;
}

// An error question on one item: -1 for "&Abort", 1 to skip the item.
int ask_item(FopRequest& r, const char* fmt, const std::string& path, int err = 0)
{
    std::string d = fop_disp(r, path);
    int a = err ? fop_alert(r, kCopyTitle, kContAbort, fmt, d.c_str(), strerror(err))
                : fop_alert(r, kCopyTitle, kContAbort, fmt, d.c_str());
    return a == 2 ? -1 : 1;
}

void progress(FopRequest& r, int64_t done)
{
    fop_update_info(r, kFopKeep, kFopKeep, kFopKeep, kFopKeep, kFopKeep, percent_of(done, r.total_bytes),
                    fop_calc_time_left(r, done, r.total_bytes));
}

bool at_eof(int fd)
{
    struct stat st;
    off_t pos = lseek(fd, 0, SEEK_CUR);
    return pos < 0 || fstat(fd, &st) != 0 || pos >= st.st_size;
}

// Times and owner, after the contents. fd >= 0: the open regular file.
int finish(FopRequest& r, const std::string& tgt, const struct stat& st, int fd)
{
    fop_update_info(r, kFopKeep, kFopKeep, kFopKeep, kFopKeep, kFopKeep, percent_of(r.bytes_done, r.total_bytes),
                    kFopTimeKeep);
    const timespec times[2] = {st.st_atim, st.st_mtim};
    int rc;
    if (fd >= 0) {
        futimens(fd, times);
        rc = fchown(fd, st.st_uid, st.st_gid);
    } else {
        // A copied link gets its own times and owner, not those of what it
        // points to.
        int nofollow = S_ISLNK(st.st_mode) ? AT_SYMLINK_NOFOLLOW : 0;
        utimensat(AT_FDCWD, tgt.c_str(), times, nofollow);
        rc = fchownat(AT_FDCWD, tgt.c_str(), st.st_uid, st.st_gid, nofollow);
    }
    if (rc != 0 && !(r.flags & FOPF_OWNER_IGNORE)) {
        if (fop_alert(r, kCopyTitle, "&Ignore|&Abort", "Unable to change owner permissions '%s'\n",
                      fop_disp(r, tgt).c_str()) == 2)
            return -1;
        r.flags |= FOPF_OWNER_IGNORE;
    }
    return 0;
}

// Writes n bytes; 0 done, 1 skip, -1 abort. The caller removes the target on
// anything but 0.
int write_block(FopRequest& r, int out, const char* buf, std::size_t n, const std::string& tgt)
{
    std::size_t off = 0;
    while (off < n) {
        if (fop_pause_trap(r) || r.cancel.load())
            return -1;
        ssize_t w = write(out, buf + off, n - off);
        if (w > 0) {
            off += std::size_t(w);
            continue;
        }
        if (w < 0 && errno == EINTR)
            continue;
        int e = w == 0 ? ENOSPC : errno;
        if (e == ENOSPC) {
            int a = fop_alert(r, "Write error", "&Retry|&Skip|&Abort",
                              "Unable to write '%s'\nNo space left on device\n", fop_disp(r, tgt).c_str());
            if (a == 1)
                continue;
            if (a == 2)
                return 1;
            r.cancel.store(1);
            return -1;
        }
        if (r.cancel.load())
            return -1;
        return ask_item(r, "Error writing '%s'\n%s\n", tgt, e);
    }
    return 0;
}

// The contents of a regular file; 0 at end of file, else 1 or -1 with the
// target still to be removed by the caller.
int copy_contents(FopRequest& r, int in, int out, const struct stat& st, const std::string& src,
                  const std::string& tgt)
{
    int64_t copied = 0;
    int64_t base = r.bytes_done - st.st_size;
    // The kernel's copy where it can; where it cannot (EXDEV between some file
    // systems, files that report no size) the read/write loop carries on from
    // the same offsets, and it also makes any real error show as a read or
    // write error.
    bool ranged = st.st_size > 0;
    char* buf = r.buffer.data();
    std::size_t bufsize = r.buffer.size();
    for (;;) {
        if (fop_pause_trap(r) || r.cancel.load())
            return -1;
        ssize_t n;
        if (ranged) {
            n = copy_file_range(in, nullptr, out, nullptr, kRangeChunk, 0);
            if (n <= 0) {
                if (n == 0 && at_eof(in))
                    return 0;
                ranged = false;
                continue;
            }
        } else {
            n = read(in, buf, bufsize);
            if (n == 0) {
                if (at_eof(in))
                    return 0;
                continue;
            }
            if (n < 0) {
                if (errno == EINTR)
                    continue;
                return ask_item(r, "Error reading '%s'\n%s\n", src, errno);
            }
            if (int w = write_block(r, out, buf, std::size_t(n), tgt); w != 0)
                return w;
        }
        copied += n;
        progress(r, base + copied);
    }
}

// Whether dest lies inside the directory src (or is it): a directory copied
// there would take in its own copy.
bool inside(const std::string& src, const std::string& dest)
{
    std::unique_ptr<char, decltype(&free)> cs(realpath(src.c_str(), nullptr), &free);
    std::unique_ptr<char, decltype(&free)> cd(realpath(dest.c_str(), nullptr), &free);
    if (!cs || !cd)
        return false;
    std::string_view s = cs.get(), d = cd.get();
    return s == "/" || d == s || (d.size() > s.size() && d.substr(0, s.size()) == s && d[s.size()] == '/');
}

int copy_regular(FopRequest& r, const std::string& src, std::string& tgt, const struct stat& st,
                 bool exists, const struct stat& tst)
{
    // Same device and inode covers the same file reached through another path, a
    // hard link or a symbolic link; a missing target cannot be the source.
    if (exists && tst.st_dev == st.st_dev && tst.st_ino == st.st_ino) {
        fop_errinfo(r, "File Scan", "Can't copy file(s) into itself.");
        return -1;
    }
    if (exists && !(r.flags & FOPF_OVERWRITE_ALL)) {
        int a = fop_alert(r, kCopyTitle, "&Skip|&Overwrite|Overwrite &All|a&Bort",
                          "The '%s' file exists.\nWhat do you want to do ?\n", fop_disp(r, tgt).c_str());
        if (a == 4)
            return -1;
        if (a == 1)
            return 1;
        if (a == 3)
            r.flags |= FOPF_OVERWRITE_ALL;
    }
    UniqueFd in(open(src.c_str(), O_RDONLY | O_CLOEXEC));
    if (!in.ok())
        return ask_item(r, "Unable to open '%s'\n%s\n", src, errno);
    const int oflags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC;
    UniqueFd out(open(tgt.c_str(), oflags, st.st_mode & 07777));
    if (!out.ok() && errno == ENAMETOOLONG) {
        std::string new_name;
        if (!r.ui || !r.ui->filename_too_long(src, tgt, new_name))
            return 1;
        std::size_t slash = tgt.rfind('/');
        tgt = fop_path(slash == std::string::npos ? "." : tgt.substr(0, slash ? slash : 1), new_name);
        out.reset(open(tgt.c_str(), oflags, st.st_mode & 07777));
    }
    if (!out.ok())
        return ask_item(r, "Error writing '%s'\n%s\n", tgt, errno);

    int rc = copy_contents(r, in.get(), out.get(), st, src, tgt);
    if (rc != 0) {
        out.reset();
        unlink(tgt.c_str());
        return rc;
    }
    rc = finish(r, tgt, st, out.get());
    if (close(out.release()) != 0 && rc == 0) {
        int e = errno;
        unlink(tgt.c_str());
        return ask_item(r, "Error writing '%s'\n%s\n", tgt, e);
    }
    return rc;
}
}  // namespace

int fop_copy_file(FopRequest& r, const std::string& dir, const std::string* name, const std::string& dest)
{
    std::string src = name ? fop_path(dir, *name) : dir;
    struct stat st;
    int rc = (r.flags & FOPF_SYM_FILES) ? stat(src.c_str(), &st) : lstat(src.c_str(), &st);
    if (rc != 0) {
        int e = errno;
        return fop_alert(r, kCopyTitle, kContAbort, "Unable to stat '%s'\n%s\n", fop_disp(r, src).c_str(),
                         strerror(e)) == 2
                   ? -1
                   : 1;
    }
    std::string tgt = fop_path(dest, std::string_view(src).substr(std::min(r.prefix_len, src.size())));

    if (r.flags & FOPF_MKDIR_DST) {
        if (mkdir(dest.c_str(), 0777) != 0) {
            fop_errinfo(r, "Make Directory", "Unable to create '%s' directory\n", fop_disp(r, dest).c_str());
            return -1;
        }
        r.flags &= ~FOPF_MKDIR_DST;
    }

    fop_update_info(r, kFopKeep, "From: ", src, "  To: ", tgt, percent_of(r.bytes_done, r.total_bytes),
                    fop_calc_time_left(r, r.bytes_done, r.total_bytes));
    if (name) {
        r.bytes_done += st.st_size;
        if (r.bytes_done > r.total_bytes)
            r.total_bytes = r.bytes_done;
    }

    struct stat tst;
    bool exists = stat(tgt.c_str(), &tst) == 0;
    if (S_ISREG(st.st_mode))
        return copy_regular(r, src, tgt, st, exists, tst);

    if (S_ISFIFO(st.st_mode)) {
        if (exists && !S_ISFIFO(tst.st_mode))
            return ask_item(r, "The '%s' is not a FIFO\n", tgt);
        unlink(tgt.c_str());
        if (mkfifo(tgt.c_str(), st.st_mode & 07777) != 0)
            return ask_item(r, "Unable to make '%s' FIFO\n", tgt);
    } else if (S_ISDIR(st.st_mode)) {
        if (name && inside(src, dest)) {
            fop_errinfo(r, "File Scan", "Can't copy file(s) into itself.");
            return -1;
        }
        if (exists && S_ISDIR(tst.st_mode)) {
            // Writable while its contents go in; its own mode in the final pass.
            chmod(tgt.c_str(), name ? 0777 : (st.st_mode & 07777));
        } else if (exists) {
            if (!name)
                return 0;
            return ask_item(r, "The '%s' is not a directory\n", tgt);
        } else if (mkdir(tgt.c_str(), 0777) != 0) {
            return ask_item(r, "Unable to make '%s' directory\n", tgt);
        }
    } else if (S_ISLNK(st.st_mode)) {
        if (!name)
            return 0;
        std::string text(kLinkMax + 1, '\0');
        ssize_t n = readlink(src.c_str(), text.data(), kLinkMax);
        if (n < 0)
            return ask_item(r, "Unable to read link '%s'\n", src);
        text.resize(std::size_t(n));
        unlink(tgt.c_str());
        if (symlink(text.c_str(), tgt.c_str()) != 0) {
            std::string dt = fop_disp(r, tgt), dl = fop_disp(r, text);
            return fop_alert(r, kCopyTitle, kContAbort, "Unable to create symbolic link '%s' to\n'%s'\n",
                             dt.c_str(), dl.c_str()) == 2
                       ? -1
                       : 1;
        }
    } else {
        return 0;
    }
    return finish(r, tgt, st, -1);
}
