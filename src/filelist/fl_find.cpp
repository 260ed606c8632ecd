// Finding records, the selection counts, the navigation histories and the target of
// "up": the parts of the file list that need no widget.
#include "filelist/fl_find.h"

#include <cstring>
#include <new>
#include <optional>
#include <sys/stat.h>

#include "dirmodel/es_path.h"

namespace {

bool is_dir(const FileRecord& r) { return S_ISDIR(r.status.st_mode); }

bool in_range(const DirListing& l, int i) { return i >= 0 && i < l.count; }

}  // namespace

int x_find(const DirListing& l, const char* name, int /*start*/, int flags,
           const std::function<void(int)>& action)
{
    if (!name || !*name)
        return -2;
    if (std::strcmp(name, "..") == 0)
        return -1;
    const std::size_t n = std::strlen(name);
    const int step = (flags & FIND_BACKWARD) ? -1 : 1;
    int last = -2;
    // The pattern taken apart once, not once a record: at 100,000 records that was
    // 20 ms for a name that is not there.
    std::optional<EsPattern> pattern;
    try {
        pattern.emplace(std::string_view(name, n));
    } catch (const std::bad_alloc&) {
        // No room for the pattern's parts: it matches nothing, as es_strcmp says.
    }
    auto matches = [&pattern](const RecName& record) {
        try {
            return pattern && pattern->match(record.view());
        } catch (const std::bad_alloc&) {
            return false;
        }
    };
    for (int i = 0; in_range(l, i); i += step) {
        const FileRecord& r = l[i];
        if ((flags & FIND_NO_DIRS) && is_dir(r))
            continue;
        bool hit = ((flags & FIND_EXACT) && r.name == name) ||
                   ((flags & FIND_PREFIX) && r.name.starts_with(std::string_view(name, n))) ||
                   matches(r.name);
        if (!hit)
            continue;
        if (!action)
            return i;
        action(i);
        last = i;
    }
    return last;
}

int fl_select_index(DirListing& l, int index)
{
    if (!in_range(l, index))
        return index;
    FileRecord& r = l[index];
    if (r.flags & DIR_F_SELECTED)
        return index;
    r.flags |= DIR_F_SELECTED;
    ++l.selected;
    if (is_dir(r))
        ++l.selected_dirs;
    return index;
}

void fl_unselect_index(DirListing& l, int index)
{
    if (!in_range(l, index))
        return;
    FileRecord& r = l[index];
    if (!(r.flags & DIR_F_SELECTED))
        return;
    r.flags &= ~DIR_F_SELECTED;
    --l.selected;
    if (is_dir(r))
        --l.selected_dirs;
}

void fl_invert_index(DirListing& l, int index)
{
    if (!in_range(l, index))
        return;
    if (l[index].flags & DIR_F_SELECTED)
        fl_unselect_index(l, index);
    else
        fl_select_index(l, index);
}

void fl_invert_all(DirListing& l)
{
    for (int i = 0; i < l.count; ++i)
        fl_invert_index(l, i);
}

void fl_select_all(DirListing& l)
{
    for (int i = 0; i < l.count; ++i)
        l[i].flags |= DIR_F_SELECTED;
    l.selected = l.count;
    l.selected_dirs = l.dirs;
}

void fl_unselect_all(DirListing& l)
{
    for (int i = 0; i < l.count; ++i)
        l[i].flags &= ~DIR_F_SELECTED;
    l.selected = 0;
    l.selected_dirs = 0;
}

int fl_select(DirListing& l, const char* name, int flags)
{
    return x_find(l, name, 0, flags, [&l](int i) { fl_select_index(l, i); });
}

int fl_unselect(DirListing& l, const char* name, int flags)
{
    return x_find(l, name, 0, flags, [&l](int i) { fl_unselect_index(l, i); });
}

void NavHistory::push(std::string_view path)
{
    if (path.empty() || (!nodes_.empty() && nodes_.front() == path))
        return;
    if (count() < NAV_HISTORY_MAX) {
        nodes_.emplace_front(path);
        return;
    }
    // Full: the oldest node becomes the new top.
    nodes_.splice(nodes_.begin(), nodes_, std::prev(nodes_.end()));
    if (nodes_.front() != path)
        nodes_.front().assign(path);
}

std::optional<std::string> NavHistory::pop()
{
    if (nodes_.empty())
        return std::nullopt;
    std::string top = std::move(nodes_.front());
    nodes_.pop_front();
    return top;
}

void fl_history_entered(NavHistory& back, NavHistory& forward, std::string_view previous)
{
    forward.clear();
    back.push(previous);
}

std::optional<std::string> fl_back_target(NavHistory& back, NavHistory& forward,
                                          std::string_view current)
{
    if (back.empty())
        return std::nullopt;
    forward.push(current);
    return back.pop();
}

std::optional<std::string> fl_forward_target(NavHistory& back, NavHistory& forward,
                                             std::string_view current)
{
    back.push(current);
    return forward.pop();
}

std::optional<UpTarget> fl_up_target(std::string_view path)
{
    if (path.size() <= 1)
        return std::nullopt;
    std::string p(path);
    while (p.size() >= 2 && p.back() == '/')
        p.pop_back();
    std::size_t k = p.rfind('/');
    if (k != std::string::npos && k > 0)
        return UpTarget{p.substr(0, k), p.substr(k + 1)};
    return UpTarget{"/", p.substr(1)};
}

std::string fl_name_toward(std::string_view dir, std::string_view inner)
{
    while (dir.size() > 1 && dir.back() == '/')
        dir.remove_suffix(1);
    if (dir.empty() || inner.size() <= dir.size() || inner.substr(0, dir.size()) != dir)
        return {};
    std::string_view rest = inner.substr(dir.size());
    if (dir != "/") {
        if (rest.front() != '/')
            return {};
        rest.remove_prefix(1);
    }
    while (!rest.empty() && rest.front() == '/')
        rest.remove_prefix(1);
    return std::string(rest.substr(0, rest.find('/')));
}

std::vector<std::string> fl_reselect_names(const DirListing& l)
{
    std::vector<std::string> names;
    int first = 0;
    while (first < l.count && !(l[first].flags & DIR_F_SELECTED))
        ++first;
    if (first == l.count)
        return names;
    names.emplace_back(l[first].name);
    for (int i = first + 1; i < l.count; ++i)
        if (!(l[i].flags & DIR_F_SELECTED)) {
            names.emplace_back(l[i].name);
            break;
        }
    for (int i = first - 1; i >= 0; --i)
        if (!(l[i].flags & DIR_F_SELECTED)) {
            names.emplace_back(l[i].name);
            break;
        }
    return names;
}
