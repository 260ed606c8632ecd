// Comparators, the listing sort, the permission letters and the owner names.
#include <algorithm>
#include <gtest/gtest.h>
#include <random>

#include "dirmodel/dir_sort.h"
#include "dirmodel/x_cache.h"

namespace {

FileRecord rec(const std::string& name, int64_t size = 0, mode_t mode = S_IFREG | 0644)
{
    FileRecord r;
    r.name = name;
    r.status.st_size = size;
    r.status.st_mode = mode;
    return r;
}

FileRecord linked(const std::string& name, const char* text, uint32_t flags = DIR_F_LINK)
{
    FileRecord r = rec(name);
    r.flags = flags;
    r.set_link(text);
    return r;
}

FileRecord dated(const std::string& name, time_t t)
{
    FileRecord r = rec(name);
    r.status.st_mtim.tv_sec = t;
    return r;
}

struct RecDef {
    std::string name;
    int64_t size;
    mode_t mode;
    time_t mtime = 0;
};

// A listing owning its records, sorted and read back as names.
struct Listing {
    DirListing l;
    explicit Listing(const std::vector<RecDef>& defs)
    {
        for (const auto& x : defs) {
            l.records.push_back(new FileRecord(rec(x.name, x.size, x.mode)));
            l.records.back()->status.st_mtim.tv_sec = x.mtime;
        }
        l.count = l.capacity = static_cast<int>(defs.size());
    }
    std::vector<std::string> sorted(DirCmpFn f, int asc, bool folders = false)
    {
        dir_sort(l, f, asc, folders);
        std::vector<std::string> out;
        for (int i = 0; i < l.count; ++i)
            out.push_back(l[i].name);
        return out;
    }
};

int sign(int v)
{
    return (v > 0) - (v < 0);
}

TEST(DirCompare, Table)
{
    struct Case {
        const char* what;
        DirCmpFn f;
        FileRecord a, b;
        int want;  // sign of the result
    } cases[] = {
        {"numeric names", dir_cmp_name, rec("9"), rec("10"), -1},
        {"number before letter", dir_cmp_name, rec("10"), rec("a"), -1},
        {"case matters", dir_cmp_name, rec("B"), rec("a"), -1},
        {"equal numbers", dir_cmp_name, rec("007"), rec("7"), 0},
        {"size smaller first", dir_cmp_size, rec("a", 20), rec("b", 500), 1},
        {"size larger first", dir_cmp_size, rec("a", 500), rec("b", 20), -1},
        {"size equal", dir_cmp_size, rec("a", 5), rec("b", 5), 0},
        {"date", dir_cmp_date, dated("o", 1000), dated("y", 5000), -1},
        {"mode", dir_cmp_permissions, rec("a", 0, S_IFDIR | 0755), rec("b", 0, S_IFREG | 0644), -1},
        {"both links", dir_cmp_link, linked("la", "zz"), linked("lb", "aa"), 1},
        // A stale text without the flag does not count.
        {"link and plain", dir_cmp_link, linked("la", "zz"), linked("p", "aa", 0), 0},
        {"dir first", dir_cmp_dir, rec("a", 0, S_IFDIR), rec("b"), -1},
        {"dir second", dir_cmp_dir, rec("a"), rec("b", 0, S_IFDIR), 1},
        {"no dir", dir_cmp_dir, rec("a"), rec("b"), 0},
    };
    for (const auto& c : cases)
        EXPECT_EQ(sign(c.f(&c.a, &c.b)), c.want) << c.what;
}

// Names, sizes and directories generated at random, sorted by name and by size in
// both directions, with and without folders first, against std::stable_sort with
// the plain order: the size's larger first, ties by name, all reversed by the
// direction. The names avoid all-digit ones, whose value order is not a total one
// with the byte order of the rest.
TEST(DirSort, MatchesReferenceOverGeneratedListings)
{
    std::mt19937_64 rng(3);
    const int64_t sizes[] = {0, 1, 4096, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0x100000000, 0x100000005,
                             int64_t(1) << 40};
    for (int round = 0; round < 20; ++round) {
        std::vector<RecDef> recs;
        for (int i = 0, n = round == 0 ? 50000 : 200 + int(rng() % 300); i < n; ++i) {
            std::string name;
            for (int k = 0, len = 1 + int(rng() % (round == 0 ? 12 : 6)); k < len; ++k)
                name += "abcXYZ._-"[rng() % 9];
            const bool dir = rng() % 4 == 0;
            // Few distinct sizes, dates and modes, so that many tie and the name decides.
            const int64_t size = rng() % 2 ? sizes[rng() % std::size(sizes)] : int64_t(rng() % 10000);
            const mode_t mode = mode_t(dir ? S_IFDIR : S_IFREG) | mode_t(rng() % 2 ? 0644 : 0755);
            recs.push_back({name, size, mode, time_t(1700000000 + int64_t(rng() % 5) * 86400)});
        }
        std::sort(recs.begin(), recs.end(), [](auto& a, auto& b) { return a.name < b.name; });
        recs.erase(std::unique(recs.begin(), recs.end(), [](auto& a, auto& b) { return a.name == b.name; }),
                   recs.end());
        std::shuffle(recs.begin(), recs.end(), rng);
        Listing x(recs);
        for (DirCmpFn f : {dir_cmp_name, dir_cmp_size, dir_cmp_date, dir_cmp_name, dir_cmp_permissions})
            for (int asc : {1, 0})
                for (bool folders : {false, true}) {
                    std::vector<RecDef> want = recs;
                    std::stable_sort(want.begin(), want.end(), [&](const RecDef& a, const RecDef& b) {
                        const bool da = S_ISDIR(a.mode), db = S_ISDIR(b.mode);
                        if (folders && da != db)
                            return da;
                        const auto& [p, q] = asc ? std::tie(a, b) : std::tie(b, a);
                        if (f == dir_cmp_size && p.size != q.size)
                            return p.size > q.size;
                        if (f == dir_cmp_date && p.mtime != q.mtime)
                            return p.mtime < q.mtime;
                        if (f == dir_cmp_permissions && p.mode != q.mode)
                            return p.mode < q.mode;
                        return p.name < q.name;
                    });
                    std::vector<std::string> names;
                    for (const RecDef& r : want)
                        names.push_back(r.name);
                    ASSERT_EQ(x.sorted(f, asc, folders), names)
                        << "round " << round << " column " << (f == dir_cmp_name ? "name" : "other") << " asc " << asc
                        << " folders " << folders;
                }
    }
}

TEST(DirPermissions, Table)
{
    struct Case {
        mode_t mode;
        int which;
        const char* want;
    } cases[] = {
        {0755, 1, "rwx"}, {04755, 1, "rws"}, {04655, 1, "rwS"}, {0640, 2, "r--"},
        {02750, 2, "r-s"}, {02740, 2, "r-S"}, {0604, 3, "r--"}, {01604, 3, "r-t"},
        {01607, 3, "rwt"}, {0607, 3, "rwx"},
        {S_IFDIR | 0755, 0, "b"}, {S_IFREG | 0644, 0, "l"}, {S_IFBLK, 0, "b"}, {S_IFCHR, 0, "b"},
        {S_IFIFO, 0, "p"}, {S_IFLNK, 0, "b"}, {S_IFSOCK, 0, "b"}, {0, 0, "-"},
        {01000, 4, "s"}, {0777, 4, "-"},
    };
    for (const auto& c : cases) {
        char out[4] = {0, 0, 0, 0};
        dir_get_permissions(c.mode, out, c.which);
        EXPECT_STREQ(out, c.want) << std::oct << c.mode << " which " << c.which;
    }
    char untouched[4] = "xyz";
    dir_get_permissions(0777, untouched, 5);
    EXPECT_STREQ(untouched, "xyz");
}

}  // namespace
