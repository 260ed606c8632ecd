// Comparators, the listing sort, and the permission and owner columns.
#include "dirmodel/dir_sort.h"

#include <algorithm>
#include <string>
#include <utility>
#include <cstdio>
#include <memory>
#include <system_error>
#include <thread>
#include <cstdlib>
#include <cstring>
#include <grp.h>
#include <pwd.h>
#include <unistd.h>
#include <vector>

#include "dirmodel/es_path.h"
#include "dirmodel/x_cache.h"

namespace {

DirCmpFn s_primary_cmp = nullptr;
DirCmpFn s_secondary_cmp = nullptr;
int s_sort_direction = 1;
bool s_folders_first = false;

NameCache* sUserCache = nullptr;
NameCache* sGroupCache = nullptr;

bool all_digits_fast(const RecName& s)
{
    // Most names start with a letter; the first byte settles those.
    if (!s.empty() && (s[0] < '0' || s[0] > '9'))
        return false;
    return misc_all_digits(s.c_str()) != 0;
}

}  // namespace

int dir_cmp_name(const FileRecord* a, const FileRecord* b)
{
    if (all_digits_fast(a->name) && all_digits_fast(b->name))
        return std::atoi(a->name.c_str()) - std::atoi(b->name.c_str());
    return std::strcmp(a->name.c_str(), b->name.c_str());
}

int dir_cmp_size(const FileRecord* a, const FileRecord* b)
{
    const int64_t sa = a->status.st_size, sb = b->status.st_size;
    return sa < sb ? 1 : sa > sb ? -1 : 0;
}

int dir_cmp_date(const FileRecord* a, const FileRecord* b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a->status.st_mtime) -
                                static_cast<uint32_t>(b->status.st_mtime));
}

int dir_cmp_user(const FileRecord* a, const FileRecord* b)
{
    char na[16], nb[16];
    dir_get_username(a->status.st_uid, na);
    dir_get_username(b->status.st_uid, nb);
    return std::strcmp(na, nb);
}

int dir_cmp_group(const FileRecord* a, const FileRecord* b)
{
    char na[16], nb[16];
    dir_get_groupname(a->status.st_gid, na);
    dir_get_groupname(b->status.st_gid, nb);
    return std::strcmp(na, nb);
}

int dir_cmp_permissions(const FileRecord* a, const FileRecord* b)
{
    return static_cast<int>(a->status.st_mode) - static_cast<int>(b->status.st_mode);
}

int dir_cmp_link(const FileRecord* a, const FileRecord* b)
{
    if (!(a->flags & DIR_F_LINK) || !(b->flags & DIR_F_LINK))
        return 0;
    return std::strcmp(a->link_text(), b->link_text());
}

int dir_cmp_dir(const FileRecord* a, const FileRecord* b)
{
    bool da = S_ISDIR(a->status.st_mode), db = S_ISDIR(b->status.st_mode);
    if (da && !db)
        return -1;
    if (db && !da)
        return 1;
    return 0;
}

int _qsort_cmp(const void* pa, const void* pb)
{
    const FileRecord* a = *static_cast<const FileRecord* const*>(pa);
    const FileRecord* b = *static_cast<const FileRecord* const*>(pb);
    if (s_folders_first) {
        if (int d = dir_cmp_dir(a, b))
            return d;
    }
    int r = s_primary_cmp(a, b);
    if (r == 0 && s_secondary_cmp)
        r = s_secondary_cmp(a, b);
    return r * s_sort_direction;
}

namespace {

// The merge sort that qsort ran when these orders were settled: halves of n/2 and
// n - n/2, and a merge that takes from the left run while the comparison is <= 0.
// The name comparison is not a strict order (all-digit names compare by value and
// the rest by bytes), so the algorithm is part of the result: this one keeps every
// listing's order as it was.

// Merges the sorted runs b[0, n1) and b[n1, n1 + n2), n1 <= n2, through tmp, which
// holds the left run only: the merge fills b from the front and never overtakes
// the right run's next element.
template <class T, class Cmp>
void merge(T* b, T* tmp, std::size_t n1, std::size_t n2, const Cmp& cmp)
{
    std::copy(b, b + n1, tmp);
    const T* l = tmp;
    const T* const l_end = tmp + n1;
    T* r = b + n1;
    T* const r_end = r + n2;
    T* out = b;
    while (l != l_end && r != r_end) {
        if (cmp(*l, *r) <= 0)
            *out++ = *l++;
        else
            *out++ = *r++;
    }
    std::copy(l, l_end, out);
}

template <class T, class Cmp>
void msort(T* b, T* tmp, std::size_t n, const Cmp& cmp)
{
    if (n <= 1)
        return;
    const std::size_t n1 = n / 2;
    msort(b, tmp, n1, cmp);
    msort(b + n1, tmp, n - n1, cmp);
    merge(b, tmp, n1, n - n1, cmp);
}

// Both halves at once on two threads where there are two cores; the result is
// the same as one thread's, since each half is sorted and merged as before. The
// buffer is half the elements: a million of them are sorted at once.
template <class T, class Cmp>
void msort_top(T* b, std::size_t n, const Cmp& cmp, bool may_split)
{
    if (n <= 1)
        return;
    const std::size_t n1 = n / 2;
    const std::size_t left_room = (n1 + 1) / 2;
    std::unique_ptr<T[]> tmp(new T[left_room + (n - n1 + 1) / 2 + 1]);
    bool split = false;
    if (may_split && n >= 32768 && std::thread::hardware_concurrency() >= 2) {
        try {
            std::thread left([&] { msort(b, tmp.get(), n1, cmp); });
            msort(b + n1, tmp.get() + left_room, n - n1, cmp);
            left.join();
            split = true;
        } catch (const std::system_error&) {
        }
    }
    if (!split) {
        msort(b, tmp.get(), n1, cmp);
        msort(b + n1, tmp.get(), n - n1, cmp);
    }
    merge(b, tmp.get(), n1, n - n1, cmp);
}

// The name order without chasing every record: the first eight bytes of the name
// as one big-endian number, then the record's index and three bits. Twelve bytes,
// since a million are made at once.
#pragma pack(push, 4)
struct NameKey {
    uint64_t prefix;
    uint32_t tagged;  // index << 3 | bits

    static constexpr uint32_t kDigits = 1, kDir = 2, kShort = 4, kBits = 7;
    uint32_t index() const { return tagged >> 3; }
};
#pragma pack(pop)
static_assert(sizeof(NameKey) == 12);

NameKey name_key(const FileRecord* r, uint32_t index)
{
    const std::size_t len = r->name.size();
    unsigned char bytes[8] = {};
    std::memcpy(bytes, r->name.c_str(), std::min<std::size_t>(len, 8));
    uint64_t prefix = 0;
    for (unsigned char c : bytes)
        prefix = prefix << 8 | c;
    uint32_t bits = 0;
    if (all_digits_fast(r->name))
        bits |= NameKey::kDigits;
    if (S_ISDIR(r->status.st_mode))
        bits |= NameKey::kDir;
    if (len < 8)
        bits |= NameKey::kShort;
    return {prefix, index << 3 | bits};
}

// dir_cmp_name on keys, then the direction; directories first regardless of it.
struct NameKeyCmp {
    FileRecord* const* recs;
    bool folders_first;
    int direction;

    int operator()(const NameKey& a, const NameKey& b) const
    {
        if (folders_first) {
            const bool da = a.tagged & NameKey::kDir, db = b.tagged & NameKey::kDir;
            if (da != db)
                return da ? -1 : 1;
        }
        int r;
        if (a.tagged & b.tagged & NameKey::kDigits) {
            r = dir_cmp_name(recs[a.index()], recs[b.index()]);
        } else if (a.prefix != b.prefix) {
            r = a.prefix < b.prefix ? -1 : 1;
        } else if (a.tagged & NameKey::kShort) {
            r = 0;  // the terminator is inside the prefix: the names are equal
        } else {
            r = std::strcmp(recs[a.index()]->name.c_str() + 8, recs[b.index()]->name.c_str() + 8);
        }
        return static_cast<int>(static_cast<unsigned>(r) * static_cast<unsigned>(direction));
    }
};

// recs[i] = recs[index of keys[i]] for every i, the index being the key's tag
// shifted right by `shift`. The pointers are gathered into the keys' own memory,
// each written behind the keys still to be read, then copied back: in order, where
// following the permutation's cycles jumps across both arrays for every element
// (a million records: 120 ms against 15).
template <class Key>
void permute(FileRecord** recs, Key* keys, std::size_t n, int shift)
{
    static_assert(sizeof(Key) >= sizeof(FileRecord*));
    char* out = reinterpret_cast<char*>(keys);
    for (std::size_t i = 0; i < n; ++i) {
        FileRecord* r = recs[keys[i].tagged >> shift];
        std::memcpy(out + i * sizeof r, &r, sizeof r);
    }
    std::memcpy(recs, out, n * sizeof(FileRecord*));
}

}  // namespace

namespace {

// The order of one column's values without chasing records: the value as a number
// and the record's index with its directory bit. Only the column is compared; the
// names' order comes from the order the keys start in (the sort is stable).
#pragma pack(push, 4)
struct ValueKey {
    uint64_t value;
    uint32_t tagged;  // index << 1 | is a directory
};
#pragma pack(pop)

struct ValueKeyCmp {
    bool folders_first;
    int direction;
    bool date;  // dates compare as dir_cmp_date does: by the difference as 32 bits

    int operator()(const ValueKey& a, const ValueKey& b) const
    {
        if (folders_first) {
            const bool da = a.tagged & 1, db = b.tagged & 1;
            if (da != db)
                return da ? -1 : 1;
        }
        int r;
        if (date)
            r = static_cast<int32_t>(static_cast<uint32_t>(a.value) - static_cast<uint32_t>(b.value));
        else
            r = a.value < b.value ? -1 : a.value > b.value ? 1 : 0;
        return static_cast<int>(static_cast<unsigned>(r > 0) - static_cast<unsigned>(r < 0)) * direction;
    }
};

// Each owner's (or group's) place among their names in byte order: equal names
// share a place. Few distinct ids in any directory, so a small sorted table; empty
// when there are too many.
template <class NameOf>
std::vector<std::pair<uint32_t, uint32_t>> name_ranks(FileRecord* const* recs, std::size_t n, NameOf name_of)
{
    std::vector<uint32_t> ids{name_of.id(recs[0])};
    for (std::size_t i = 1; i < n; ++i) {
        const uint32_t id = name_of.id(recs[i]);
        if (id == ids.back())
            continue;  // runs of one owner are the rule
        if (std::find(ids.begin(), ids.end(), id) == ids.end()) {
            ids.push_back(id);
            if (ids.size() > 64)
                return {};  // too many to rank cheaply
        }
    }
    std::vector<std::pair<std::string, uint32_t>> named;
    for (uint32_t id : ids) {
        char buf[16];
        name_of.name(id, buf);
        named.emplace_back(buf, id);
    }
    std::sort(named.begin(), named.end());
    std::vector<std::pair<uint32_t, uint32_t>> rank;  // id, place
    uint32_t place = 0;
    for (std::size_t k = 0; k < named.size(); ++k) {
        if (k && named[k].first != named[k - 1].first)
            ++place;
        rank.emplace_back(named[k].second, place);
    }
    std::sort(rank.begin(), rank.end());
    return rank;
}

struct UserOf {
    static uint32_t id(const FileRecord* r) { return static_cast<uint32_t>(r->status.st_uid); }
    static void name(uint32_t id, char* out) { dir_get_username(static_cast<uid_t>(id), out); }
};
struct GroupOf {
    static uint32_t id(const FileRecord* r) { return static_cast<uint32_t>(r->status.st_gid); }
    static void name(uint32_t id, char* out) { dir_get_groupname(static_cast<gid_t>(id), out); }
};

// True when records[0, n) are in the order dir_sort by name would leave them.
bool in_name_order(FileRecord* const* recs, std::size_t n)
{
    for (std::size_t i = 1; i < n; ++i)
        if (_qsort_cmp(&recs[i - 1], &recs[i]) > 0)
            return false;
    return true;
}

void sort_by_name(FileRecord** recs, std::size_t n, bool folders_first)
{
    std::unique_ptr<NameKey[]> keys(new NameKey[n]);
    for (std::size_t i = 0; i < n; ++i)
        keys[i] = name_key(recs[i], static_cast<uint32_t>(i));
    msort_top(keys.get(), n, NameKeyCmp{recs, folders_first, s_sort_direction}, true);
    permute(recs, keys.get(), n, 3);
}

// Sorts by a column whose values are numbers (size, date, permissions) or that rank
// as numbers (owner, group): first by name in the same direction, unless the
// records are in that order already, then stably by the column's value alone. The
// same order as the comparison of the column then the name, without a record read
// per comparison. False, with nothing done, for a column this cannot take.
bool sort_by_value(FileRecord** recs, std::size_t n, DirCmpFn primary, bool folders_first)
{
    std::vector<std::pair<uint32_t, uint32_t>> rank;
    if (primary == dir_cmp_user || primary == dir_cmp_group) {
        rank = primary == dir_cmp_user ? name_ranks(recs, n, UserOf{}) : name_ranks(recs, n, GroupOf{});
        if (rank.empty())
            return false;
    } else if (primary != dir_cmp_size && primary != dir_cmp_date && primary != dir_cmp_permissions) {
        return false;
    }
    // The names' order in this direction, then the column's.
    const DirCmpFn column = s_primary_cmp;
    s_primary_cmp = dir_cmp_name;
    s_secondary_cmp = nullptr;
    if (!in_name_order(recs, n))
        sort_by_name(recs, n, folders_first);
    s_primary_cmp = column;
    s_secondary_cmp = dir_cmp_name;

    std::unique_ptr<ValueKey[]> keys(new ValueKey[n]);
    for (std::size_t i = 0; i < n; ++i) {
        const FileStatus& st = recs[i]->status;
        uint64_t v;
        if (primary == dir_cmp_size)  // the larger first
            v = ~(static_cast<uint64_t>(st.st_size) ^ (uint64_t(1) << 63));
        else if (primary == dir_cmp_date)
            v = static_cast<uint32_t>(st.st_mtime);
        else if (primary == dir_cmp_permissions)
            v = static_cast<uint64_t>(st.st_mode);
        else {
            const uint32_t id = primary == dir_cmp_user ? UserOf::id(recs[i]) : GroupOf::id(recs[i]);
            v = std::lower_bound(rank.begin(), rank.end(), std::make_pair(id, uint32_t(0)))->second;
        }
        keys[i] = {v, static_cast<uint32_t>(i) << 1 | (S_ISDIR(st.st_mode) ? 1u : 0u)};
    }
    msort_top(keys.get(), n, ValueKeyCmp{folders_first, s_sort_direction, primary == dir_cmp_date}, true);
    permute(recs, keys.get(), n, 1);
    return true;
}

}  // namespace

void dir_sort_set(DirCmpFn primary, int ascending, bool folders_first)
{
    s_primary_cmp = primary;
    s_secondary_cmp = primary == dir_cmp_name ? nullptr : dir_cmp_name;
    s_sort_direction = ascending ? 1 : -1;
    s_folders_first = folders_first;
}

void dir_sort(DirListing& listing, DirCmpFn primary, int ascending, bool folders_first)
{
    if (!primary || listing.count < 2)
        return;
    dir_sort_set(primary, ascending, folders_first);
    const auto n = static_cast<std::size_t>(listing.count);
    FileRecord** recs = listing.records.data();
    if (n >= (std::size_t(1) << 29)) {  // past what a key's index holds
        msort_top(recs, n, [](FileRecord* a, FileRecord* b) { return _qsort_cmp(&a, &b); }, false);
        return;
    }
    if (primary == dir_cmp_name)
        sort_by_name(recs, n, folders_first);
    else if (!sort_by_value(recs, n, primary, folders_first))
        msort_top(recs, n, [](FileRecord* a, FileRecord* b) { return _qsort_cmp(&a, &b); }, false);
}

void dir_get_permissions(mode_t mode, char* out, int which)
{
    switch (which) {
    case 0:
        // Bit tests, not the file-type field: any of a group's bits gives its
        // letter, so most types come out "b" (the list never shows this letter).
        if (mode & 0x6000)
            out[0] = 'b';
        else if (mode & 0x2000)
            out[0] = 'c';
        else if (mode & 0x4000)
            out[0] = 'd';
        else if (mode & 0x1000)
            out[0] = 'p';
        else if (mode & 0xA000)
            out[0] = 'l';
        else if (mode & 0x5000)
            out[0] = 'n';
        else if (mode & 0xC000)
            out[0] = 's';
        else
            out[0] = '-';
        break;
    case 1:
        out[0] = mode & 0400 ? 'r' : '-';
        out[1] = mode & 0200 ? 'w' : '-';
        out[2] = mode & 0100 ? (mode & 04000 ? 's' : 'x') : (mode & 04000 ? 'S' : '-');
        break;
    case 2:
        out[0] = mode & 040 ? 'r' : '-';
        out[1] = mode & 020 ? 'w' : '-';
        out[2] = mode & 010 ? (mode & 02000 ? 's' : 'x') : (mode & 02000 ? 'S' : '-');
        break;
    case 3:
        out[0] = mode & 04 ? 'r' : '-';
        out[1] = mode & 02 ? 'w' : '-';
        out[2] = mode & 01000 ? 't' : (mode & 01 ? 'x' : '-');
        break;
    case 4:
        out[0] = mode & 01000 ? 's' : '-';
        break;
    default:
        break;
    }
}

int dir_get_username(uid_t uid, char* out)
{
    if (!sUserCache)
        sUserCache = x_new_cache(256);
    if (int n = x_get_record(uid, out, sUserCache))
        return n;
    std::vector<char> buf(16384);
    struct passwd pw {}, *res = nullptr;
    int ret = 0;
    if (getpwuid_r(uid, &pw, buf.data(), buf.size(), &res) == 0 && res) {
        std::snprintf(out, 16, "%.15s", res->pw_name);
    } else {
        ret = std::snprintf(out, 16, "%u", static_cast<unsigned>(uid));
    }
    x_add_record(uid, out, sUserCache);
    return ret;
}

int dir_get_groupname(gid_t gid, char* out)
{
    if (!sGroupCache)
        sGroupCache = x_new_cache(64);
    if (int n = x_get_record(gid, out, sGroupCache))
        return n;
    std::vector<char> buf(16384);
    struct group gr {}, *res = nullptr;
    int ret = 0;
    if (getgrgid_r(gid, &gr, buf.data(), buf.size(), &res) == 0 && res) {
        std::snprintf(out, 16, "%.15s", res->gr_name);
    } else {
        ret = std::snprintf(out, 16, "%u", static_cast<unsigned>(gid));
    }
    x_add_record(gid, out, sGroupCache);
    return ret;
}
