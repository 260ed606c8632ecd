// Copy operations on real files: contents, attributes, the questions a copy
// asks, full disks, pause and cancel, and the checks that refuse to copy a file
// or directory into itself.
#include "fop_fixture.h"

#include <climits>
#include <sys/fsuid.h>

#include "shell/kit/io_util.h"

namespace {
const std::size_t kSizes[] = {0, 3, 700, 300000, 5u << 20};

// Copies parent/tree to dst and checks what arrives: contents byte for byte,
// the modes and times of files and directories, a read-only directory that
// still got its contents, fifos and links; sockets are left out without a word.
void copy_tree_to(const std::string& parent, const std::string& dst)
{
    ScriptUi ui;
    ui.rules.push_back({"Copy", "Symbolic links detected", "&Links"});
    ASSERT_TRUE(run_fop(ui, FOP_COPY, parent, {"tree"}, dst, 0));
    EXPECT_EQ(ui.count("Copy", "Symbolic links detected in the file list\nWhat do you want to copy ?"), 1);
    EXPECT_EQ(ui.calls.size(), 1u);
    for (std::size_t n : kSizes)
        EXPECT_TRUE(slurp(dst + "/f" + std::to_string(n)) == pattern(n, unsigned(n))) << n;
    EXPECT_EQ(lmode(dst + "/f700") & 0777, 0640u);
    EXPECT_EQ(lstat_of(dst + "/f3").st_mtim.tv_sec, 1200000000);
    EXPECT_EQ(lmode(dst) & 0777, 0750u);
    EXPECT_EQ(lmode(dst + "/sub") & 0777, 0555u);
    EXPECT_EQ(lstat_of(dst + "/sub").st_mtim.tv_sec, 1100000000);
    EXPECT_EQ(slurp(dst + "/sub/a"), "aaa");
    EXPECT_TRUE(S_ISDIR(lmode(dst + "/empty")));
    EXPECT_TRUE(S_ISFIFO(lmode(dst + "/fifo")));
    EXPECT_EQ(link_of(dst + "/l1"), "sub/a");
    EXPECT_EQ(link_of(dst + "/l2"), "/nonexistent");
    EXPECT_FALSE(exists(dst + "/sock"));
    EXPECT_TRUE(slurp(dst + "/sparse") == slurp(parent + "/tree/sparse"));
    EXPECT_LE(lstat_of(dst + "/sparse").st_blocks * 512, 256 * 1024);  // holes kept
    EXPECT_EQ(ui.views.back().first_line, "Done");
    EXPECT_EQ(ui.views.back().percent, 100);
    chmod((dst + "/sub").c_str(), 0755);
}
}  // namespace

TEST(FopCopyTree, EveryKindOfEntryOnTheSameAndAnotherFileSystem)
{
    TmpDir t;
    std::string s = t / "tree";
    mkdir(s.c_str(), 0750);
    for (std::size_t n : kSizes)
        spit(s + "/f" + std::to_string(n), pattern(n, unsigned(n)));
    chmod((s + "/f700").c_str(), 0640);
    struct timespec f3_time[2] = {{1000000000, 0}, {1200000000, 0}}, sub_time[2] = {{0, 0}, {1100000000, 0}};
    utimensat(AT_FDCWD, (s + "/f3").c_str(), f3_time, 0);
    mkdir((s + "/empty").c_str(), 0700);
    mkdir((s + "/sub").c_str(), 0755);
    spit(s + "/sub/a", "aaa");
    mkfifo((s + "/fifo").c_str(), 0600);
    symlink("sub/a", (s + "/l1").c_str());
    symlink("/nonexistent", (s + "/l2").c_str());
    ASSERT_EQ(mknod((s + "/sock").c_str(), S_IFSOCK | 0600, 0), 0);
    {  // 5 MiB with 8 KiB of data in its middle
        UniqueFd f(open((s + "/sparse").c_str(), O_WRONLY | O_CREAT, 0644));
        ASSERT_EQ(pwrite(f.get(), pattern(8192).data(), 8192, 2 << 20), 8192);
        ASSERT_EQ(ftruncate(f.get(), 5 << 20), 0);
    }
    chmod((s + "/sub").c_str(), 0555);  // contents still go in: created writable first
    utimensat(AT_FDCWD, (s + "/sub").c_str(), sub_time, 0);

    copy_tree_to(t.path(), t / "copy");
    PrivateTmpfs fs(t / "other", "64M");
    if (fs.ok())
        copy_tree_to(t.path(), fs.path() + "/copy");

    // Answered the other way, a link is copied as the file it points to.
    ScriptUi files;
    files.rules.push_back({"Copy", "Symbolic links", "&Files"});
    ASSERT_TRUE(run_fop(files, FOP_COPY, s, {"l1"}, t / "followed", 0));
    EXPECT_TRUE(S_ISREG(lmode(t / "followed")));
    EXPECT_EQ(slurp(t / "followed"), "aaa");
    chmod((s + "/sub").c_str(), 0755);
    if (!fs.ok())
        GTEST_SKIP() << "needs a private tmpfs mount: " << fs.why();
}

namespace {
// Sources that change between the scan and their copy: the copy goes by what is
// there when it gets to them. The overwrite question on "first" comes after the
// scan and before the files in "later".
void copy_changed_after_scan(const std::string& s, const std::string& dst)
{
    mkdir(s.c_str(), 0755);
    spit(s + "/first", "new");
    spit(dst + "/first", "old");
    std::string l = s + "/later";
    mkdir(l.c_str(), 0755);
    spit(l + "/grows", pattern(100000, 1));
    spit(l + "/shrinks", pattern(3u << 20, 2));
    spit(l + "/to-link", "regular");
    ScriptUi ui;
    ui.rules.push_back({"Copy/Move", "The '" + dst + "/first' file exists.", "&Overwrite", [l](FopRequest&) {
                            spit(l + "/grows", pattern(3u << 20, 3));
                            ASSERT_EQ(truncate((l + "/shrinks").c_str(), 1000), 0);
                            unlink((l + "/to-link").c_str());
                            symlink("grows", (l + "/to-link").c_str());
                        }});
    ASSERT_TRUE(run_fop(ui, FOP_COPY, s, {"first", "later"}, dst, FOPF_SYM_LINKS));
    EXPECT_EQ(ui.calls.size(), 1u);
    EXPECT_EQ(slurp(dst + "/first"), "new");
    EXPECT_TRUE(slurp(dst + "/later/grows") == pattern(3u << 20, 3));
    EXPECT_TRUE(slurp(dst + "/later/shrinks") == pattern(3u << 20, 2).substr(0, 1000));
    EXPECT_TRUE(S_ISLNK(lmode(dst + "/later/to-link")));
    EXPECT_EQ(ui.views.back().first_line, "Done");
}
}  // namespace

TEST(FopCopyTree, SourcesChangedAfterTheScan)
{
    TmpDir t;
    mkdir((t / "dst").c_str(), 0755);
    copy_changed_after_scan(t / "s", t / "dst");
    TMPFS_OR_SKIP(fs, t / "other", "64M");
    copy_changed_after_scan(t / "s2", fs.path());
}

TEST(FopCopyTree, OwnersGroupsAndSetIdBitsKept)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to give files other owners";
    TmpDir t;
    std::string s = t / "s";
    mkdir(s.c_str(), 0755);
    mkdir((s + "/in").c_str(), 0755);
    for (std::string d : {s, s + "/in"}) {
        ASSERT_EQ(chown(d.c_str(), 0, 23456), 0);
        spit(d + "/mine", "m");
        spit(d + "/theirs", "t");
        ASSERT_EQ(chown((d + "/theirs").c_str(), 12345, 23456), 0);
        spit(d + "/setid", "x");
        chmod((d + "/setid").c_str(), 06755);
    }

    // Under a set-group-ID directory the copied directories are set-group-ID
    // too, and the files made in them get the directories' group, not the
    // source's.
    std::string sgid = t / "sgid", plain = t / "plain";
    mkdir(sgid.c_str(), 0777);
    ASSERT_EQ(chown(sgid.c_str(), 0, 23456), 0);
    chmod(sgid.c_str(), 02777);
    mkdir(plain.c_str(), 0755);
    using Owner = std::pair<uid_t, gid_t>;
    auto owner = [](const std::string& p) { return Owner(lstat_of(p).st_uid, lstat_of(p).st_gid); };
    for (const std::string& dst : {sgid, plain}) {
        ScriptUi ui;
        ASSERT_TRUE(run_fop(ui, FOP_COPY, t.path(), {"s"}, dst, 0));
        EXPECT_TRUE(ui.calls.empty());
        for (std::string d : {dst + "/s", dst + "/s/in"}) {
            EXPECT_EQ(owner(d + "/mine"), Owner(0, 0)) << d;
            EXPECT_EQ(owner(d + "/theirs"), Owner(12345, 23456)) << d;
            EXPECT_EQ(owner(d + "/setid"), Owner(0, 0)) << d;
            EXPECT_EQ(lmode(d + "/setid") & 07777, 06755u) << d;
        }
    }
}

TEST(FopCopyDestination, IntoItselfIsRefusedAndEverythingStaysIntact)
{
    TmpDir t;
    mkdir((t / "d").c_str(), 0755);
    mkdir((t / "e").c_str(), 0755);
    mkdir((t / "d/sub").c_str(), 0755);
    spit(t / "d/f", "original");
    chmod((t / "d").c_str(), 0700);
    link((t / "d/f").c_str(), (t / "e/hard").c_str());
    symlink((t / "d/f").c_str(), (t / "e/sym").c_str());
    struct {
        int kind;
        std::string srcdir, name, dest, message;
    } cases[] = {
        {FOP_COPY, t / "d", "f", t / "e/hard", "Can't copy file(s) into itself."},
        {FOP_COPY, t / "d", "f", t / "e/sym", "Can't copy file(s) into itself."},
        {FOP_COPY, t / "d", "f", t / "d", "Can't copy file(s) into itself."},
        {FOP_COPY, t.path(), "d", t / "d/sub", "Can't copy file(s) into itself."},
        {FOP_COPY, t.path(), "d", t / "d/new", "Can't copy file(s) into itself."},
        {FOP_COPY, t.path(), "d", t.path(), "Can't copy file(s) into itself."},
        {FOP_MOVE, t.path(), "d", t / "d/new/deeper", "Can't move file(s) into itself."},
        {FOP_MOVE, t / "d", "f", t / "d", "Can't move file(s) into itself."},
    };
    for (auto& c : cases) {
        ScriptUi ui;
        ASSERT_TRUE(run_fop(ui, c.kind, c.srcdir, {c.name}, c.dest, FOPF_OVERWRITE_ALL));
        EXPECT_EQ(ui.count("File Scan", c.message), 1) << c.dest;
        EXPECT_EQ(slurp(t / "d/f"), "original") << c.dest;
    }
    EXPECT_TRUE(S_ISLNK(lmode(t / "e/sym")));
    EXPECT_EQ(slurp(t / "e/hard"), "original");
    EXPECT_FALSE(exists(t / "d/sub/d"));
    EXPECT_FALSE(exists(t / "d/new"));  // refused before anything was made
    EXPECT_EQ(lmode(t / "d") & 07777, 0700u);  // never loosened, not even for a moment
}

TEST(FopCopyDestination, ChecksBeforeAnyWork)
{
    TmpDir t;
    spit(t / "a", "a");
    spit(t / "b", "b");
    mkdir((t / "dir").c_str(), 0755);
    struct {
        std::vector<std::string> names;
        std::string dest, title, message, answer, made, contents;  // made: a file the copy leaves
    } cases[] = {
        // No answer: Escape, which is the last button, "&Abort"; the directory is not made.
        {{"a", "b"}, t / "new", "Make Directory",
         "The '" + t / "new" + "' directory doesn't exist\nDo you want to create this directory ?", "", "", ""},
        {{"a", "b"}, t / "new", "Make Directory", "The '", "&Yes", t / "new/b", "b"},
        {{"a", "b"}, t / "new/a", "File Scan", "Can't copy/move multiple files into \n'" + t / "new/a" + "'\n", "", "",
         ""},
        {{"dir"}, t / "a", "File Scan", "Source and destination file types mismatch.", "", t / "a", "a"},
        {{"a"}, t / "renamed", "", "", "", t / "renamed", "a"},  // one file onto a missing name
    };
    for (auto& c : cases) {
        ScriptUi ui;
        ui.rules.push_back({c.title, "", c.answer});
        ASSERT_TRUE(run_fop(ui, FOP_COPY, t.path(), c.names, c.dest, 0));
        EXPECT_EQ(ui.calls.size(), c.title.empty() ? 0u : 1u) << c.dest;
        EXPECT_EQ(ui.count(c.title, c.message), c.title.empty() ? 0 : 1) << c.dest;
        EXPECT_EQ(c.made.empty() ? "" : slurp(c.made), c.contents) << c.dest;
        EXPECT_EQ(exists(t / "new"), &c != &cases[0]) << c.dest;
    }
}

TEST(FopCopyQuestions, OverwriteSkipAndAllAndLinksAtTheTarget)
{
    TmpDir t;
    mkdir((t / "s").c_str(), 0755);
    mkdir((t / "d").c_str(), 0755);
    for (auto n : {"a", "b", "c", "e", "f"})
        spit(t / "s" + "/" + n, std::string("new-") + n);
    for (auto n : {"a", "b", "c"})
        spit(t / "d" + "/" + n, "old");
    // A directory merged into one that is there keeps the mode of the one there.
    mkdir((t / "s/m").c_str(), 0777);
    chmod((t / "s/m").c_str(), 0777);
    spit(t / "s/m/x", "x");
    mkdir((t / "d/m").c_str(), 0700);
    // Dangling links at the target names: asked about and replaced, never followed.
    symlink((t / "out-e").c_str(), (t / "d/e").c_str());
    symlink((t / "out-f").c_str(), (t / "d/f").c_str());
    ScriptUi ui;
    ui.rules.push_back({"Copy/Move", "The '" + t / "d/a", "&Skip"});
    ui.rules.push_back({"Copy/Move", "The '" + t / "d/e", "&Skip"});
    ui.rules.push_back({"Copy/Move", "The '" + t / "d/b", "Overwrite &All"});
    ASSERT_TRUE(run_fop(ui, FOP_COPY, t / "s", {"a", "e", "b", "c", "f", "m"}, t / "d", 0));
    EXPECT_EQ(ui.count("Copy/Move", "The '"), 3);  // not asked again after "Overwrite All"
    EXPECT_EQ(ui.count("Copy/Move", "The '" + t / "d/a' file exists.\nWhat do you want to do ?\n"), 1);
    EXPECT_EQ(slurp(t / "d/a"), "old");
    EXPECT_EQ(slurp(t / "d/b"), "new-b");
    EXPECT_EQ(slurp(t / "d/c"), "new-c");
    EXPECT_TRUE(S_ISLNK(lmode(t / "d/e")));
    EXPECT_EQ(slurp(t / "d/f"), "new-f");
    EXPECT_TRUE(S_ISREG(lmode(t / "d/f")));
    EXPECT_FALSE(exists(t / "out-e"));
    EXPECT_FALSE(exists(t / "out-f"));
    EXPECT_EQ(slurp(t / "d/m/x"), "x");
    EXPECT_EQ(lmode(t / "d/m") & 07777, 0700u);
}

TEST(FopCopyNames, NonUtf8AndOverLongTargets)
{
    TmpDir t;
    const std::string odd = "caf\xe9-\xff\xfe";
    mkdir((t / "s").c_str(), 0755);
    mkdir((t / ("s/" + odd)).c_str(), 0755);
    spit(t / ("s/" + odd + "/" + odd), "latin1");
    ScriptUi ui;
    ASSERT_TRUE(run_fop(ui, FOP_COPY, t / "s", {odd}, t / "d", 0));
    EXPECT_EQ(slurp(t / ("d/" + odd)), "latin1");

    // A target path past PATH_MAX goes to the over-long-name dialog.
    std::string deep = t / "deep";
    mkdir(deep.c_str(), 0755);
    while (deep.size() < 3900) {
        deep += "/" + std::string(200, 'x');
        ASSERT_EQ(mkdir(deep.c_str(), 0755), 0);
    }
    std::string longname(250, 'n');
    spit(t / longname, "long");
    ScriptUi skip;
    ASSERT_TRUE(run_fop(skip, FOP_COPY, t.path(), {longname}, deep, 0));
    EXPECT_EQ(skip.count("", t / longname), 1);
    ScriptUi ren;
    ren.on_too_long = [](const std::string&, const std::string&, std::string& n) {
        n = "short";
        return true;
    };
    ASSERT_TRUE(run_fop(ren, FOP_COPY, t.path(), {longname}, deep, 0));
    EXPECT_EQ(slurp(deep + "/short"), "long");
}

// A disk that fills up in the middle of a file: a private 4 MiB tmpfs half
// taken by a filler, and a 3 MiB source, onto a missing target, over an old one
// and over a link at the target's name.
TEST(FopFullDisk, RetrySkipAndAbortLoseNothing)
{
    TmpDir t;
    spit(t / "big", pattern(3 << 20));
    for (std::string answer : {"&Retry", "&Skip", "&Abort", "&Retry old", "&Skip old", "&Abort old", "&Skip link"}) {
        const bool old = answer.size() > 6, link = answer.ends_with("link");
        answer.resize(answer.find(' ') == std::string::npos ? answer.size() : answer.find(' '));
        TMPFS_OR_SKIP(fs, t / "small", "4M");
        std::string filler = fs.path() + "/filler", target = fs.path() + "/big";
        spit(filler, std::string(2 << 20, 'f'));
        if (link)
            symlink("elsewhere", target.c_str());
        else if (old)
            spit(target, "old");
        ScriptUi ui;
        ui.rules.push_back({"Copy/Move", "The '" + target, "&Overwrite"});
        ui.rules.push_back({"Write error", "Unable to write '" + target + "'\nNo space left on device\n", answer,
                            [&](FopRequest&) {
                                if (answer == "&Retry")
                                    unlink(filler.c_str());
                            }});
        ASSERT_TRUE(run_fop(ui, FOP_COPY, t.path(), {"big"}, fs.path(), 0));
        EXPECT_EQ(ui.count("Write error"), 1) << answer;
        // Retry once there is room gives the whole file; Skip and Abort leave no partial
        // target, and the old one (or the link) as it was.
        EXPECT_EQ(exists(target), answer == "&Retry" || old) << answer;
        EXPECT_TRUE(answer != "&Retry" || slurp(target) == pattern(3 << 20));
        EXPECT_TRUE(answer == "&Retry" || !old || (link ? link_of(target) == "elsewhere" : slurp(target) == "old"))
            << answer;
        EXPECT_EQ(dir_names(fs.path()).size(), answer != "&Retry" && old ? 2u : 1u) << answer;  // no temporary left
        EXPECT_TRUE(answer != "&Skip" || ui.views.back().first_line == "Done");
    }
}

TEST(FopCopyErrors, UnreadableSubdirectoryReadOnlyDestinationAndOwnerQuestion)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to switch the file-system user";
    TmpDir t;
    chmod(t.path().c_str(), 0777);
    std::string s = t / "top";
    mkdir(s.c_str(), 0755);
    spit(s + "/a", "a");
    spit(s + "/z", "z");
    mkdir((s + "/locked").c_str(), 0700);
    spit(s + "/locked/inside", "x");
    mkdir((t / "dst").c_str(), 0777);
    chmod((t / "dst").c_str(), 0777);
    ScriptUi ui;
    ui.rules.push_back({"Dir Reading", "Unable to open '" + s + "/locked' directory\n", "&Continue"});
    ui.rules.push_back({"Copy/Move", "Unable to change owner permissions", "&Ignore"});
    // The worker runs with the file-system identity of nobody, so that
    // permissions refuse things even though the test runs as root.
    // Into a read-only directory: "Continue All" to the first failure passes
    // over the others without asking again.
    mkdir((t / "ro").c_str(), 0555);
    ScriptUi ro;
    ro.rules.push_back({"Copy/Move", "Error writing '" + t / "ro/a'\n", "Continue A&ll"});
    Items items;
    setfsgid(65534);
    setfsuid(65534);
    bool as_nobody = setfsuid(-1) == 65534 && run_fop(ui, FOP_COPY, t.path(), {"top"}, t / "dst", 0, &items) &&
                     run_fop(ro, FOP_COPY, s, {"a", "z"}, t / "ro", 0);
    setfsuid(0);
    setfsgid(0);
    ASSERT_TRUE(as_nobody);
    EXPECT_EQ(ro.calls.size(), 1u);
    EXPECT_EQ(ro.views.back().count_text, "2 of 2");
    EXPECT_EQ(ui.count("Dir Reading"), 1);
    EXPECT_EQ(ui.count("Copy/Move", "Unable to change owner permissions '" + t / "dst/top" + "'\n"), 1);
    EXPECT_EQ(ui.calls.size(), 2u);
    EXPECT_EQ(items.size(), 4u);  // top, a, locked, z
    EXPECT_EQ(slurp(t / "dst/top/a"), "a");
    EXPECT_EQ(slurp(t / "dst/top/z"), "z");
    EXPECT_EQ(lmode(t / "dst/top/locked") & 0777, 0777u & ~umask(022));  // never given its final mode
    umask(022);
    EXPECT_FALSE(exists(t / "dst/top/locked/inside"));
    EXPECT_EQ(ui.views.back().count_text, "4 of 4");
}

namespace {
// Pauses a 64 MiB copy in the middle of the file, checks that no more bytes go,
// then continues it or cancels it.
void pause_mid_file(const std::string& src_dir, const std::string& dst_dir, bool cancel)
{
    const std::size_t size = 64u << 20;
    spit(src_dir + "/big", pattern(size));
    std::string tgt = dst_dir + "/big";
    unlink(tgt.c_str());
    ScriptUi ui;
    std::atomic<FopRequest*> req{nullptr};
    ui.on_progress = [&](FopRequest& r, const FopSlotView& v) {
        if (req)
            return;
        // Slow refreshes let the next one through the throttle, so one lands in
        // the middle of the file.
        std::this_thread::sleep_for(std::chrono::milliseconds(110));
        if (v.percent > 0 && v.percent < 100) {
            r.pause = 1;
            req = &r;
        }
    };
    fop_set_done_delay_ms(0);
    ASSERT_NE(fop(FOP_COPY, src_dir, {"big"}, dst_dir, 0, nullptr, {}, &ui), nullptr);
    for (int i = 0; !req.load(); i++) {
        ASSERT_LT(i, 2000) << "never paused in the middle of the file";
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    struct stat a, b;
    ASSERT_EQ(stat(tgt.c_str(), &a), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    ASSERT_EQ(stat(tgt.c_str(), &b), 0);
    EXPECT_EQ(a.st_size, b.st_size);
    EXPECT_LT(std::size_t(b.st_size), size);
    if (cancel)
        req.load()->cancel = 1;
    else
        req.load()->pause = 0;
    ASSERT_TRUE(ui.wait_done());
    if (cancel) {
        EXPECT_FALSE(exists(tgt));  // no partial target
    } else {
        EXPECT_TRUE(slurp(tgt) == pattern(size));
    }
}
}  // namespace

TEST(FopPauseRun, PauseStopsTheBytesAndContinueResumesOrCancelsOnEitherPath)
{
    TmpDir t;
    mkdir((t / "d").c_str(), 0755);
    pause_mid_file(t.path(), t / "d", false);
    TMPFS_OR_SKIP(fs, t / "other", "256M");
    pause_mid_file(t.path(), fs.path(), false);
    pause_mid_file(t.path(), fs.path(), true);
}
