// Path completion from the disk for the path box, and its double-Escape trigger.
#include "filelist/fl_complete.h"

#include <algorithm>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>

namespace {

struct DirCloser {
    void operator()(DIR* d) const { closedir(d); }
};

constexpr time_t kEscapePairSeconds = 2;

}  // namespace

std::optional<std::string> find_matching_dir(std::string_view path)
{
    if (path.empty() || path.front() != '/')
        return std::nullopt;
    const std::size_t slash = path.rfind('/');
    const std::string typed_dir(path.substr(0, slash));  // "" when the slash leads
    const std::string_view prefix = path.substr(slash + 1);

    std::unique_ptr<DIR, DirCloser> d(opendir(typed_dir.empty() ? "/" : typed_dir.c_str()));
    if (!d)
        return std::nullopt;

    std::string candidate;
    int matched = 0;
    while (const dirent* e = readdir(d.get())) {
        std::string_view name(e->d_name);
        if (name == "." || name == ".." || !name.starts_with(prefix))
            continue;
        // Links to directories count: the status followed.
        struct stat st;
        if (fstatat(dirfd(d.get()), e->d_name, &st, 0) != 0 || !S_ISDIR(st.st_mode))
            continue;
        if (matched++ == 0) {
            candidate = name;
            continue;
        }
        auto common = std::mismatch(candidate.begin(), candidate.end(), name.begin(), name.end());
        candidate.erase(common.first, candidate.end());
    }
    if (matched == 0)
        return std::nullopt;
    std::string out = typed_dir + "/" + candidate;
    if (matched == 1)
        out += '/';
    return out;
}

bool EscCounter::press()
{
    const time_t now = now_();
    // A late press forgets the stale one and begins a new pair.
    if (count_ > 0 && now - last_ > kEscapePairSeconds)
        count_ = 0;
    last_ = now;
    if (++count_ < 2)
        return false;
    count_ = 0;
    return true;
}
