// The file list's core: finding records, selection counts, navigation histories, the
// up target, completion from the disk and the double Escape.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "filelist/fl_complete.h"
#include "filelist/fl_find.h"
#include "hand_listing.h"
#include "tmpdir.h"

namespace {

std::vector<int> hits(const DirListing& l, const char* name, int flags)
{
    std::vector<int> out;
    x_find(l, name, 5, flags, [&out](int i) { out.push_back(i); });
    return out;
}

}  // namespace

TEST(XFind, Table)
{
    HandListing l({"src/", "readme", "Readme.txt", "read", "a*b", "alpha", "src.c"});
    struct Case {
        const char* name;
        int flags;
        int first;
        std::vector<int> all;
    } cases[] = {
        {nullptr, 0, -2, {}},
        {"..", FIND_EXACT, -1, {}},
        {"read", FIND_EXACT, 3, {3}},
        {"read", FIND_PREFIX, 1, {1, 3}},
        {"src", FIND_EXACT | FIND_NO_DIRS, -2, {}},
        {"src", FIND_PREFIX | FIND_NO_DIRS, 6, {6}},
        {"*.txt", FIND_EXACT, 2, {2}},            // exact still falls back to the pattern
        {"^readme*", 0, 1, {1, 2}},
        {"read", FIND_PREFIX | FIND_BACKWARD, -2, {}},  // only index 0 is looked at
    };
    for (const Case& c : cases) {
        EXPECT_EQ(x_find(l, c.name, 3, c.flags), c.first) << (c.name ? c.name : "") << c.flags;
        if (c.first != -1) {
            EXPECT_EQ(hits(l, c.name, c.flags), c.all) << (c.name ? c.name : "") << c.flags;
        }
    }
}

TEST(Selection, ByPattern)
{
    HandListing l({"a.c", "b.h", "c.c", "lib/", "lib.c"});
    fl_select(l, "*.c", 0);
    EXPECT_EQ(fl_select(l, "*.c", 0), 4);  // already selected: counts unchanged
    EXPECT_EQ(l.selected, 3);
    EXPECT_EQ(fl_select(l, "lib*", 0), 4);
    EXPECT_EQ(l.selected, 4);
    EXPECT_EQ(l.selected_dirs, 1);
    EXPECT_EQ(fl_unselect(l, "lib*", FIND_NO_DIRS), 4);
    EXPECT_EQ(l.selected, 3);
    EXPECT_EQ(l.selected_dirs, 1);
    EXPECT_EQ(fl_unselect(l, "*.zip", 0), -2);
    // The whole list at once.
    fl_invert_all(l);
    EXPECT_EQ(l.selected, 2);
    EXPECT_EQ(l.selected_dirs, 0);
}

TEST(NavHistory, BoundDuplicatesBackAndForward)
{
    NavHistory h;
    for (int i = 1; i <= 11; ++i)
        x_history_push(h, ("/d" + std::to_string(i)).c_str());
    h.push("/d11");
    h.push("");
    EXPECT_EQ(h.count(), 10);
    // Full, with the oldest equal to the new path: it moves to the top.
    h.push("/d2");
    EXPECT_EQ(h.entries().front(), "/d2");
    EXPECT_EQ(h.entries().back(), "/d3");

    NavHistory back, fwd;
    std::string cur = "/";
    auto go = [&](const std::string& to) {
        fl_history_entered(back, fwd, cur);
        cur = to;
    };
    go("/usr");
    go("/usr/lib");
    go("/usr/lib");  // the same directory again adds one entry only
    EXPECT_EQ(back.entries(), (std::vector<std::string>{"/usr/lib", "/usr", "/"}));
    cur = "/usr/lib";
    // Forward with nothing ahead still records the current path once.
    EXPECT_FALSE(fl_forward_target(back, fwd, cur));
    EXPECT_FALSE(fl_forward_target(back, fwd, cur));
    EXPECT_EQ(back.count(), 3);
    EXPECT_EQ(fl_back_target(back, fwd, cur), "/usr/lib");
    EXPECT_EQ(fl_back_target(back, fwd, cur = "/usr/lib"), "/usr");
    cur = "/usr";
    EXPECT_EQ(fwd.entries(), std::vector<std::string>{"/usr/lib"});
    EXPECT_EQ(fl_forward_target(back, fwd, cur), "/usr/lib");
    EXPECT_EQ(back.entries(), (std::vector<std::string>{"/usr", "/"}));
    go("/etc");  // a new directory clears what lay ahead
    EXPECT_EQ(fwd.count(), 0);
}

TEST(FlUp, Table)
{
    struct Case {
        const char* path;
        bool moves;
        const char* dir;
        const char* select;
    } cases[] = {
        {"/usr/lib", true, "/usr", "lib"},
        {"/", false, "", ""},
        {"/usr/lib///", true, "/usr", "lib"},
        {"//", true, "/", ""},
    };
    for (const Case& c : cases) {
        auto t = fl_up_target(c.path);
        ASSERT_EQ(t.has_value(), c.moves) << c.path;
        if (t) {
            EXPECT_EQ(t->dir, c.dir) << c.path;
            EXPECT_EQ(t->select, c.select) << c.path;
        }
    }
}

TEST(FindMatchingDir, RealTree)
{
    TmpDir tmp;
    namespace fs = std::filesystem;
    const std::string root = tmp.path();
    fs::create_directories(root + "/usr/lib");
    fs::create_directories(root + "/usr/local");
    fs::create_directories(root + "/etc");
    std::ofstream(root + "/etc/passwd") << "x";
    std::ofstream(root + "/usr/libfile") << "x";
    fs::create_directory_symlink(root + "/etc", root + "/usr/linked");
    fs::create_symlink(root + "/nowhere", root + "/usr/lidangling");

    struct Case {
        std::string typed;
        std::optional<std::string> result;
    } cases[] = {
        {root + "/usr/l", root + "/usr/l"},           // lib, local, linked: ambiguous
        {root + "/usr/lo", root + "/usr/local/"},
        {root + "/usr/lib", root + "/usr/lib/"},      // the file libfile does not count
        {root + "/usr/lin", root + "/usr/linked/"},   // a link to a directory counts
        {root + "/etc/pass", std::nullopt},           // files only
        {root + "/nosuch/a", std::nullopt},
        {"usr", std::nullopt},                        // relative text never completes
    };
    for (const Case& c : cases)
        EXPECT_EQ(find_matching_dir(c.typed), c.result) << c.typed;
}

TEST(EscCounter, PairsWithinTwoSeconds)
{
    time_t now = 1000;
    EscCounter esc([&now] { return now; });
    EXPECT_FALSE(esc.press());
    now += 2;
    EXPECT_TRUE(esc.press());
    EXPECT_EQ(esc.count(), 0);
    // A stale first press: the late one does not complete.
    EXPECT_FALSE(esc.press());
    now += 3;
    EXPECT_FALSE(esc.press());

    // Another key in between starts over.
    esc.reset();
    EXPECT_FALSE(esc.press());
}
