// Copying one item of any type with its attributes. Worker thread.
#include "fop_engine.h"
#include "fop_info.h"
#include "fop_ui.h"
#include "shell/kit/io_util.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <memory>
#include <string>
#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
constexpr std::size_t kLinkMax = 1280;
// copy_file_range and sendfile move this much per call: large enough to keep the
// kernel's fast path busy, small enough that pause and cancel are felt at once.
constexpr std::size_t kRangeChunk = 1 << 20;

const char* const kCopyTitle = "Copy/Move";

int percent_of(int64_t done, int64_t total)
{
    return total > 0 ? int(done * 100 / total) : 0;
}

// An error question on one item: -1 for "&Abort", 1 to skip the item.
int ask_item(FopRequest& r, const char* fmt, const std::string& path, int err = 0)
{
    std::string d = fop_disp(r, path);
    return err ? fop_ask_continue(r, kCopyTitle, fmt, d.c_str(), strerror(err))
               : fop_ask_continue(r, kCopyTitle, fmt, d.c_str());
}

void progress(FopRequest& r, int64_t done)
{
    fop_update_info(r, kFopKeep, kFopKeep, kFopKeep, kFopKeep, kFopKeep, percent_of(done, r.total_bytes),
                    fop_calc_time_left(r, done, r.total_bytes));
}

// Times and owner, after the contents. fd >= 0: the open regular file, which
// already has the source's owner when !set_owner.
int finish(FopRequest& r, const std::string& tgt, const struct stat& st, int fd, bool set_owner = true)
{
    fop_update_info(r, kFopKeep, kFopKeep, kFopKeep, kFopKeep, kFopKeep, percent_of(r.bytes_done, r.total_bytes),
                    kFopTimeKeep);
    const timespec times[2] = {st.st_atim, st.st_mtim};
    int rc;
    if (fd >= 0) {
        futimens(fd, times);
        rc = set_owner ? fchown(fd, st.st_uid, st.st_gid) : 0;
        // A change of owner clears set-ID bits: give them back after it.
        if (st.st_mode & (S_ISUID | S_ISGID))
            fchmod(fd, st.st_mode & 07777);
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

// A 0-byte read is the end of the file once the offset has reached its size;
// before that the size is looked up afresh, as the file may have shrunk.
bool at_eof(int in, int64_t copied, int64_t& size)
{
    if (copied >= size)
        return true;
    struct stat now;
    if (fstat(in, &now) != 0)
        return true;
    size = now.st_size;
    return copied >= size;
}

// A sparse source at the start or at the end of a run of data: finds the next
// run and, where a hole comes first, moves both files past it (a hole up to the
// end takes a truncate to give the target its size). sparse goes false where
// the file system does not tell. 0, else 1 or -1 with the target still to be
// removed.
int next_data(FopRequest& r, int in, int out, const std::string& tgt, int64_t size, int64_t base,
              int64_t& copied, int64_t& data_end, bool& sparse)
{
    off_t data = lseek(in, copied, SEEK_DATA);
    if (data < 0 && errno == ENXIO)
        data = size;  // a hole up to the end
    off_t hole = data >= 0 && data < size ? lseek(in, data, SEEK_HOLE) : size;
    if (data < 0 || hole < 0) {
        sparse = false;  // not told: everything is copied
    } else {
        data_end = hole;
        if (data > copied) {
            if (data >= size && ftruncate(out, size) != 0)
                return ask_item(r, "Error writing '%s'\n%s\n", tgt, errno);
            lseek(out, data, SEEK_SET);
            copied = data;
            progress(r, base + copied);
        }
    }
    lseek(in, copied, SEEK_SET);
    return 0;
}

// The contents of a regular file, from a source just opened; 0 at end of file,
// else 1 or -1 with the target still to be removed by the caller.
int copy_contents(FopRequest& r, int in, int out, const struct stat& st, const std::string& src,
                  const std::string& tgt)
{
    int64_t copied = 0;  // also the source's offset
    int64_t size = st.st_size;
    int64_t base = r.bytes_done - st.st_size;
    // In the kernel where it can: copy_file_range, else sendfile (which also
    // works where copy_file_range fails with EXDEV between file systems). Where
    // neither does (files that report no size, any error) the read/write loop
    // carries on from the same offsets, and it also makes any real error show as
    // a read or write error.
    enum { kRange, kSend, kReadWrite } way = st.st_size > 0 ? kRange : kReadWrite;
    char* buf = r.buffer.data();
    // Fewer blocks than the size takes means holes: only the data is copied, at
    // the same offsets, so that the copy stays sparse.
    bool sparse = st.st_size > 0 && int64_t(st.st_blocks) * 512 < st.st_size;
    int64_t data_end = 0;
    for (;;) {
        if (fop_pause_trap(r) || r.cancel.load())
            return -1;
        std::size_t chunk = kRangeChunk, bufsize = r.buffer.size();
        if (sparse && copied >= data_end) {
            if (int rc = next_data(r, in, out, tgt, size, base, copied, data_end, sparse); rc != 0)
                return rc;
        }
        if (sparse && data_end > copied) {
            chunk = std::min<std::size_t>(chunk, std::size_t(data_end - copied));
            bufsize = std::min(bufsize, chunk);
        }
        ssize_t n;
        if (way != kReadWrite) {
            n = way == kRange ? copy_file_range(in, nullptr, out, nullptr, chunk, 0)
                              : sendfile(out, in, nullptr, chunk);
            if (n <= 0) {
                if (n == 0 && at_eof(in, copied, size))
                    return 0;
                way = n < 0 && way == kRange ? kSend : kReadWrite;
                continue;
            }
        } else {
            n = read(in, buf, bufsize);
            if (n == 0) {
                if (at_eof(in, copied, size))
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

// Whether a file just created in the group's target directory has the owner
// and group of the source already. A new file's owner follows from the
// credentials, the directory and the file system alone, so the first one shows
// it for all. Set-ID files always take the chown, then get their bits back.
bool has_owner_already(FopGroupDirs& dirs, int fd, const struct stat& st)
{
    if (st.st_mode & (S_ISUID | S_ISGID))
        return false;
    if (!dirs.new_owner_known) {
        struct stat ost;
        if (fstat(fd, &ost) != 0)
            return false;
        dirs.new_uid = ost.st_uid;
        dirs.new_gid = ost.st_gid;
        dirs.new_owner_known = true;
    }
    return st.st_uid == dirs.new_uid && st.st_gid == dirs.new_gid;
}

// An overwrite's new contents, written beside the target and put in its place
// only once complete, so that a failure, a skip or a cancel half-way leaves the
// old file as it was. Unnamed (O_TMPFILE) where the file system offers it, so a
// crash leaves nothing behind either.
class Replacement {
public:
    // False when nothing can be made beside the target (a directory the process
    // may not write): the target is then written in place.
    bool open(const std::string& tgt, mode_t mode, UniqueFd& out)
    {
        const std::size_t slash = tgt.rfind('/');
        const std::string dir = slash == std::string::npos ? "." : slash == 0 ? "/" : tgt.substr(0, slash);
        dir_.reset(::open(dir.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        if (!dir_.ok())
            return false;
        base_ = slash == std::string::npos ? tgt : tgt.substr(slash + 1);
        out.reset(openat(dir_.get(), ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, mode));
        if (out.ok())
            return active_ = true;
        if (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL)
            return false;
        while (!out.ok()) {
            tmp_ = temp_name();
            out.reset(openat(dir_.get(), tmp_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
            if (!out.ok() && errno != EEXIST) {
                tmp_.clear();
                return false;
            }
        }
        return active_ = true;
    }
    bool active() const { return active_; }
    // Puts the complete file in the target's place: 0, or -1 with errno and the
    // target untouched.
    int commit(int fd)
    {
        if (tmp_.empty()) {
            const std::string proc = "/proc/self/fd/" + std::to_string(fd);
            std::string name = temp_name();
            while (linkat(AT_FDCWD, proc.c_str(), dir_.get(), name.c_str(), AT_SYMLINK_FOLLOW) != 0) {
                if (errno != EEXIST)
                    return -1;
                name = temp_name();
            }
            tmp_ = std::move(name);
        }
        if (renameat(dir_.get(), tmp_.c_str(), dir_.get(), base_.c_str()) != 0) {
            const int e = errno;
            discard();
            errno = e;
            return -1;
        }
        tmp_.clear();
        return 0;
    }
    void discard()
    {
        if (!tmp_.empty())
            unlinkat(dir_.get(), tmp_.c_str(), 0);
        tmp_.clear();
    }
    ~Replacement() { discard(); }

private:
    static std::string temp_name()
    {
        static std::atomic<unsigned> serial{0};
        return ".vell-" + std::to_string(getpid()) + "-" + std::to_string(serial++);
    }

    UniqueFd dir_;
    std::string base_, tmp_;
    bool active_ = false;
};

// A target the exclusive create did not make: something is at its name, the
// create failed otherwise, or the source did not open for it to be tried.
// Refuses the source itself and asks before an overwrite, then opens the source
// where it is still closed, and the target or its replacement. 0 with both
// open, else 1 or -1.
int open_target_checked(FopRequest& r, const std::string& src, FopAt sat, std::string& tgt, FopAt& tat,
                        const struct stat& st, UniqueFd& in, UniqueFd& out, Replacement& swap)
{
    const mode_t mode = st.st_mode & 07777;
    struct stat tst, lst;
    // Same device and inode covers the same file reached through another
    // path, a hard link or a symbolic link; a missing target cannot be the
    // source.
    if (fstatat(tat.dirfd, tat.path, &tst, 0) == 0 && tst.st_dev == st.st_dev && tst.st_ino == st.st_ino) {
        fop_errinfo(r, "File Scan", "Can't copy file(s) into itself.");
        return -1;
    }
    // A link at the target's name, even a dangling one, is an entry of the
    // destination like any other: asked about, then replaced itself, never
    // written through.
    const bool exists = fstatat(tat.dirfd, tat.path, &lst, AT_SYMLINK_NOFOLLOW) == 0;
    const bool is_link = exists && S_ISLNK(lst.st_mode);
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
    if (!in.ok())
        in.reset(openat(sat.dirfd, sat.path, O_RDONLY | O_CLOEXEC));
    if (!in.ok())
        return ask_item(r, "Unable to open '%s'\n%s\n", src, errno);
    // A link at the name is replaced like a file, only by the complete copy,
    // so a skip or a failure half-way leaves it as it was. Where nothing can
    // be made beside it, it goes first: a file is never written through it.
    if (exists)
        swap.open(tgt, mode, out);
    if (!out.ok() && is_link)
        unlinkat(tat.dirfd, tat.path, 0);
    const int oflags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW;
    if (!out.ok())
        out.reset(openat(tat.dirfd, tat.path, oflags, mode));
    if (!out.ok() && errno == ENAMETOOLONG) {
        std::string new_name;
        if (!r.ui || !r.ui->filename_too_long(src, tgt, new_name))
            return 1;
        std::size_t slash = tgt.rfind('/');
        tgt = fop_path(slash == std::string::npos ? "." : tgt.substr(0, slash ? slash : 1), new_name);
        tat = {AT_FDCWD, tgt.c_str()};
        out.reset(open(tgt.c_str(), oflags, mode));
    }
    if (!out.ok())
        return ask_item(r, "Error writing '%s'\n%s\n", tgt, errno);
    return 0;
}

int copy_regular(FopRequest& r, const std::string& src, FopAt sat, std::string& tgt, FopAt tat,
                 const struct stat& st, FopGroupDirs* dirs, UniqueFd in)
{
    // in: the source, if already open.
    const mode_t mode = st.st_mode & 07777;
    if (!in.ok())
        in.reset(openat(sat.dirfd, sat.path, O_RDONLY | O_CLOEXEC));
    UniqueFd out;
    Replacement swap;
    // An exclusive create that succeeds shows the target was missing: then there
    // is no status to look up, no same-file check and no question to ask.
    if (in.ok())
        out.reset(openat(tat.dirfd, tat.path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    bool set_owner = !(out.ok() && dirs && tat.dirfd == dirs->dst && has_owner_already(*dirs, out.get(), st));
    if (!out.ok()) {
        if (int rc = open_target_checked(r, src, sat, tgt, tat, st, in, out, swap); rc != 0)
            return rc;
    }

    // What is left of a failed copy goes; an old target being replaced stays.
    auto drop = [&] {
        if (swap.active())
            swap.discard();
        else
            unlinkat(tat.dirfd, tat.path, 0);
    };
    int rc = copy_contents(r, in.get(), out.get(), st, src, tgt);
    if (rc != 0) {
        out.reset();
        drop();
        return rc;
    }
    rc = finish(r, tgt, st, out.get(), set_owner);
    if (swap.active() && (rc != 0 || swap.commit(out.get()) != 0)) {
        const int e = errno;
        out.reset();
        swap.discard();
        return rc != 0 ? rc : ask_item(r, "Error writing '%s'\n%s\n", tgt, e);
    }
    if (close(out.release()) != 0 && rc == 0) {
        const int e = errno;
        drop();
        return ask_item(r, "Error writing '%s'\n%s\n", tgt, e);
    }
    return rc;
}

// The source's status into st. What the scan saw as a regular file is opened
// first and its descriptor's status taken: the same status, one lookup of the
// name fewer. Whatever is there instead by now goes the general way;
// O_NOFOLLOW and O_NONBLOCK (of no effect on regular files) keep the open from
// following a link or waiting on a FIFO. 0, with in open or not, else 1 or -1.
int stat_source(FopRequest& r, const std::string& src, FopAt sat, bool named, unsigned char dtype,
                struct stat& st, UniqueFd& in)
{
    const bool follow = r.flags & FOPF_SYM_FILES;
    if (named && dtype == DT_REG) {
        in.reset(openat(sat.dirfd, sat.path,
                        O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK | (follow ? 0 : O_NOFOLLOW)));
        if (in.ok() && (fstat(in.get(), &st) != 0 || !S_ISREG(st.st_mode)))
            in.reset();
    }
    if (!in.ok() && fstatat(sat.dirfd, sat.path, &st, follow ? 0 : AT_SYMLINK_NOFOLLOW) != 0) {
        return ask_item(r, "Unable to stat '%s'\n%s\n", src, errno);
    }
    return 0;
}

// A FIFO made afresh at the target's name. old: the status of what is there,
// null when nothing is.
int copy_fifo(FopRequest& r, const std::string& tgt, const struct stat& st, const struct stat* old)
{
    if (old && !S_ISFIFO(old->st_mode))
        return ask_item(r, "The '%s' is not a FIFO\n", tgt);
    unlink(tgt.c_str());
    if (mkfifo(tgt.c_str(), st.st_mode & 07777) != 0)
        return ask_item(r, "Unable to make '%s' FIFO\n", tgt);
    return finish(r, tgt, st, -1);
}

// A directory is made, or one already there opened up, before its contents go
// in (named); its mode, times and owner follow in the final pass (!named).
int copy_dir(FopRequest& r, const std::string& src, const std::string& dest, const std::string& tgt,
             const struct stat& st, bool named, bool made_dest, const struct stat* old)
{
    if (named && (fop_inside(src, dest) || (old && old->st_dev == st.st_dev && old->st_ino == st.st_ino))) {
        fop_errinfo(r, "File Scan", "Can't copy file(s) into itself.");
        return -1;
    }
    if (!named) {
        // The final pass: a directory that was there before keeps its mode;
        // a new one gets the source's, after its owner, which would clear
        // set-ID bits.
        auto kept = r.kept_dirs.find(tgt);
        if (kept != r.kept_dirs.end()) {
            chmod(tgt.c_str(), kept->second);
            r.kept_dirs.erase(kept);
            return 0;
        }
        if (finish(r, tgt, st, -1) < 0)
            return -1;
        chmod(tgt.c_str(), st.st_mode & 07777);
        return 0;
    }
    if (old && S_ISDIR(old->st_mode)) {
        // Writable for the owner while its contents go in, and only when it is
        // not already; put back in the final pass or when the operation ends.
        if (!made_dest && !r.kept_dirs.count(tgt)) {
            r.kept_dirs.emplace(tgt, old->st_mode & 07777);
            if (access(tgt.c_str(), W_OK | X_OK) != 0)
                chmod(tgt.c_str(), (old->st_mode & 07777) | S_IRWXU);
        }
    } else if (old) {
        if (!named)
            return 0;
        return ask_item(r, "The '%s' is not a directory\n", tgt);
    } else if (mkdir(tgt.c_str(), 0777) != 0) {
        return ask_item(r, "Unable to make '%s' directory\n", tgt);
    }
    return finish(r, tgt, st, -1);
}

// A link made afresh with the source's text; the final pass leaves it be.
int copy_link(FopRequest& r, const std::string& src, const std::string& tgt, const struct stat& st, bool named)
{
    if (!named)
        return 0;
    std::string text(kLinkMax + 1, '\0');
    ssize_t n = readlink(src.c_str(), text.data(), kLinkMax);
    if (n < 0)
        return ask_item(r, "Unable to read link '%s'\n", src);
    text.resize(std::size_t(n));
    unlink(tgt.c_str());
    if (symlink(text.c_str(), tgt.c_str()) != 0) {
        std::string dt = fop_disp(r, tgt), dl = fop_disp(r, text);
        return fop_ask_continue(r, kCopyTitle, "Unable to create symbolic link '%s' to\n'%s'\n", dt.c_str(),
                                dl.c_str());
    }
    return finish(r, tgt, st, -1);
}
}  // namespace

int fop_copy_file(FopRequest& r, const std::string& dir, const std::string* name, const std::string& dest,
                  FopGroupDirs* dirs, unsigned char dtype)
{
    std::string src = name ? fop_path(dir, *name) : dir;
    FopAt sat = fop_at(src, name && dirs ? dirs->src : -1, dir);
    struct stat st;
    UniqueFd in;
    if (int rc = stat_source(r, src, sat, name != nullptr, dtype, st, in); rc != 0)
        return rc;
    std::string tgt = fop_path(dest, std::string_view(src).substr(std::min(r.prefix_len, src.size())));

    bool made_dest = false;
    if (r.flags & FOPF_MKDIR_DST) {
        made_dest = true;
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

    if (S_ISREG(st.st_mode))
        return copy_regular(r, src, sat, tgt, fop_at(tgt, name && dirs ? dirs->dst : -1, dirs ? dirs->dst_path : ""),
                            st, dirs, std::move(in));
    struct stat tst;
    // Not followed: a link at the target's name is not the directory or FIFO it
    // may point to.
    const struct stat* old = lstat(tgt.c_str(), &tst) == 0 ? &tst : nullptr;

    if (S_ISFIFO(st.st_mode))
        return copy_fifo(r, tgt, st, old);
    if (S_ISDIR(st.st_mode))
        return copy_dir(r, src, dest, tgt, st, name != nullptr, made_dest, old);
    if (S_ISLNK(st.st_mode))
        return copy_link(r, src, tgt, st, name != nullptr);
    return 0;
}
