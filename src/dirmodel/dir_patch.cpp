#include "dirmodel/dir_patch.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <string_view>
#include <unistd.h>
#include <unordered_map>
#include <unordered_set>

#include "dirmodel/dir_entry.h"
#include "dirmodel/dir_sort.h"

namespace {

bool before(const FileRecord* a, const FileRecord* b)
{
    return _qsort_cmp(&a, &b) < 0;
}

void count_in(DirListing& l, const FileRecord* r, int sign)
{
    const bool dir = S_ISDIR(r->status.st_mode);
    l.dirs += dir ? sign : 0;
    l.total_size += static_cast<uint64_t>(r->status.st_size) * static_cast<uint64_t>(int64_t(sign));
    if (r->flags & DIR_F_SELECTED) {
        l.selected += sign;
        l.selected_dirs += dir ? sign : 0;
    }
}

// The record named `name` by the order's own search: the listing is sorted by
// name, and a directory and a file of one name sort apart when folders come first.
int find_sorted(const DirListing& l, std::string_view name, bool dir)
{
    FileRecord key;
    key.name = name;
    key.status.st_mode = dir ? S_IFDIR : S_IFREG;
    const FileRecord* k = &key;
    FileRecord* const* first = l.records.data();
    FileRecord* const* last = first + l.count;
    auto it = std::lower_bound(first, last, k, [](const FileRecord* a, const FileRecord* b) { return before(a, b); });
    // Names that compare equal as numbers ("1", "01") sit together.
    for (; it != last && _qsort_cmp(&*it, &k) == 0; ++it)
        if ((*it)->name == name)
            return int(it - first);
    return -1;
}

// Where each name's record is now (-1: none), each name given once.
std::vector<int> locate(const DirListing& l, const std::vector<const DirChange*>& todo, bool by_name,
                        bool folders_first)
{
    std::vector<int> at(todo.size(), -1);
    if (by_name) {
        for (std::size_t i = 0; i < todo.size(); ++i) {
            const std::string& n = todo[i]->name;
            at[i] = find_sorted(l, n, todo[i]->was_dir);
            if (at[i] < 0 && folders_first)
                at[i] = find_sorted(l, n, !todo[i]->was_dir);
        }
        return at;
    }
    // Another order says nothing of where a name is: one pass over the records.
    if (todo.size() <= 8) {
        for (int r = 0; r < l.count; ++r) {
            const std::string_view name = l[r].name.view();
            for (std::size_t i = 0; i < todo.size(); ++i)
                if (name.size() == todo[i]->name.size() && name == todo[i]->name)
                    at[i] = r;
        }
        return at;
    }
    std::unordered_map<std::string_view, std::size_t> wanted;
    for (std::size_t i = 0; i < todo.size(); ++i)
        wanted.emplace(todo[i]->name, i);
    for (int r = 0; r < l.count; ++r)
        if (auto it = wanted.find(l[r].name.view()); it != wanted.end())
            at[it->second] = r;
    return at;
}

// What the looks found, before the records move.
struct Plan {
    std::vector<int> removed;         // old indices taken out (to go, or to go back in elsewhere)
    std::vector<FileRecord*> insert;  // records to put at their sorted place
    std::vector<FileRecord*> spare;   // records no longer listed
    std::vector<int> updated;         // old indices refreshed where they stand
};

// Still in order between its neighbours, when they are not moving themselves.
bool stays(const DirListing& l, int at, const std::vector<int>& changed, bool sorted)
{
    if (!sorted)
        return true;
    for (int n : {at - 1, at + 1}) {
        if (n < 0 || n >= l.count)
            continue;
        if (std::binary_search(changed.begin(), changed.end(), n))
            return false;
        if (n < at ? before(l.records[at], l.records[n]) : before(l.records[n], l.records[at]))
            return false;
    }
    return true;
}

// The new place of kept record c: after the records inserted before it.
int final_index(std::size_t c, const std::vector<std::size_t>& pos)
{
    return int(c + std::size_t(std::upper_bound(pos.begin(), pos.end(), c) - pos.begin()));
}

// The new place of the kept record that was at old index `o`.
int new_index(int o, const std::vector<int>& removed, const std::vector<std::size_t>& pos)
{
    return final_index(std::size_t(o - (std::lower_bound(removed.begin(), removed.end(), o) - removed.begin())), pos);
}

}  // namespace

int dir_patch(DirListing& l, const std::vector<DirChange>& changes, DirCmpFn primary, int ascending,
              const DirReadEnv& env, DirPatchResult& out)
{
    out = {};
    if (l.path.empty())
        return -1;
    DirFd dir(::open(l.path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (dir.get() < 0)
        return -1;

    std::vector<const DirChange*> todo;
    {
        std::unordered_set<std::string_view> seen;
        for (const DirChange& c : changes)
            if (!c.name.empty() && c.name.find('/') == std::string::npos &&
                !dir_hidden_name(c.name.c_str(), env.hide_dot) && seen.insert(c.name).second)
                todo.push_back(&c);
    }
    if (todo.empty())
        return 0;

    auto batch = std::make_shared<DirStatBatch>();
    for (const DirChange* c : todo) {
        batch->offsets.push_back(static_cast<uint32_t>(batch->names.size()));
        batch->names.append(c->name.c_str(), c->name.size() + 1);
    }
    DirStatPool pool(dir.get(), env.stat_fn, env.stat_threads > 0 ? env.stat_threads : 2, env.stat_timeout);
    pool.submit(batch);

    const bool sorted = primary != nullptr;
    if (sorted)
        dir_sort_set(primary, ascending, env.folders_first);
    const std::vector<int> old_at = locate(l, todo, primary == dir_cmp_name, env.folders_first);
    std::vector<int> changed;
    for (int o : old_at)
        if (o >= 0)
            changed.push_back(o);
    std::sort(changed.begin(), changed.end());

    const char* filespec = l.filespec.empty() || l.filespec == "*" ? nullptr : l.filespec.c_str();
    auto last_pump = std::chrono::steady_clock::now();
    Plan plan;
    for (std::size_t i = 0; i < todo.size(); ++i) {
        const bool answered = pool.wait(*batch, i, env.pump_events, last_pump, env.pump_every);
        const int o = old_at[i];
        // dir_fill_entry says no to an entry that is gone or that the filter leaves out.
        if (o < 0) {
            FileRecord* r = dir_take_record(l, nullptr);
            if (dir_fill_entry(r, *batch, i, answered, filespec)) {
                count_in(l, r, +1);
                plan.insert.push_back(r);
            } else {
                plan.spare.push_back(r);
            }
            continue;
        }
        FileRecord* r = l.records[std::size_t(o)];
        count_in(l, r, -1);
        r->flags &= DIR_F_SELECTED | DIR_F_CURRENT;
        if (r->link)
            r->link[0] = '\0';
        if (!dir_fill_entry(r, *batch, i, answered, filespec)) {
            plan.removed.push_back(o);
            plan.spare.push_back(r);
            continue;
        }
        count_in(l, r, +1);
        if (stays(l, o, changed, sorted)) {
            plan.updated.push_back(o);
        } else {
            plan.removed.push_back(o);
            plan.insert.push_back(r);
        }
    }

    // The kept records in their order, then the inserted ones at their places.
    std::sort(plan.removed.begin(), plan.removed.end());
    std::vector<FileRecord*> kept;
    kept.reserve(std::size_t(l.count) - plan.removed.size());
    for (int i = 0, k = 0; i < l.count; ++i) {
        if (k < int(plan.removed.size()) && plan.removed[std::size_t(k)] == i) {
            ++k;
            continue;
        }
        kept.push_back(l.records[std::size_t(i)]);
    }
    if (sorted)
        std::stable_sort(plan.insert.begin(), plan.insert.end(), before);
    std::vector<std::size_t> pos(plan.insert.size());
    for (std::size_t j = 0, from = 0; j < plan.insert.size(); ++j)
        from = pos[j] = sorted ? std::size_t(std::upper_bound(kept.begin() + long(from), kept.end(), plan.insert[j], before) -
                                             kept.begin())
                               : kept.size();

    const int old_current = l.current;
    int moved_current = -1;
    const std::size_t slots = std::max(l.records.size(), kept.size() + plan.insert.size() + std::size_t(l.spare) + plan.spare.size());
    std::vector<FileRecord*> records;
    records.reserve(slots);
    for (std::size_t j = 0, k = 0; j <= plan.insert.size(); ++j) {
        const std::size_t upto = j < plan.insert.size() ? pos[j] : kept.size();
        records.insert(records.end(), kept.begin() + long(k), kept.begin() + long(upto));
        k = upto;
        if (j < plan.insert.size()) {
            out.inserted.push_back(int(records.size()));
            if (plan.insert[j]->flags & DIR_F_CURRENT)
                moved_current = int(records.size());
            records.push_back(plan.insert[j]);
        }
    }
    const int live = int(records.size());
    records.insert(records.end(), l.records.begin() + l.count, l.records.begin() + l.count + l.spare);
    for (FileRecord* r : plan.spare) {
        r->flags = 0;
        records.push_back(r);
    }
    const int spare = int(records.size()) - live;
    records.resize(slots, nullptr);

    // The current record where it went; gone, the entry that took its place.
    if (old_current >= 0 && old_current < l.count && moved_current < 0) {
        const auto gone_before = std::lower_bound(plan.removed.begin(), plan.removed.end(), old_current) -
                                 plan.removed.begin();
        const bool went = std::binary_search(plan.removed.begin(), plan.removed.end(), old_current);
        const int c = std::min(old_current - int(gone_before), int(kept.size()) - 1);
        l.current = c >= 0 ? final_index(std::size_t(c), pos) : live > 0 ? 0 : -1;
        if (went && l.current >= 0)
            records[std::size_t(l.current)]->flags |= DIR_F_CURRENT;
    } else {
        l.current = moved_current;
    }
    for (int o : plan.updated)
        out.updated.push_back(new_index(o, plan.removed, pos));
    out.removed = std::move(plan.removed);
    l.records = std::move(records);
    l.capacity = int(l.records.size());
    l.count = live;
    l.spare = spare;
    return 0;
}
