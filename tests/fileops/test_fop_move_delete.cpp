// Moves (renames on one file system, copy and delete across two) and deletes on
// real files.
#include "fop_fixture.h"

#include <set>

namespace {
void make_tree(const std::string& root)
{
    mkdir(root.c_str(), 0755);
    mkdir((root + "/sub").c_str(), 0755);
    spit(root + "/one", pattern(700, 1));
    spit(root + "/sub/two", pattern(300000, 2));
    symlink("one", (root + "/sub/link").c_str());
}
}  // namespace

TEST(FopMove, SameDeviceRenamesWholeDirectoriesAndAsksAtEveryConflict)
{
    TmpDir t;
    make_tree(t / "tree");
    mkdir((t / "dst").c_str(), 0755);
    for (auto n : {"x", "y"}) {
        spit(t / n, std::string("new-") + n);
        spit(t / "dst/" + n, "old");
    }
    ScriptUi ui;
    std::string shown;  // the panel while x is asked about
    ui.rules.push_back({"Move", "The '" + t / "dst/x", "&Skip", [&](FopRequest&) { shown = texts(ui.views.back()); }});
    ui.rules.push_back({"Move", "The '" + t / "dst/y", "&Overwrite"});
    Items items;
    ASSERT_TRUE(run_fop(ui, FOP_MOVE, t.path(), {"x", "tree", "y"}, t / "dst", 0, &items));
    // A skip answers for its own item only: y is asked about too.
    EXPECT_EQ(ui.count("Move", "The '" + t / "dst/x" + "' file exists.\nWhat do you want to do ?\n"), 1);
    EXPECT_EQ(ui.calls.size(), 2u);
    EXPECT_EQ(shown.substr(0, shown.find("|1 of")), "Moving|From: " + t / "x" + "|  To: " + t / "dst/x");
    EXPECT_EQ(items, (Items{{t.path(), "tree"}, {t.path(), "y"}}));  // never scanned
    EXPECT_EQ(slurp(t / "x") + slurp(t / "dst/x"), "new-xold");
    EXPECT_EQ(slurp(t / "dst/y"), "new-y");
    EXPECT_TRUE(slurp(t / "dst/tree/sub/two") == pattern(300000, 2));
    EXPECT_FALSE(exists(t / "tree"));
}

TEST(FopMove, CrossDeviceDeletesSourcesOnlyAfterCompleteCopies)
{
    TmpDir t;
    TMPFS_OR_SKIP(fs, t / "other", "64M");
    std::string s = t / "s";
    mkdir(s.c_str(), 0755);
    make_tree(s + "/tree");
    const std::string odd = "\xff\xfe-name";
    spit(s + "/" + odd, pattern(5u << 20, 3));
    symlink("tree/one", (s + "/alink").c_str());

    ScriptUi ui;
    ui.rules.push_back({"Move", "Symbolic links detected in the file list\nWhat do you want to move ?", "&Links"});
    std::set<std::string> deleted;
    std::vector<std::string> incomplete;
    auto cb = [&](const std::string& dir, const std::string& name) {
        std::string src = dir + "/" + name;
        if (exists(src))
            return;  // the copy's callback; the delete's comes when the source is gone
        deleted.insert(src);
        if (!exists(fs.path() + src.substr(s.size())))
            incomplete.push_back(src);
    };
    ASSERT_TRUE(run_fop(ui, FOP_MOVE, s, {"tree", odd, "alink"}, fs.path(), 0, nullptr, cb));
    EXPECT_EQ(ui.calls.size(), 1u);
    EXPECT_TRUE(incomplete.empty());
    EXPECT_EQ(deleted.size(), 7u);  // tree, one, sub, two, sub/link, the odd name, alink
    EXPECT_TRUE(slurp(fs.path() + "/" + odd) == pattern(5u << 20, 3));
    EXPECT_TRUE(slurp(fs.path() + "/tree/sub/two") == pattern(300000, 2));
    EXPECT_EQ(link_of(fs.path() + "/alink"), "tree/one");
    for (const std::string& gone : {std::string("/tree"), std::string("/alink"), "/" + odd})
        EXPECT_FALSE(exists(s + gone)) << gone;
}

TEST(FopMove, CrossDeviceAbortHalfWayDeletesExactlyTheCompletedItems)
{
    TmpDir t;
    TMPFS_OR_SKIP(fs, t / "other", "64M");
    std::string s = t / "s";
    mkdir(s.c_str(), 0755);
    for (auto n : {"a", "b", "c", "d"})
        spit(s + "/" + n, std::string("new-") + n);
    spit(fs.path() + "/c", "old-c");
    ScriptUi ui;
    ui.rules.push_back({"Move", "The '", "&Overwrite"});  // the rename fails: another device
    ui.rules.push_back({"Copy/Move", "The '" + fs.path() + "/c' file exists.", "a&Bort"});
    ASSERT_TRUE(run_fop(ui, FOP_MOVE, s, {"a", "b", "c", "d"}, fs.path(), 0));
    EXPECT_FALSE(exists(s + "/a"));
    EXPECT_FALSE(exists(s + "/b"));
    EXPECT_EQ(slurp(s + "/c"), "new-c");
    EXPECT_EQ(slurp(s + "/d"), "new-d");
    EXPECT_EQ(slurp(fs.path() + "/a"), "new-a");
    EXPECT_EQ(slurp(fs.path() + "/c"), "old-c");
    EXPECT_FALSE(exists(fs.path() + "/d"));
}

TEST(FopDelete, TreeLinksAndOddNames)
{
    TmpDir t;
    make_tree(t / "tree");
    mkdir((t / "target").c_str(), 0755);
    spit(t / "target/keep", "keep");
    symlink((t / "target").c_str(), (t / "dirlink").c_str());
    const std::string odd = "\xe9t\xe9";
    spit(t / odd, "x");
    ScriptUi ui;
    Items items;
    ASSERT_TRUE(run_fop(ui, FOP_DELETE, t.path(), {"tree", "dirlink", odd}, "", FOPF_DELETE_ALL, &items));
    EXPECT_TRUE(ui.calls.empty());
    for (const std::string& gone : {std::string("tree"), std::string("dirlink"), odd})
        EXPECT_FALSE(exists(t / gone)) << gone;
    EXPECT_EQ(slurp(t / "target/keep"), "keep");  // only the link went
    EXPECT_EQ(items.size(), 7u);
    EXPECT_EQ(items.back(), Items::value_type(t.path(), "tree"));  // contents go before their directory
    EXPECT_EQ(ui.views.back().count_text, "7 of 7");
}

TEST(FopDelete, QuestionsPerFile)
{
    TmpDir t;
    spit(t / "ro", "r");
    chmod((t / "ro").c_str(), 0444);
    spit(t / "rw", "w");
    ScriptUi ui;  // the default flags: unwritable files are asked about, "&Skip" keeps them
    ui.rules.push_back({"Delete", "Unwriteable file", "&Skip"});
    Items items;
    ASSERT_TRUE(run_fop(ui, FOP_DELETE, t.path(), {"ro", "rw"}, "", 0, &items));
    EXPECT_EQ(ui.count("Delete", "Unwriteable file '" + t / "ro" + "'\n"), 1);
    EXPECT_EQ(ui.calls.size(), 1u);
    EXPECT_TRUE(exists(t / "ro"));
    EXPECT_FALSE(exists(t / "rw"));
    EXPECT_EQ(items, (Items{{t.path(), "rw"}}));

    spit(t / "a", "a");
    spit(t / "b", "b");
    ScriptUi every;  // asking about every file until "delete all"; last to first
    every.rules.push_back({"Delete", "File '" + t / "b" + "'\n", "&Skip"});
    every.rules.push_back({"Delete", "File '" + t / "a" + "'\n", "de&Lete all"});
    ASSERT_TRUE(run_fop(every, FOP_DELETE, t.path(), {"ro", "a", "b"}, "", FOPF_ASK_EVERY_DELETE));
    EXPECT_EQ(every.calls.size(), 2u);
    EXPECT_TRUE(exists(t / "b"));
    EXPECT_FALSE(exists(t / "a"));
    EXPECT_FALSE(exists(t / "ro"));
}
