#include "trash.h"
#include "dirmodel/es_path.h"
#include "shell/kit/io_util.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <pwd.h>
#include <sstream>
#include <stdio.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {
constexpr const char* kInfoSuffix = ".trashinfo";
constexpr std::size_t kNameMax = 255;

// A directory of ours: made with mode when missing; an existing one must be a
// real directory, not a link someone planted.
bool own_dir(const std::string& path, mode_t mode)
{
    if (mkdir(path.c_str(), mode) == 0)
        return true;
    if (errno != EEXIST)
        return false;
    struct stat st;
    if (lstat(path.c_str(), &st) != 0)
        return false;
    if (!S_ISDIR(st.st_mode)) {
        errno = ENOTDIR;
        return false;
    }
    return true;
}

// A Trash at a top that others may write to is ours only as a real directory
// owned by us: another user's directory would let them read what we trash, a
// link would send it elsewhere.
bool is_own_dir(const std::string& path)
{
    struct stat st;
    if (lstat(path.c_str(), &st) != 0)
        return false;
    if (!S_ISDIR(st.st_mode) || st.st_uid != getuid()) {
        errno = S_ISDIR(st.st_mode) ? EPERM : ENOTDIR;
        return false;
    }
    return true;
}

// Such a directory, made when missing.
bool own_top_dir(const std::string& path)
{
    return (mkdir(path.c_str(), 0700) == 0 || errno == EEXIST) && is_own_dir(path);
}

// An absolute path with no empty, "." or ".." name in it: a path read from a
// Trash of a shared disk must not climb out of the place it claims.
bool plain_path(const std::string& path)
{
    if (path.size() < 2 || path[0] != '/')
        return false;
    for (std::size_t at = 1; at <= path.size();) {
        const std::size_t end = std::min(path.find('/', at), path.size());
        const std::string_view name(path.data() + at, end - at);
        if (name.empty() || name == "." || name == "..")
            return false;
        at = end + 1;
    }
    return true;
}

bool make_parents(const std::string& path, mode_t mode)
{
    struct stat st;
    if (stat(path.c_str(), &st) == 0)
        return S_ISDIR(st.st_mode) || (errno = ENOTDIR, false);
    const std::string up = es_dir_of(path);
    if (up != path && !make_parents(up, mode))
        return false;
    return mkdir(path.c_str(), mode) == 0 || errno == EEXIST;
}

// A Trash directory with its two halves, on device dev.
bool ready_trash(const std::string& dir, dev_t dev)
{
    if (!own_dir(dir, 0700) || !own_dir(dir + "/files", 0700) || !own_dir(dir + "/info", 0700))
        return false;
    struct stat st;
    if (stat((dir + "/files").c_str(), &st) != 0)
        return false;
    if (st.st_dev != dev) {
        errno = EXDEV;
        return false;
    }
    return true;
}

// The device of path, or of its nearest existing ancestor.
bool device_of_nearest(std::string path, dev_t& dev)
{
    struct stat st;
    while (stat(path.c_str(), &st) != 0) {
        const std::string up = es_dir_of(path);
        if (up == path)
            return false;
        path = up;
    }
    dev = st.st_dev;
    return true;
}

// The top directory of the mount holding the real directory dir.
std::string mount_top(const std::string& dir, dev_t dev)
{
    std::string top = dir;
    while (top != "/") {
        const std::string up = es_dir_of(top);
        struct stat st;
        if (stat(up.c_str(), &st) != 0 || st.st_dev != dev)
            break;
        top = up;
    }
    return top;
}

std::string data_home()
{
    if (const char* x = std::getenv("XDG_DATA_HOME"); x && x[0] == '/')
        return x;
    const char* home = std::getenv("HOME");
    std::string h = home && *home ? home : "";
    if (h.empty())
        if (const passwd* pw = getpwuid(getuid()))
            h = pw->pw_dir ? pw->pw_dir : "";
    return (h.empty() ? std::string("/") : h) + "/.local/share";
}

// Where the Trash of a top directory lies, both forms; the first when its
// administrator made a shared, sticky .Trash.
std::string top_trash(const std::string& top, bool shared)
{
    const std::string uid = std::to_string(getuid());
    return shared ? es_join(top, ".Trash") + "/" + uid : es_join(top, ".Trash-" + uid);
}

bool shared_trash_usable(const std::string& top)
{
    struct stat st;
    return lstat(es_join(top, ".Trash").c_str(), &st) == 0 && S_ISDIR(st.st_mode) && (st.st_mode & S_ISVTX);
}

// The top directory a top-directory Trash belongs to; empty for the home Trash.
std::string top_of_trash(const std::string& trash_dir)
{
    const std::string uid = std::to_string(getuid());
    const std::string base = es_name_of(trash_dir);
    if (base == ".Trash-" + uid)
        return es_dir_of(trash_dir);
    if (base == uid && es_name_of(es_dir_of(trash_dir)) == ".Trash")
        return es_dir_of(es_dir_of(trash_dir));
    return {};
}

std::string escape_path(const std::string& path)
{
    static const char* hex = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : path) {
        if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || std::strchr("/-._~", c)) {
            out += char(c);
        } else {
            out += '%';
            out += hex[c >> 4];
            out += hex[c & 15];
        }
    }
    return out;
}

bool unescape_path(const std::string& in, std::string& out)
{
    out.clear();
    for (std::size_t i = 0; i < in.size(); i++) {
        if (in[i] != '%') {
            out += in[i];
            continue;
        }
        if (i + 2 >= in.size() || !std::isxdigit(static_cast<unsigned char>(in[i + 1])) ||
            !std::isxdigit(static_cast<unsigned char>(in[i + 2])))
            return false;
        out += char(std::stoi(in.substr(i + 1, 2), nullptr, 16));
        i += 2;
    }
    return !out.empty() && out.find('\0') == std::string::npos;
}

// The name an item gets in files/: its own, or with ".2", ".3" … before the
// extension when taken; cut short so that the info file's name still fits.
std::string trash_name(const std::string& base, int n)
{
    std::string stem = base, ext;
    if (const auto dot = base.find_last_of('.'); dot != std::string::npos && dot > 0) {
        stem = base.substr(0, dot);
        ext = base.substr(dot);
    }
    const std::string number = n > 1 ? "." + std::to_string(n) : "";
    const std::size_t room = kNameMax - std::strlen(kInfoSuffix);
    if (ext.size() + number.size() > room / 2)
        ext.clear(), stem = base;
    if (stem.size() + number.size() + ext.size() > room)
        stem.resize(room - number.size() - ext.size());
    return stem + number + ext;
}

TrashPut trash_put_into(const std::string& path, const struct stat& st, const std::string& dir, time_t now);

// An info file is a few lines; a larger one is no info file.
std::string read_small(const std::string& path)
{
    UniqueFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::string text(65536, '\0');
    const ssize_t n = fd.ok() ? read_full(fd.get(), text.data(), text.size()) : -1;
    text.resize(n > 0 ? std::size_t(n) : 0);
    return text;
}
}  // namespace

std::string TrashEntry::files_path() const
{
    return trash_dir + "/files/" + name;
}

std::string TrashEntry::info_path() const
{
    return trash_dir + "/info/" + name + kInfoSuffix;
}

std::string trash_home()
{
    return data_home() + "/Trash";
}

std::string trash_dir_for(const std::string& path)
{
    struct stat st;
    if (lstat(path.c_str(), &st) != 0)
        return {};
    const std::string home = trash_home();
    dev_t home_dev;
    if (device_of_nearest(home, home_dev) && home_dev == st.st_dev) {
        if (make_parents(es_dir_of(home), 0700) && ready_trash(home, st.st_dev))
            return home;
        return {};
    }
    // The item's own directory, with links resolved, leads to its mount's top.
    char real[PATH_MAX];
    if (!realpath(es_dir_of(path).c_str(), real))
        return {};
    const std::string top = mount_top(real, st.st_dev);
    if (shared_trash_usable(top)) {
        const std::string dir = top_trash(top, true);
        if (own_top_dir(dir) && ready_trash(dir, st.st_dev))
            return dir;
    }
    const std::string dir = top_trash(top, false);
    if (own_top_dir(dir) && ready_trash(dir, st.st_dev))
        return dir;
    if (errno == 0)
        errno = EPERM;
    return {};
}

TrashPut trash_put(const std::string& path, time_t now, TrashCache* cache)
{
    TrashPut out;
    struct stat st;
    if (lstat(path.c_str(), &st) != 0) {
        out.error_kind = TrashError::Failed;
        out.error = errno;
        return out;
    }
    if (cache && cache->dev == st.st_dev && !cache->dir.empty()) {
        out = trash_put_into(path, st, cache->dir, now);
        // A Trash emptied by another program may have lost its directories.
        if (out.error_kind != TrashError::NoTrash)
            return out;
        out = TrashPut{};
    }
    errno = 0;
    const std::string dir = trash_dir_for(path);
    if (cache && !dir.empty())
        *cache = {st.st_dev, dir};
    if (dir.empty()) {
        out.error_kind = TrashError::NoTrash;
        out.error = errno ? errno : ENOENT;
        return out;
    }
    return trash_put_into(path, st, dir, now);
}

namespace {
TrashPut trash_put_into(const std::string& path, const struct stat& st, const std::string& dir, time_t now)
{
    TrashPut out;
    // What is in a Trash already is deleted from there, not trashed again.
    if (path == dir || path.compare(0, dir.size() + 1, dir + "/") == 0) {
        out.error_kind = TrashError::InTrash;
        out.error = EINVAL;
        return out;
    }
    const std::string info_text = trash_info_text(path, dir, now);
    const std::string base = es_name_of(path);
    for (int n = 1; n < 100000; n++) {
        TrashEntry e;
        e.trash_dir = dir;
        e.name = trash_name(base, n);
        struct stat taken;
        if (lstat(e.files_path().c_str(), &taken) == 0)
            continue;
        const int fd = open(e.info_path().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd < 0) {
            if (errno == EEXIST)
                continue;
            out.error_kind = TrashError::NoTrash;
            out.error = errno;
            return out;
        }
        const bool written = write_full(fd, info_text.data(), info_text.size());
        const int write_errno = errno;
        if (close(fd) != 0 || !written) {
            unlink(e.info_path().c_str());
            out.error_kind = TrashError::NoTrash;
            out.error = written ? EIO : write_errno;
            return out;
        }
        if (rename(path.c_str(), e.files_path().c_str()) != 0) {
            const int err = errno;
            unlink(e.info_path().c_str());
            out.error_kind = err == EXDEV ? TrashError::NoTrash : TrashError::Failed;
            out.error = err;
            return out;
        }
        e.original = path;
        trash_parse_info(info_text, dir, e.original, e.deleted);
        e.is_dir = S_ISDIR(st.st_mode);
        e.size = st.st_size;
        out.entry = std::move(e);
        out.dev = st.st_dev;
        out.ino = st.st_ino;
        return out;
    }
    out.error_kind = TrashError::Failed;
    out.error = EEXIST;
    return out;
}
}  // namespace

std::string trash_info_text(const std::string& original, const std::string& trash_dir, time_t when)
{
    std::string shown = original;
    const std::string top = top_of_trash(trash_dir);
    if (!top.empty() && top != "/" && original.compare(0, top.size() + 1, top + "/") == 0)
        shown = original.substr(top.size() + 1);
    else if (top == "/" && original.size() > 1)
        shown = original.substr(1);
    char date[32] = "";
    tm t{};
    if (localtime_r(&when, &t))
        std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &t);
    return "[Trash Info]\nPath=" + escape_path(shown) + "\nDeletionDate=" + date + "\n";
}

bool trash_parse_info(const std::string& text, const std::string& trash_dir, std::string& original,
                      std::string& deleted)
{
    std::istringstream in(text);
    std::string line, path;
    bool in_group = false, have_path = false;
    deleted.clear();
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (!line.empty() && line[0] == '[') {
            in_group = line == "[Trash Info]";
            continue;
        }
        if (!in_group)
            continue;
        if (line.rfind("Path=", 0) == 0)
            have_path = unescape_path(line.substr(5), path);
        else if (line.rfind("DeletionDate=", 0) == 0)
            deleted = line.substr(13);
    }
    if (!have_path)
        return false;
    if (path[0] != '/') {
        const std::string top = top_of_trash(trash_dir);
        if (top.empty())
            return false;  // the home Trash keeps whole paths only
        path = es_join(top, path);
    }
    original = path;
    return true;
}

std::vector<std::string> trash_mount_tops()
{
    // Pseudo file systems never hold a Trash and some are slow to look at.
    static const char* const kSkip[] = {"proc", "sysfs", "devpts", "cgroup", "cgroup2", "mqueue", "debugfs",
                                        "tracefs", "securityfs", "pstore", "bpf", "autofs", "fusectl",
                                        "configfs", "hugetlbfs", "binfmt_misc", "nsfs", "devtmpfs"};
    std::vector<std::string> out;
    std::ifstream mounts("/proc/self/mounts");
    std::string line;
    while (std::getline(mounts, line)) {
        std::istringstream fields(line);
        std::string source, target, type;
        if (!(fields >> source >> target >> type))
            continue;
        if (std::any_of(std::begin(kSkip), std::end(kSkip), [&](const char* s) { return type == s; }))
            continue;
        // Blanks and the like are written as octal escapes ("\040").
        std::string top;
        for (std::size_t i = 0; i < target.size(); i++) {
            if (target[i] == '\\' && i + 3 < target.size()) {
                top += char(std::strtol(target.substr(i + 1, 3).c_str(), nullptr, 8));
                i += 3;
            } else {
                top += target[i];
            }
        }
        if (std::find(out.begin(), out.end(), top) == out.end())
            out.push_back(top);
    }
    return out;
}

std::vector<std::string> trash_dirs_at(const std::string& top)
{
    std::vector<std::string> out;
    for (const bool shared : {true, false}) {
        if (shared && !shared_trash_usable(top))
            continue;
        const std::string dir = top_trash(top, shared);
        struct stat st;
        if (is_own_dir(dir) && lstat((dir + "/info").c_str(), &st) == 0 && S_ISDIR(st.st_mode))
            out.push_back(dir);
    }
    return out;
}

std::vector<TrashEntry> trash_list(const std::string& trash_dir)
{
    std::vector<TrashEntry> out;
    DIR* d = opendir((trash_dir + "/info").c_str());
    if (!d)
        return out;
    const std::size_t suffix = std::strlen(kInfoSuffix);
    while (const dirent* de = readdir(d)) {
        const std::string file = de->d_name;
        if (file.size() <= suffix || file.compare(file.size() - suffix, suffix, kInfoSuffix) != 0)
            continue;
        TrashEntry e;
        e.trash_dir = trash_dir;
        e.name = file.substr(0, file.size() - suffix);
        struct stat st;
        if (lstat(e.files_path().c_str(), &st) != 0)
            continue;
        if (!trash_parse_info(read_small(e.info_path()), trash_dir, e.original, e.deleted))
            continue;
        if (!plain_path(e.original))
            e.refused = "The path it was trashed from has a '..', '.' or empty name in it";
        e.is_dir = S_ISDIR(st.st_mode);
        e.size = st.st_size;
        out.push_back(std::move(e));
    }
    closedir(d);
    return out;
}

int trash_restore(const TrashEntry& e, const std::string& to)
{
    struct stat st;
    if (!plain_path(to)) {
        errno = EINVAL;
        return -1;
    }
    if (lstat(to.c_str(), &st) == 0) {
        errno = EEXIST;
        return -1;
    }
    if (!make_parents(es_dir_of(to), 0777))
        return -1;
    // Never over something that appeared since the look above.
    if (renameat2(AT_FDCWD, e.files_path().c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) != 0) {
        if (errno != EINVAL && errno != ENOSYS)
            return -1;
        if (lstat(to.c_str(), &st) == 0) {
            errno = EEXIST;
            return -1;
        }
        if (rename(e.files_path().c_str(), to.c_str()) != 0)
            return -1;
    }
    unlink(e.info_path().c_str());
    return 0;
}

std::string trash_free_name(const std::string& to)
{
    const std::string dir = es_dir_of(to), base = es_name_of(to);
    std::string stem = base, ext;
    if (const auto dot = base.find_last_of('.'); dot != std::string::npos && dot > 0) {
        stem = base.substr(0, dot);
        ext = base.substr(dot);
    }
    struct stat st;
    for (int n = 2;; n++) {
        const std::string candidate = es_join(dir, stem + " (" + std::to_string(n) + ")" + ext);
        if (lstat(candidate.c_str(), &st) != 0 && errno == ENOENT)
            return candidate;
        if (n > 100000)
            return {};
    }
}

bool trash_on_other_fs(const TrashEntry& e, const std::string& to)
{
    struct stat st;
    dev_t dev;
    return lstat(e.files_path().c_str(), &st) != 0 || !device_of_nearest(es_dir_of(to), dev) ||
           dev != st.st_dev;
}

void trash_forget(const TrashEntry& e)
{
    unlink(e.info_path().c_str());
}
