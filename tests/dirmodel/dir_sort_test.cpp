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
};

// A listing owning its records, sorted and read back as names.
struct Listing {
    DirListing l;
    explicit Listing(const std::vector<RecDef>& defs)
    {
        for (const auto& x : defs)
            l.records.push_back(new FileRecord(rec(x.name, x.size, x.mode)));
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
        {"size larger first", dir_cmp_size, rec("a", 500), rec("b", 20), 0},
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

TEST(DirSort, NameOrderMatchesReferenceOverGeneratedNames)
{
    std::mt19937 rng(3);
    for (int round = 0; round < 20; ++round) {
        std::vector<RecDef> recs;
        std::vector<std::string> want, dirs;
        for (int i = 0; i < 200; ++i) {
            std::string n;
            for (int k = 0, len = 1 + rng() % 8; k < len; ++k)
                n += "abcXYZ._-"[rng() % 9];
            if (std::find(want.begin(), want.end(), n) != want.end())
                continue;
            want.push_back(n);
            const bool dir = rng() % 4 == 0;
            if (dir)
                dirs.push_back(n);
            recs.push_back({n, int64_t(rng() % 100), mode_t(dir ? S_IFDIR : S_IFREG)});
        }
        Listing x(recs);
        std::sort(want.begin(), want.end());
        EXPECT_EQ(x.sorted(dir_cmp_name, 1), want);
        // Folders first: directories on top, each group still in name order.
        std::stable_partition(want.begin(), want.end(), [&](const std::string& n) {
            return std::find(dirs.begin(), dirs.end(), n) != dirs.end();
        });
        EXPECT_EQ(x.sorted(dir_cmp_name, 1, true), want);
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
