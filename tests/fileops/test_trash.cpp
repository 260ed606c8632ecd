// The Trash and Undo on real files: what other programs read in the Trash,
// restoring, undoing each kind of step, and the refusals.
#include "fop_fixture.h"
#include "fileops/undo.h"

#include <cstdlib>
#include <sys/fsuid.h>

namespace {
// Every test gets a Trash of its own under its temporary directory.
class TrashTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        setenv("XDG_DATA_HOME", (t / "data").c_str(), 1);
        undo_clear();
    }
    std::string trash() const { return t / "data/Trash"; }
    TmpDir t;
};

bool run_request(ScriptUi& ui, std::unique_ptr<FopRequest> r)
{
    fop_set_done_delay_ms(0);
    return r && fop_launch(std::move(r), nullptr, {}, &ui) && ui.wait_done();
}

bool run_undo(ScriptUi& ui)
{
    UndoStep step;
    return undo_take(step) && run_request(ui, undo_request(step));
}
}  // namespace

TEST_F(TrashTest, TrashedItemsAreDescribedForOtherProgramsAndComeBackWhereTheyWere)
{
    const std::string odd = "a b%\xe9.txt";  // a blank, a percent sign and a byte that is not UTF-8
    spit(t / odd, pattern(70000, 3));
    mkdir((t / "d").c_str(), 0755);
    spit(t / "d/in", "in");
    ScriptUi ui;
    Items items;
    ASSERT_TRUE(run_fop(ui, FOP_TRASH, t.path(), {odd, "d"}, "", 0, &items));
    EXPECT_TRUE(ui.calls.empty());
    EXPECT_EQ(items.size(), 2u);
    EXPECT_FALSE(exists(t / odd));
    EXPECT_EQ(slurp(trash() + "/files/d/in"), "in");
    const std::string info = slurp(trash() + "/info/" + odd + ".trashinfo");
    EXPECT_EQ(info.rfind("[Trash Info]\nPath=" + t.path() + "/a%20b%25%E9.txt\nDeletionDate=20", 0), 0u) << info;

    // A second item of the same name gets a name of its own in the Trash.
    spit(t / odd, "second");
    ScriptUi again;
    ASSERT_TRUE(run_fop(again, FOP_TRASH, t.path(), {odd}, "", 0));
    auto entries = trash_list(trash());
    ASSERT_EQ(entries.size(), 3u);
    std::sort(entries.begin(), entries.end(), [](auto& a, auto& b) { return a.name < b.name; });
    EXPECT_EQ(entries[0].name, "a b%\xe9.2.txt");
    EXPECT_EQ(entries[0].original, t / odd);
    EXPECT_EQ(entries[2].name, "d");
    EXPECT_TRUE(entries[2].is_dir);

    // What is in the Trash already is not trashed into it again.
    ScriptUi inside;
    inside.rules.push_back({"Move to Trash", "'" + trash() + "/files/d' cannot be moved to the Trash:\nit is in "
                                             "the Trash already.", "&Skip"});
    ASSERT_TRUE(run_fop(inside, FOP_TRASH, trash() + "/files", {"d"}, "", 0));
    EXPECT_EQ(inside.calls.size(), 1u);
    EXPECT_EQ(trash_list(trash()).size(), 3u);

    // Restoring onto a name that is taken asks; keeping both gives "name (2)".
    spit(t / "d", "a file now");
    ScriptUi back;
    back.rules.push_back({"Restore", "'" + t / "d" + "' exists.", "&Keep Both"});
    auto r = fop_make(FOP_RESTORE, trash() + "/files", {entries[1].name, entries[2].name}, "", 0);
    r->restore = {entries[1], entries[2]};
    ASSERT_TRUE(run_request(back, std::move(r)));
    EXPECT_EQ(back.calls.size(), 1u);
    EXPECT_TRUE(slurp(t / odd) == pattern(70000, 3));
    EXPECT_EQ(slurp(t / "d (2)/in"), "in");
    EXPECT_EQ(slurp(t / "d"), "a file now");
    EXPECT_EQ(trash_list(trash()).size(), 1u);

    // A top-directory Trash keeps paths relative to its mount's top.
    std::string original, date;
    ASSERT_TRUE(trash_parse_info("[Trash Info]\r\nPath=x/y%20z\r\nDeletionDate=2026-01-02T03:04:05\r\n",
                                 "/media/stick/.Trash-" + std::to_string(getuid()), original, date));
    EXPECT_EQ(original, "/media/stick/x/y z");
    EXPECT_EQ(date, "2026-01-02T03:04:05");
    EXPECT_FALSE(trash_parse_info("[Trash Info]\nPath=relative\n", trash(), original, date));
}

TEST_F(TrashTest, UndoReversesEachStepAndRefusesWhenTheFileSystemChanged)
{
    mkdir((t / "src").c_str(), 0755);
    mkdir((t / "dst").c_str(), 0755);
    spit(t / "src/a", "a");
    spit(t / "src/b", "b");
    ScriptUi move;
    ASSERT_TRUE(run_fop(move, FOP_MOVE, t / "src", {"a", "b"}, t / "dst", 0));
    ScriptUi undo_move;
    ASSERT_TRUE(run_undo(undo_move));
    EXPECT_EQ(slurp(t / "src/a") + slurp(t / "src/b"), "ab");
    EXPECT_TRUE(dir_names(t / "dst").empty());
    EXPECT_FALSE(undo_available());  // an undo is not itself undone

    const auto append = [](const std::string& path, const char* bytes) {
        std::ofstream(path, std::ios::binary | std::ios::app) << bytes;
    };
    // Edited where it was moved to, it still goes back, edit and all.
    ScriptUi move_edit, undo_move_edit;
    ASSERT_TRUE(run_fop(move_edit, FOP_MOVE, t / "src", {"b"}, t / "dst", 0));
    append(t / "dst/b", "+");
    ASSERT_TRUE(run_undo(undo_move_edit));
    EXPECT_TRUE(undo_move_edit.calls.empty());
    EXPECT_EQ(slurp(t / "src/b"), "b+");
    spit(t / "src/b", "b");

    // A copy is undone by trashing the copy; the original stays. A copy edited
    // since, deep inside a directory too, goes only when the user says so.
    mkdir((t / "src/tree").c_str(), 0755);
    mkdir((t / "src/tree/sub").c_str(), 0755);
    spit(t / "src/tree/sub/f", "f");
    spit(t / "src/c", "c");
    ScriptUi copy, undo_copy;
    ASSERT_TRUE(run_fop(copy, FOP_COPY, t / "src", {"a", "c", "tree"}, t / "dst", 0));
    append(t / "dst/c", " edited");
    append(t / "dst/tree/sub/f", " edited");
    undo_copy.rules.push_back({"Undo", "'" + t / "dst/c" + "' was changed after it was copied.\nMove it to the "
                                       "Trash anyway?\n", "&Skip"});
    undo_copy.rules.push_back({"Undo", "'" + t / "dst/tree" + "' was changed", "&Trash It"});
    ASSERT_TRUE(run_undo(undo_copy));
    EXPECT_EQ(undo_copy.calls.size(), 2u);
    EXPECT_EQ(dir_names(t / "dst"), std::vector<std::string>{"c"});
    EXPECT_EQ(slurp(t / "dst/c"), "c edited");
    EXPECT_EQ(slurp(trash() + "/files/a"), "a");
    EXPECT_EQ(slurp(trash() + "/files/tree/sub/f"), "f edited");
    EXPECT_EQ(slurp(t / "src/a"), "a");
    unlink((t / "dst/c").c_str());

    // A trashed file comes back byte for byte.
    spit(t / "src/big", pattern(123457, 9));
    ScriptUi put, undo_put;
    ASSERT_TRUE(run_fop(put, FOP_TRASH, t / "src", {"big"}, "", 0));
    EXPECT_EQ(undo_label(), "&Undo Move to Trash");
    ASSERT_TRUE(run_undo(undo_put));
    EXPECT_TRUE(slurp(t / "src/big") == pattern(123457, 9));
    EXPECT_FALSE(exists(trash() + "/info/big.trashinfo"));

    // Refused: the moved file was replaced since; a new file is where a trashed one was.
    ScriptUi move2, refused;
    ASSERT_TRUE(run_fop(move2, FOP_MOVE, t / "src", {"b"}, t / "dst", 0));
    unlink((t / "dst/b").c_str());
    spit(t / "dst/b", "another b");
    ASSERT_TRUE(run_undo(refused));
    EXPECT_EQ(refused.count("Undo", "Cannot undo: '" + t / "dst/b" + "' was changed or removed since.\n"), 1);
    EXPECT_EQ(slurp(t / "dst/b"), "another b");
    EXPECT_FALSE(exists(t / "src/b"));

    ScriptUi put2, in_the_way;
    ASSERT_TRUE(run_fop(put2, FOP_TRASH, t / "src", {"a"}, "", 0));
    spit(t / "src/a", "new a");
    ASSERT_TRUE(run_undo(in_the_way));
    EXPECT_EQ(in_the_way.count("Undo", "Cannot undo: '" + t / "src/a" + "' is in the way.\n"), 1);
    EXPECT_EQ(slurp(t / "src/a"), "new a");
    EXPECT_EQ(trash_list(trash()).size(), 3u);  // the copies undone above, and a
}

TEST_F(TrashTest, AFileSystemWithoutAWritableTrashAsksToDeletePermanently)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to mount and to switch the file-system user";
    chmod(t.path().c_str(), 0755);
    TMPFS_OR_SKIP(fs, t / "mnt", "1M");
    chmod(fs.path().c_str(), 0755);  // nobody cannot make a Trash at its top
    const std::string home = fs.path() + "/home";
    mkdir(home.c_str(), 0755);
    chown(home.c_str(), 65534, 65534);
    for (auto n : {"keep", "gone"})
        spit(home + "/" + n, n);
    mkdir((home + "/dir").c_str(), 0755);
    spit(home + "/dir/inside", "x");
    chown((home + "/dir").c_str(), 65534, 65534);
    ScriptUi ui;
    ui.rules.push_back({"Move to Trash", "'" + home + "/keep' cannot be moved to the Trash", "&Skip"});
    ui.rules.push_back({"Move to Trash", "'" + home + "/dir' cannot be moved to the Trash", "Delete A&ll"});
    setfsgid(65534);
    setfsuid(65534);
    const bool ran = setfsuid(-1) == 65534 && run_fop(ui, FOP_TRASH, home, {"keep", "dir", "gone"}, "", 0);
    setfsuid(0);
    setfsgid(0);
    ASSERT_TRUE(ran);
    EXPECT_EQ(ui.calls.size(), 2u);  // "Delete All" answered for gone
    EXPECT_EQ(dir_names(home), std::vector<std::string>{"keep"});
    EXPECT_FALSE(exists(fs.path() + "/.Trash-" + std::to_string(getuid())));
    EXPECT_FALSE(undo_available());

    // What another program copied into a Trash of another file system comes back
    // by a copy once the user allows the place, and leaves that Trash; a path
    // that climbs out of the Trash's top is never restored.
    const std::string other = fs.path() + "/.Trash-" + std::to_string(getuid());
    for (auto d : {"", "/files", "/info"})
        mkdir((other + d).c_str(), 0700);
    for (auto [name, path] : {std::pair<std::string, std::string>{"far", t / "far"}, {"up", "../up"}}) {
        spit(other + "/files/" + name, pattern(50000, 5));
        spit(other + "/info/" + name + ".trashinfo", "[Trash Info]\nPath=" + path + "\nDeletionDate=2026-01-02T03:04:05\n");
    }
    auto r = fop_make(FOP_RESTORE, other + "/files", {"far", "up"}, "", 0);
    r->restore = trash_list(other);
    std::sort(r->restore.begin(), r->restore.end(), [](auto& a, auto& b) { return a.name < b.name; });
    ScriptUi back;
    back.rules.push_back({"Restore", "'" + other + "/files/far' is in the Trash of another file system.\nRestore it to '" +
                                         t / "far" + "'?\n", "&Restore"});
    back.rules.push_back({"Restore", "Unable to restore '" + fs.path() + "/../up'\nThe path", "&Continue"});
    ASSERT_TRUE(run_request(back, std::move(r)));
    EXPECT_EQ(back.calls.size(), 2u);
    EXPECT_TRUE(slurp(t / "far") == pattern(50000, 5));
    EXPECT_FALSE(exists(t / "up"));
    EXPECT_EQ(dir_names(other + "/info"), std::vector<std::string>{"up.trashinfo"});
}

TEST_F(TrashTest, ATopDirectoryTrashIsUsedOnlyWhenItIsARealDirectoryOfTheUser)
{
    TMPFS_OR_SKIP(fs, t / "mnt", "1M");
    const std::string top = fs.path(), uid = std::to_string(getuid()), own = top + "/.Trash-" + uid;
    // The owner of a directory in the shared .Trash could read what goes there.
    mkdir((top + "/.Trash").c_str(), 0);
    chmod((top + "/.Trash").c_str(), 01777);
    mkdir((top + "/.Trash/" + uid).c_str(), 0700);
    chown((top + "/.Trash/" + uid).c_str(), 65534, 65534);
    spit(top + "/a", "a");
    EXPECT_EQ(trash_put(top + "/a", 0).entry.trash_dir, own);
    EXPECT_EQ(trash_dirs_at(top), std::vector<std::string>{own});

    // A link is no Trash, even to one; nor is another user's .Trash-$uid.
    chown((top + "/.Trash/" + uid).c_str(), getuid(), getgid());
    rename((top + "/.Trash").c_str(), (top + "/shared").c_str());
    symlink("shared", (top + "/.Trash").c_str());
    chown(own.c_str(), 65534, 65534);
    spit(top + "/b", "b");
    EXPECT_EQ(trash_put(top + "/b", 0).error_kind, TrashError::NoTrash);
    EXPECT_TRUE(trash_dirs_at(top).empty());
    chown(own.c_str(), getuid(), getgid());
    rename(own.c_str(), (top + "/own").c_str());
    symlink("own", own.c_str());
    EXPECT_TRUE(trash_dirs_at(top).empty());
}
