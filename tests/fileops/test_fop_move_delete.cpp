// Moves (renames on one file system, copy and delete across two) and deletes on
// real files.
#include "fop_test_ui.h"
#include "tmpdir.h"

#include <gtest/gtest.h>
#include <set>

namespace {
using Items = std::vector<std::pair<std::string, std::string>>;

void make_tree(const std::string& root)
{
    mkdir(root.c_str(), 0755);
    mkdir((root + "/sub").c_str(), 0755);
    put_file(root + "/one", pattern(700, 1));
    put_file(root + "/sub/two", pattern(300000, 2));
    symlink("one", (root + "/sub/link").c_str());
}
}  // namespace

TEST(FopMoveSameDevice, RenamesWholeDirectoriesAndAsksOnce)
{
    TmpDir t;
    make_tree(t / "tree");
    mkdir((t / "dst").c_str(), 0755);
    put_file(t / "x", "new-x");
    put_file(t / "y", "new-y");
    put_file(t / "dst/x", "old");
    put_file(t / "dst/y", "old");
    ScriptUi ui;
    ui.rules.push_back({"Move", "The '", "&Overwrite", {}});
    Items items;
    ASSERT_TRUE(run_fop(ui, FOP_MOVE, t.path(), {"x", "tree", "y"}, t / "dst", 0, &items));
    // After the first rename every flag is on: y is overwritten without a question.
    EXPECT_EQ(ui.count("Move", "The '" + t / "dst/x" + "' file exists.\nWhat do you want to do ?\n"), 1);
    EXPECT_EQ(ui.calls().size(), 1u);
    EXPECT_EQ(items, (Items{{t.path(), "x"}, {t.path(), "tree"}, {t.path(), "y"}}));  // never scanned
    EXPECT_EQ(get_file(t / "dst/y"), "new-y");
    EXPECT_EQ(get_file(t / "dst/tree/sub/two"), pattern(300000, 2));
    EXPECT_FALSE(exists(t / "tree"));
}

TEST(FopMoveSameDevice, OntoItselfIsRefused)
{
    TmpDir t;
    put_file(t / "a", "a");
    ScriptUi ui;
    ASSERT_TRUE(run_fop(ui, FOP_MOVE, t.path(), {"a"}, t.path(), FOPF_OVERWRITE_ALL));
    EXPECT_EQ(ui.count("File Scan", "Can't move file(s) into itself."), 1);
    EXPECT_EQ(get_file(t / "a"), "a");
}

TEST(FopMoveCrossDevice, SourcesGoOnlyAfterCompleteCopies)
{
    TmpDir t;
    PrivateTmpfs fs(t / "other", "64M");
    if (!fs.ok())
        GTEST_SKIP() << "needs a private tmpfs mount: " << fs.why();
    std::string s = t / "s";
    mkdir(s.c_str(), 0755);
    make_tree(s + "/tree");
    const std::string odd = "\xff\xfe-name";
    put_file(s + "/" + odd, pattern(5u << 20, 3));
    symlink("tree/one", (s + "/alink").c_str());

    ScriptUi ui;
    ui.rules.push_back({"Move", "Symbolic links detected in the file list\nWhat do you want to move ?", "&Links", {}});
    std::set<std::string> deleted;
    std::vector<std::string> incomplete;
    auto cb = [&](const std::string& dir, const std::string& name) {
        std::string src = dir + "/" + name;
        if (exists(src))
            return;  // the copy's callback; the delete's comes when the source is gone
        deleted.insert(src);
        std::string tgt = fs.path() + src.substr(s.size());
        struct stat st;
        if (lstat(tgt.c_str(), &st) != 0)
            incomplete.push_back(src);
    };
    ASSERT_TRUE(run_fop(ui, FOP_MOVE, s, {"tree", odd, "alink"}, fs.path(), 0, nullptr, cb));
    EXPECT_EQ(ui.calls().size(), 1u);
    EXPECT_TRUE(incomplete.empty());
    EXPECT_EQ(deleted.size(), 7u);  // tree, one, sub, two, sub/link, the odd name, alink
    EXPECT_EQ(get_file(fs.path() + "/" + odd), pattern(5u << 20, 3));
    EXPECT_EQ(get_file(fs.path() + "/tree/sub/two"), pattern(300000, 2));
    char buf[32] = {};
    ASSERT_GT(readlink((fs.path() + "/alink").c_str(), buf, sizeof buf - 1), 0);
    EXPECT_STREQ(buf, "tree/one");
    EXPECT_FALSE(exists(s + "/tree"));
    EXPECT_FALSE(exists(s + "/alink"));
    EXPECT_FALSE(exists(s + "/" + odd));
}

TEST(FopMoveCrossDevice, AbortHalfWayDeletesExactlyTheCompletedItems)
{
    TmpDir t;
    PrivateTmpfs fs(t / "other", "64M");
    if (!fs.ok())
        GTEST_SKIP() << "needs a private tmpfs mount: " << fs.why();
    std::string s = t / "s";
    mkdir(s.c_str(), 0755);
    for (auto n : {"a", "b", "c", "d"})
        put_file(s + "/" + n, std::string("new-") + n);
    put_file(fs.path() + "/c", "old-c");
    ScriptUi ui;
    ui.rules.push_back({"Move", "The '", "&Overwrite", {}});  // the rename fails: another device
    ui.rules.push_back({"Copy/Move", "The '" + fs.path() + "/c' file exists.", "a&Bort", {}});
    ASSERT_TRUE(run_fop(ui, FOP_MOVE, s, {"a", "b", "c", "d"}, fs.path(), 0));
    EXPECT_FALSE(exists(s + "/a"));
    EXPECT_FALSE(exists(s + "/b"));
    EXPECT_EQ(get_file(s + "/c"), "new-c");
    EXPECT_EQ(get_file(s + "/d"), "new-d");
    EXPECT_EQ(get_file(fs.path() + "/a"), "new-a");
    EXPECT_EQ(get_file(fs.path() + "/c"), "old-c");
    EXPECT_FALSE(exists(fs.path() + "/d"));
}

TEST(FopDelete, TreeLinksAndOddNames)
{
    TmpDir t;
    make_tree(t / "tree");
    mkdir((t / "target").c_str(), 0755);
    put_file(t / "target/keep", "keep");
    symlink((t / "target").c_str(), (t / "dirlink").c_str());
    const std::string odd = "\xe9t\xe9";
    put_file(t / odd, "x");
    ScriptUi ui;
    Items items;
    ASSERT_TRUE(run_fop(ui, FOP_DELETE, t.path(), {"tree", "dirlink", odd}, "", FOPF_DELETE_ALL, &items));
    EXPECT_TRUE(ui.calls().empty());
    EXPECT_FALSE(exists(t / "tree"));
    EXPECT_FALSE(exists(t / "dirlink"));
    EXPECT_FALSE(exists(t / odd));
    EXPECT_EQ(get_file(t / "target/keep"), "keep");  // only the link went
    EXPECT_EQ(items.size(), 7u);
    // Contents go before their directory.
    EXPECT_EQ(items.back(), (std::pair<std::string, std::string>{t.path(), "tree"}));
    EXPECT_EQ(ui.views().back().count_text, "7 of 7");
}

TEST(FopDelete, QuestionsPerFile)
{
    TmpDir t;
    put_file(t / "ro", "r");
    chmod((t / "ro").c_str(), 0444);
    put_file(t / "rw", "w");
    {
        ScriptUi ui;  // the default answers: unwritable files are asked about, "&Skip" keeps them
        ui.rules.push_back({"Delete", "Unwriteable file", "&Skip", {}});
        Items items;
        ASSERT_TRUE(run_fop(ui, FOP_DELETE, t.path(), {"ro", "rw"}, "", 0, &items));
        EXPECT_EQ(ui.count("Delete", "Unwriteable file '" + t / "ro" + "'\n"), 1);
        EXPECT_EQ(ui.calls().size(), 1u);
        EXPECT_TRUE(exists(t / "ro"));
        EXPECT_FALSE(exists(t / "rw"));
        EXPECT_EQ(items, (Items{{t.path(), "rw"}}));
    }
    put_file(t / "a", "a");
    put_file(t / "b", "b");
    {
        ScriptUi ui;  // asking about every file until "delete all"; last to first
        ui.rules.push_back({"Delete", "File '" + t / "b" + "'\n", "&Skip", {}});
        ui.rules.push_back({"Delete", "File '" + t / "a" + "'\n", "de&Lete all", {}});
        ASSERT_TRUE(run_fop(ui, FOP_DELETE, t.path(), {"ro", "a", "b"}, "", FOPF_ASK_EVERY_DELETE));
        EXPECT_EQ(ui.calls().size(), 2u);
        EXPECT_TRUE(exists(t / "b"));
        EXPECT_FALSE(exists(t / "a"));
        EXPECT_FALSE(exists(t / "ro"));
    }
}
