// The directory reader over real directories: what is listed, flags and link texts,
// record recycling, the hooks it calls, and the patch of a few changed names.
#include <algorithm>
#include <dirent.h>
#include <fnmatch.h>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <set>
#include <thread>
#include <tuple>

#include "dir_test_util.h"
#include "dirmodel/dir_names.h"
#include "dirmodel/dir_patch.h"
#include "tmpdir.h"

namespace {

std::vector<std::string> stream_order(const std::string& path)
{
    std::vector<std::string> out;
    DIR* d = ::opendir(path.c_str());
    while (const dirent* e = ::readdir(d)) {
        std::string n = e->d_name;
        if (n != "." && n != "..")
            out.push_back(n);
    }
    ::closedir(d);
    return out;
}

TEST(DirRead, ListsEntriesButNeverDotAndDotDot)
{
    TmpDir t;
    make_file(t / ".profile", 10);
    make_file(t / "b", 5);
    ::mkdir((t / "d").c_str(), 0755);
    DirListing l;
    for (bool hide_dot : {true, false}) {
        DirReadEnv env;
        env.hide_dot = hide_dot;
        ASSERT_EQ(read_dir(l, t.path(), "*", env), 0);
        using V = std::vector<std::string>;
        EXPECT_EQ(names_of(l), hide_dot ? V({"b", "d"}) : V({".profile", "b", "d"}));
        EXPECT_EQ(l.dirs, 1);
        const uint64_t dir_size = static_cast<uint64_t>(find_record(l, "d")->status.st_size);
        EXPECT_EQ(l.total_size, (hide_dot ? 5u : 15u) + dir_size);
    }
}

TEST(DirRead, FilterKeepsDirectoriesAndLinksToThem)
{
    TmpDir t;
    make_file(t / "a.c");
    make_file(t / "a.h");
    ::mkdir((t / "dir.x").c_str(), 0755);
    ASSERT_EQ(::symlink("dir.x", (t / "ld.h").c_str()), 0);
    ASSERT_EQ(::symlink("a.h", (t / "lf.h").c_str()), 0);
    DirListing l;
    ASSERT_EQ(read_dir(l, t.path(), "*.c"), 0);
    EXPECT_EQ(names_of(l), (std::vector<std::string>{"a.c", "dir.x", "ld.h"}));
    EXPECT_EQ(l.dirs, 2);
    ASSERT_EQ(read_dir(l, t.path(), "^*.C|*.H"), 0);
    EXPECT_EQ(l.count, 5);
}

TEST(DirRead, LinksCarryTargetStatusAndText)
{
    TmpDir t;
    make_file(t / "target", 1234);
    ASSERT_EQ(::symlink("target", (t / "good").c_str()), 0);
    ASSERT_EQ(::symlink("no/such/place", (t / "dangling").c_str()), 0);
    DirListing l;
    ASSERT_EQ(read_dir(l, t.path()), 0);

    const FileRecord* good = find_record(l, "good");
    ASSERT_TRUE(good);
    EXPECT_EQ(good->flags, DIR_F_LINK);
    EXPECT_STREQ(good->link_text(), "target");
    EXPECT_EQ(good->status.st_size, 1234);
    EXPECT_TRUE(S_ISREG(good->status.st_mode));

    const FileRecord* dangling = find_record(l, "dangling");
    ASSERT_TRUE(dangling);
    EXPECT_EQ(dangling->flags, DIR_F_LINK | DIR_F_UNREADABLE);
    EXPECT_STREQ(dangling->link_text(), "no/such/place");
    EXPECT_TRUE(S_ISLNK(dangling->status.st_mode));

    EXPECT_EQ(find_record(l, "target")->flags, 0u);
    EXPECT_EQ(l.total_size, 1234u * 2 + static_cast<uint64_t>(dangling->status.st_size));
}

TEST(DirRead, NamesThatAreNotUtf8StayBytes)
{
    TmpDir t;
    const std::string latin1 = "caf\xE9";
    const std::string broken = "\xFF\xFEz";
    make_file(t / latin1, 4);
    make_file(t / broken, 6);
    make_file(t / "cafe", 1);
    DirListing l;
    ASSERT_EQ(read_dir(l, t.path()), 0);
    EXPECT_EQ(names_of(l), (std::vector<std::string>{"cafe", latin1, broken}));
    EXPECT_EQ(find_record(l, broken)->status.st_size, 6);
}

// Many batches through the status workers against a plain readdir + stat + fnmatch,
// read both ways: each entry filled as it is listed, and names first (shown in their
// final order before their status is in).
TEST(DirRead, MatchesPlainReference)
{
    TmpDir t;
    std::mt19937 rng(7);
    for (int i = 0; i < 800; ++i) {
        std::string n = "e" + std::to_string(rng() % 100000) + (rng() % 3 ? ".c" : ".txt");
        if (const int kind = rng() % 5; kind == 0)
            ::mkdir((t / n).c_str(), 0755);
        else if (kind == 1)
            (void)::symlink(rng() % 2 ? "e1.c" : (rng() % 2 ? "." : "nowhere"), (t / n).c_str());
        else
            make_file(t / n, rng() % 5000);
    }
    // Each record shows its own entry's link flags and text, also right after an
    // entry the filter left out.
    using Shown = std::tuple<int64_t, uint32_t, std::string>;
    const char* filter = "*.c";
    std::map<std::string, Shown> want;
    for (const std::string& n : stream_order(t.path())) {
        struct stat st {};
        uint32_t flags = 0;
        char link[1024] = {};
        if (::lstat((t / n).c_str(), &st) == 0 && S_ISLNK(st.st_mode)) {
            flags = DIR_F_LINK;
            (void)::readlink((t / n).c_str(), link, sizeof link - 1);
        }
        if (::stat((t / n).c_str(), &st) != 0) {
            ::lstat((t / n).c_str(), &st);
            flags |= DIR_F_UNREADABLE;
        }
        if (S_ISDIR(st.st_mode) || fnmatch(filter, n.c_str(), 0) == 0)
            want[n] = {st.st_size, flags, link};
    }
    for (bool folders_first : {false, true}) {
        std::vector<std::string> order;
        // Last, names first again, with names and status read ahead as at the start.
        for (int pass : {0, 1, 2}) {
            const bool names_first = pass > 0;
            SCOPED_TRACE(testing::Message() << "folders first " << folders_first << ", pass " << pass);
            if (pass == 2) {
                dir_names_read_ahead(t.path());
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
            }
            DirListing l;
            DirReadEnv env;
            env.stat_threads = 3;
            env.folders_first = folders_first;
            std::vector<std::string> listed;
            // The hooks draw: they run on the thread that asked for the read.
            std::set<std::thread::id> hooked;
            env.pump_every = std::chrono::milliseconds(0);
            env.pump_events = [&] { hooked.insert(std::this_thread::get_id()); };
            if (names_first)
                env.listed = [&] {
                    listed = names_of(l);
                    hooked.insert(std::this_thread::get_id());
                };
            ASSERT_EQ(read_dir(l, t.path(), filter, env), 0);
            EXPECT_EQ(hooked, std::set<std::thread::id>{std::this_thread::get_id()});
            std::map<std::string, Shown> got;
            uint64_t total = 0;
            int dirs = 0;
            for (int i = 0; i < l.count; ++i) {
                got[l[i].name] = {l[i].status.st_size, l[i].flags, l[i].link_text()};
                total += static_cast<uint64_t>(l[i].status.st_size);
                dirs += S_ISDIR(l[i].status.st_mode) ? 1 : 0;
            }
            EXPECT_EQ(got, want);
            EXPECT_EQ(l.total_size, total);
            EXPECT_EQ(l.dirs, dirs);
            if (names_first) {
                EXPECT_EQ(names_of(l), order);
                EXPECT_EQ(listed, order);
            } else {
                order = names_of(l);
            }
        }
    }
}

// The first directory's names, read ahead while the program starts, are taken up
// only while nothing came or went since, with the status of those it had time for.
TEST(DirNames, ReadAheadIsTakenOnlyWhileTheDirectoryIsUnchanged)
{
    TmpDir t;
    // Long names: more than one of the reader's blocks.
    for (int i = 0; i < 1300; ++i)
        make_file(t / (std::string(200, 'n') + std::to_string(i)), i % 97);
    for (bool changed : {false, true}) {
        dir_names_read_ahead(t.path());
        std::this_thread::sleep_for(std::chrono::milliseconds(100));  // read ahead by now
        if (changed)
            make_file(t / "late");
        const int fd = ::open(t.path().c_str(), O_RDONLY | O_DIRECTORY);
        std::vector<std::string> got;
        bool took = false;
        int with_status = 0;
        {
            DirNames names(fd);
            took = names.took_ahead();
            while (const DirNameEntry* e = names.next()) {
                std::string n = e->name;
                if (n == "." || n == "..")
                    continue;
                got.push_back(n);
                if (e->st) {
                    ++with_status;
                    EXPECT_EQ(e->st->st_size, n == "late" ? 0 : std::stoi(n.substr(200)) % 97) << n;
                }
            }
        }
        ::close(fd);
        EXPECT_TRUE(took || changed);
        EXPECT_EQ(with_status > 0, !changed);
        EXPECT_EQ(got, stream_order(t.path()));
        EXPECT_EQ(got.size(), changed ? 1301u : 1300u);
    }
}

// An entry that goes or changes type between the listing and its status call shows
// as a read made after the change shows it: gone, or as what it is now.
TEST(DirRead, EntriesThatChangeAfterTheListingShowAsAReadAfterTheChange)
{
    TmpDir t;
    for (const char* n : {"keep", "vanish", "then_a_dir"})
        make_file(t / n, 3);
    DirReadEnv env;
    env.stat_fn = [&](int fd, const char* n, struct stat* st, int fl) {
        if (!std::strcmp(n, "vanish"))
            ::unlink((t / n).c_str());
        if (!std::strcmp(n, "then_a_dir") && ::unlink((t / n).c_str()) == 0)
            ::mkdir((t / n).c_str(), 0755);
        return ::fstatat(fd, n, st, fl);
    };
    for (bool names_first : {false, true}) {
        for (const char* n : {"vanish", "then_a_dir"}) {
            ::rmdir((t / n).c_str());
            make_file(t / n, 3);
        }
        env.folders_first = names_first;
        if (names_first)
            env.listed = [] {};
        DirListing raced, after;
        ASSERT_EQ(read_dir(raced, t.path(), "*", env), 0);
        DirReadEnv plain;
        plain.folders_first = env.folders_first;
        ASSERT_EQ(read_dir(after, t.path(), "*", plain), 0);
        ASSERT_EQ(names_of(raced), names_of(after));
        for (int i = 0; i < after.count; ++i) {
            EXPECT_EQ(raced[i].status.st_mode, after[i].status.st_mode) << after[i].name;
            EXPECT_EQ(raced[i].flags, after[i].flags) << after[i].name;
        }
        EXPECT_EQ(raced.dirs, 1);
    }
}

// A patch for the names another program changed ends as a fresh read of the
// directory would, in every order, and tells the rows it moved so that a view
// replaying them holds the same names; selection and the current row stay.
TEST(DirPatch, EndsAsAFullReadWould)
{
    const DirCmpFn orders[] = {dir_cmp_name, dir_cmp_size, dir_cmp_date};
    int round = 0;
    for (DirCmpFn order : orders)
        for (bool folders_first : {false, true})
            for (const char* filter : {"*", "*.c"}) {
                SCOPED_TRACE(testing::Message() << "round " << round);
                std::mt19937 rng(unsigned(++round));
                TmpDir t;
                std::vector<std::string> made;
                auto make = [&](const std::string& n) {
                    if (rng() % 6 == 0)
                        ::mkdir((t / n).c_str(), 0755);
                    else if (rng() % 7 == 0)
                        (void)::symlink("nowhere", (t / n).c_str());
                    else
                        make_file(t / n, rng() % 300);
                    made.push_back(n);
                };
                for (int i = 0; i < 300; ++i)
                    make((rng() % 4 ? "e" : "") + std::to_string(rng() % 1000) + (rng() % 3 ? ".c" : ".txt"));
                make("1");
                make("01");

                DirReadEnv env;
                env.folders_first = folders_first;
                DirListing l;
                l.path = t.path();
                l.filespec = filter;
                ASSERT_EQ(dir_read(l, order, round % 2, env), 0);
                for (int i = 0; i < l.count; i += 5)
                    if (!(l[i].flags & DIR_F_SELECTED)) {
                        l[i].flags |= DIR_F_SELECTED;
                        l.selected++;
                        l.selected_dirs += S_ISDIR(l[i].status.st_mode) ? 1 : 0;
                    }
                l.current = l.count / 2;
                l[l.current].flags |= DIR_F_CURRENT;
                const std::string current_name = l[l.current].name;
                std::vector<std::string> shown = names_of(l);

                // Removed, made, grown (moving in size order), a file become a directory.
                std::vector<DirChange> changes;
                for (int i = 0; i < 40; ++i) {
                    const std::string& n = made[rng() % made.size()];
                    struct stat st {};
                    const bool there = ::lstat((t / n).c_str(), &st) == 0;
                    const bool dir = there && S_ISDIR(st.st_mode), file = there && S_ISREG(st.st_mode);
                    switch (rng() % 4) {
                    case 0:
                        dir ? (void)::rmdir((t / n).c_str()) : (void)::unlink((t / n).c_str());
                        break;
                    case 1:
                        make("n" + std::to_string(i) + (i % 2 ? ".c" : ""));
                        changes.push_back({made.back(), false});
                        break;
                    case 2:
                        if (file)
                            make_file(t / n, rng() % 3000);
                        break;
                    default:
                        if (file && ::unlink((t / n).c_str()) == 0)
                            ::mkdir((t / n).c_str(), 0755);
                    }
                    changes.push_back({n, dir});
                }
                DirPatchResult rows;
                ASSERT_EQ(dir_patch(l, changes, order, round % 2, env, rows), 0);

                DirListing fresh;
                fresh.path = t.path();
                fresh.filespec = filter;
                ASSERT_EQ(dir_read(fresh, order, round % 2, env), 0);
                std::vector<std::string> want = names_of(fresh);
                ASSERT_EQ(names_of(l), want);
                EXPECT_EQ(l.count, fresh.count);
                EXPECT_EQ(l.dirs, fresh.dirs);
                EXPECT_EQ(l.total_size, fresh.total_size);
                int selected = 0;
                for (int i = 0; i < l.count; ++i) {
                    EXPECT_EQ(l[i].status.st_size, fresh[i].status.st_size) << l[i].name;
                    EXPECT_EQ(l[i].flags & ~(DIR_F_SELECTED | DIR_F_CURRENT), fresh[i].flags) << l[i].name;
                    EXPECT_STREQ(l[i].link_text(), fresh[i].link_text());
                    selected += (l[i].flags & DIR_F_SELECTED) ? 1 : 0;
                    EXPECT_EQ((l[i].flags & DIR_F_CURRENT) != 0, i == l.current) << l[i].name;
                }
                EXPECT_EQ(l.selected, selected);
                ASSERT_GE(l.current, 0);
                if (find_record(fresh, current_name)) {
                    EXPECT_EQ(l[l.current].name, current_name);
                }

                for (auto it = rows.removed.rbegin(); it != rows.removed.rend(); ++it)
                    shown.erase(shown.begin() + *it);
                for (int i : rows.inserted)
                    shown.insert(shown.begin() + i, l[i].name);
                EXPECT_EQ(shown, want);
            }
}

}  // namespace
