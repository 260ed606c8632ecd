// The destination check and the breadth-first scan that turns the selection
// into the full source list. Worker thread.
#include "fop_engine.h"
#include "fop_info.h"

#include "shell/kit/io_util.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <new>
#include <string_view>
#include <sys/stat.h>

namespace {
struct DirCloser {
    DIR* d;
    ~DirCloser()
    {
        if (d)
            closedir(d);
    }
};

bool wanted_type(mode_t m)
{
    return S_ISFIFO(m) || S_ISREG(m) || S_ISLNK(m) || S_ISDIR(m);
}

mode_t mode_of_dtype(unsigned char t)
{
    switch (t) {
    case DT_FIFO: return S_IFIFO;
    case DT_REG: return S_IFREG;
    case DT_LNK: return S_IFLNK;
    case DT_DIR: return S_IFDIR;
    case DT_CHR: return S_IFCHR;
    case DT_BLK: return S_IFBLK;
    case DT_SOCK: return S_IFSOCK;
    default: return 0;
    }
}

const char* kind_word(const FopRequest& r)
{
    return r.kind == FOP_MOVE ? "move" : "copy";
}

// 0 go on with the item, 1 leave it out, -1 abort.
int ask_stat_failed(FopRequest& r, const std::string& path)
{
    int e = errno;
    return fop_ask_continue(r, "File Scan", "Unable to stat '%s'\n%s\n", fop_disp(r, path).c_str(), strerror(e));
}

// The group's directory, for status calls relative to it. Opened at the first
// status call: a delete may need none.
class GroupDir {
public:
    GroupDir(FopRequest& r, std::size_t g) : r_(r), g_(g) {}
    // The group is looked up each time: the scan appends groups as it goes.
    FopAt at(const std::string& path)
    {
        if (!tried_) {
            fd_.reset(fop_open_dir(r_.groups[g_].dir));
            tried_ = true;
        }
        return fop_at(path, fd_.get(), r_.groups[g_].dir);
    }

private:
    FopRequest& r_;
    std::size_t g_;
    UniqueFd fd_;
    bool tried_ = false;
};

// Asked at the first link met when no answer is in the flags yet: whether links
// are taken as the files they point to or as links. False on "Abort".
bool ask_links(FopRequest& r)
{
    const char* title = r.kind == FOP_MOVE ? "Move" : "Copy";
    int a = fop_alert(r, title, "&Files|@&Links|#&Abort",
                      "Symbolic links detected in the file list\nWhat do you want to %s ?", kind_word(r));
    if (a == 1)
        r.flags |= FOPF_SYM_FILES;
    else if (a == 2)
        r.flags |= FOPF_SYM_LINKS;
    else
        return false;
    return true;
}

// The status of item i of group g into st, of what a link points to when links
// are taken as files. 0 go on with the item, 1 leave it out, -1 abort.
int item_status(FopRequest& r, std::size_t g, std::size_t i, const std::string& path, GroupDir& dir,
                struct stat& st)
{
    // A delete needs only the type, which the directory read already gave.
    unsigned char dtype = i < r.groups[g].types.size() ? r.groups[g].types[i] : (unsigned char)DT_UNKNOWN;
    if (r.kind == FOP_DELETE && dtype != DT_UNKNOWN) {
        st = {};
        st.st_mode = mode_of_dtype(dtype);
    } else if (FopAt a = dir.at(path); fstatat(a.dirfd, a.path, &st, AT_SYMLINK_NOFOLLOW) != 0) {
        return ask_stat_failed(r, path) < 0 ? -1 : 1;
    }

    if (r.kind != FOP_DELETE && S_ISLNK(st.st_mode)) {
        if (!(r.flags & (FOPF_SYM_FILES | FOPF_SYM_LINKS)) && !ask_links(r))
            return -1;
        FopAt a = dir.at(path);
        if ((r.flags & FOPF_SYM_FILES) && fstatat(a.dirfd, a.path, &st, 0) != 0)
            return ask_stat_failed(r, path) < 0 ? -1 : 1;
    }
    return 0;
}

// Reads a directory met in the scan into a group of its own, appended to the
// request's groups. -1 to abort, else 0.
int list_dir(FopRequest& r, const std::string& path)
{
    FopGroup sub;
    sub.dir = path;
    DirCloser dir{opendir(path.c_str())};
    if (!dir.d) {
        int e = errno;
        if (fop_ask_continue(r, "Dir Reading", "Unable to open '%s' directory\n%s\n", fop_disp(r, path).c_str(),
                             strerror(e)) < 0)
            return -1;
        return 0;
    }
    for (;;) {
        if (fop_pause_trap(r) || r.cancel.load())
            return -1;
        errno = 0;
        dirent* de = readdir(dir.d);
        if (!de) {
            if (errno == 0)
                break;
            int e = errno;
            if (fop_ask_continue(r, "Dir Reading", "Unable to read '%s' directory\n%s\n",
                                 fop_disp(r, path).c_str(), strerror(e)) < 0)
                return -1;
            break;
        }
        const char* n = de->d_name;
        if (n[0] == '.' && (n[1] == 0 || (n[1] == '.' && n[2] == 0)))
            continue;
        sub.names.emplace_back(n);
        sub.types.push_back(de->d_type);
        r.total_files++;
        // Throttled like the copy loop's refreshes: a forced refresh per entry
        // would post one panel update for every file of a large tree.
        fop_update_info(r, "Scanning", kFopKeep, kFopKeep, kFopKeep, kFopKeep, r.display.percent, kFopTimeKeep);
    }
    r.groups.push_back(std::move(sub));
    return 0;
}

int scan_group(FopRequest& r, std::size_t g)
{
    std::string path;
    struct stat st;
    GroupDir dir(r, g);
    for (std::size_t i = 0; i < r.groups[g].names.size(); i++) {
        if (r.groups[g].names[i].empty())
            continue;
        if (fop_pause_trap(r) || r.cancel.load())
            return -1;
        _build_path(path, r.groups[g].dir, r.groups[g].names[i]);

        const int rc = item_status(r, g, i, path, dir, st);
        if (rc < 0)
            return -1;
        if (rc > 0 || !wanted_type(st.st_mode)) {
            r.groups[g].names[i].clear();
            continue;
        }
        r.total_bytes += st.st_size;
        if (!S_ISDIR(st.st_mode))
            continue;

        if (list_dir(r, path) < 0)
            return -1;
    }
    return 0;
}
}  // namespace

std::string& _build_path(std::string& out, std::string_view dir, std::string_view name)
{
    if (dir == "/")
        out.clear();
    else
        out.assign(dir);
    bool name_slash = !name.empty() && name.front() == '/';
    if (!out.empty() && out.back() == '/' && name_slash)
        out.pop_back();
    if (!(!out.empty() && out.back() == '/') && !name_slash)
        out += '/';
    out.append(name);
    if (out.size() > 1 && out.back() == '/')
        out.pop_back();
    return out;
}

std::string fop_path(std::string_view dir, std::string_view name)
{
    std::string out;
    return _build_path(out, dir, name);
}

FopAt fop_at(const std::string& path, int dirfd, std::string_view dir_path)
{
    std::size_t d = dir_path.size();
    if (dirfd >= 0 && path.size() < PATH_MAX && path.size() > d + 1 && path[d] == '/' &&
        std::string_view(path).substr(0, d) == dir_path && path.find('/', d + 1) == std::string::npos)
        return {dirfd, path.c_str() + d + 1};
    return {AT_FDCWD, path.c_str()};
}

int fop_open_dir(const std::string& path)
{
    if (path.size() >= PATH_MAX)
        return -1;
    return open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
}

std::string fop_dest_path(const FopRequest& r, const std::string& src)
{
    std::string_view rest = std::string_view(src).substr(std::min(r.prefix_len, src.size()));
    return fop_path(r.destination, rest);
}

bool fop_inside(const std::string& src, const std::string& dest)
{
    std::unique_ptr<char, decltype(&free)> cs(realpath(src.c_str(), nullptr), &free);
    if (!cs)
        return false;
    // The part of dest that does not exist yet is taken as written, after its
    // deepest existing ancestor resolved.
    std::string head = dest, tail;
    std::unique_ptr<char, decltype(&free)> cd(nullptr, &free);
    while (!(cd.reset(realpath(head.empty() ? "/" : head.c_str(), nullptr)), cd)) {
        const std::size_t slash = head.find_last_of('/');
        if (slash == std::string::npos)
            return false;
        tail = head.substr(slash) + tail;
        head.resize(slash);
    }
    std::string d = cd.get();
    d += d == "/" && !tail.empty() ? tail.substr(1) : tail;
    std::string_view s = cs.get();
    return s == "/" || d == s || (d.size() > s.size() && d.compare(0, s.size(), s) == 0 && d[s.size()] == '/');
}

void fop_restore_kept_dirs(FopRequest& r)
{
    for (const auto& [path, mode] : r.kept_dirs)
        chmod(path.c_str(), mode);
    r.kept_dirs.clear();
}

int fop_check_dst(FopRequest& r)
{
    if (r.kind == FOP_DELETE)
        return 0;
    // Refused before anything is made: a directory into itself.
    for (const std::string& name : r.groups.empty() ? std::vector<std::string>{} : r.groups[0].names) {
        struct stat st;
        const std::string src = fop_path(r.groups[0].dir, name);
        if (!name.empty() && lstat(src.c_str(), &st) == 0 && S_ISDIR(st.st_mode) &&
            fop_inside(src, r.destination)) {
            fop_errinfo(r, "File Scan",
                        r.kind == FOP_MOVE ? "Can't move file(s) into itself." : "Can't copy file(s) into itself.");
            return -1;
        }
    }
    struct stat dst;
    bool exists = stat(r.destination.c_str(), &dst) == 0;
    if (r.groups.size() == 1 && r.groups[0].names.size() == 1) {
        std::string src = fop_path(r.groups[0].dir, r.groups[0].names[0]);
        struct stat st;
        if (lstat(src.c_str(), &st) != 0) {
            fop_errinfo(r, "File Scan", "Unable to get stats for '%s'", fop_disp(r, src).c_str());
            return -1;
        }
        if (exists && S_ISDIR(dst.st_mode))
            return 0;
        if (exists && (dst.st_mode & S_IFMT) != (st.st_mode & S_IFMT)) {
            fop_errinfo(r, "File Scan", "Source and destination file types mismatch.");
            return -1;
        }
        if (!exists && S_ISDIR(st.st_mode))
            r.flags |= FOPF_MKDIR_DST;
        r.prefix_len = src.size();
        return 0;
    }
    if (exists && !S_ISDIR(dst.st_mode)) {
        fop_errinfo(r, "File Scan", "Can't copy/move multiple files into \n'%s'\n",
                    fop_disp(r, r.destination).c_str());
        return -1;
    }
    if (!exists) {
        if (fop_alert(r, "Make Directory", "&Yes|&Abort",
                      "The '%s' directory doesn't exist\nDo you want to create this directory ?",
                      fop_disp(r, r.destination).c_str()) == 2)
            return -1;
        if (mkdir(r.destination.c_str(), 0777) != 0) {
            fop_errinfo(r, "Make Directory", "Unable to create '%s' directory\n",
                        fop_disp(r, r.destination).c_str());
            return -1;
        }
    }
    return 0;
}

int fop_build_filelist(FopRequest& r)
{
    try {
        // Groups appended while scanning are visited too: breadth-first.
        for (std::size_t g = 0; g < r.groups.size(); g++)
            if (scan_group(r, g) < 0)
                return -1;
    } catch (const std::bad_alloc&) {
        fop_ENOMEM(r);
        return -1;
    }
    return 0;
}
