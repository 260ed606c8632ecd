// Copy operations on real files: contents, attributes, the questions a copy
// asks, and the checks that refuse to copy a file or directory into itself.
#include "fop_test_ui.h"
#include "tmpdir.h"

#include <atomic>
#include <climits>
#include <gtest/gtest.h>
#include <sys/fsuid.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>

namespace {
const std::vector<std::size_t> kSizes = {0, 3, 700, 300000, 5u << 20};

void copy_sizes_into(const std::string& src, const std::string& dst)
{
    std::vector<std::string> names;
    for (std::size_t n : kSizes) {
        names.push_back("f" + std::to_string(n));
        put_file(src + "/" + names.back(), pattern(n, unsigned(n)));
    }
    chmod((src + "/f700").c_str(), 0640);
    struct timespec old[2] = {{1000000000, 0}, {1200000000, 0}};
    utimensat(AT_FDCWD, (src + "/f3").c_str(), old, 0);
    ScriptUi ui;
    ASSERT_TRUE(run_fop(ui, FOP_COPY, src, names, dst, 0));
    EXPECT_TRUE(ui.calls().empty());
    for (std::size_t n : kSizes) {
        std::string name = "/f" + std::to_string(n);
        EXPECT_EQ(get_file(dst + name), pattern(n, unsigned(n))) << n;
    }
    struct stat st;
    ASSERT_EQ(stat((dst + "/f700").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0640u);
    ASSERT_EQ(stat((dst + "/f3").c_str(), &st), 0);
    EXPECT_EQ(st.st_mtim.tv_sec, 1200000000);
    EXPECT_EQ(ui.views().back().first_line, "Done");
    EXPECT_EQ(ui.views().back().percent, 100);
}
}  // namespace

TEST(FopCopyContents, ByteForByteOnTheSameFileSystem)
{
    TmpDir t;
    mkdir((t / "src").c_str(), 0755);
    mkdir((t / "dst").c_str(), 0755);
    copy_sizes_into(t / "src", t / "dst");
}

TEST(FopCopyContents, ByteForByteToAnotherFileSystem)
{
    TmpDir t;
    mkdir((t / "src").c_str(), 0755);
    PrivateTmpfs fs(t / "other", "64M");
    if (!fs.ok())
        GTEST_SKIP() << "needs a private tmpfs mount: " << fs.why();
    copy_sizes_into(t / "src", fs.path());
}

TEST(FopCopyTree, TypesLinksAndDirectoryAttributes)
{
    TmpDir t;
    std::string s = t / "tree";
    mkdir(s.c_str(), 0750);
    mkdir((s + "/empty").c_str(), 0700);
    mkdir((s + "/sub").c_str(), 0755);
    put_file(s + "/sub/a", "aaa");
    mkfifo((s + "/fifo").c_str(), 0600);
    symlink("sub/a", (s + "/l1").c_str());
    symlink("/nonexistent", (s + "/l2").c_str());
    int sock = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::string sp = s + "/sock";
    ASSERT_LT(sp.size(), sizeof addr.sun_path);
    strcpy(addr.sun_path, sp.c_str());
    ASSERT_EQ(bind(sock, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
    close(sock);
    chmod((s + "/sub").c_str(), 0555);  // contents still go in: created writable first
    struct timespec old[2] = {{1000000000, 0}, {1100000000, 0}};
    utimensat(AT_FDCWD, (s + "/sub").c_str(), old, 0);

    ScriptUi ui;
    ui.rules.push_back({"Copy", "Symbolic links detected", "&Links", {}});
    ASSERT_TRUE(run_fop(ui, FOP_COPY, t.path(), {"tree"}, t / "copy", 0));
    EXPECT_EQ(ui.count("Copy", "Symbolic links detected in the file list\nWhat do you want to copy ?"), 1);
    EXPECT_EQ(ui.calls().size(), 1u);

    std::string d = t / "copy";
    struct stat st;
    ASSERT_EQ(lstat(d.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0750u);
    ASSERT_EQ(lstat((d + "/sub").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0555u);
    EXPECT_EQ(st.st_mtim.tv_sec, 1100000000);
    EXPECT_EQ(get_file(d + "/sub/a"), "aaa");
    ASSERT_EQ(lstat((d + "/empty").c_str(), &st), 0);
    EXPECT_TRUE(S_ISDIR(st.st_mode));
    ASSERT_EQ(lstat((d + "/fifo").c_str(), &st), 0);
    EXPECT_TRUE(S_ISFIFO(st.st_mode));
    char buf[64] = {};
    ASSERT_GT(readlink((d + "/l1").c_str(), buf, sizeof buf - 1), 0);
    EXPECT_STREQ(buf, "sub/a");
    ASSERT_EQ(lstat((d + "/l2").c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode));
    EXPECT_FALSE(exists(d + "/sock"));  // sockets are left out without a word
    chmod((d + "/sub").c_str(), 0755);
    chmod((s + "/sub").c_str(), 0755);
}

TEST(FopCopyTree, FollowingLinksCopiesWhatTheyPointTo)
{
    TmpDir t;
    put_file(t / "real", "pointed-to");
    symlink("real", (t / "link").c_str());
    mkdir((t / "dst").c_str(), 0755);
    ScriptUi ui;
    ui.rules.push_back({"Copy", "Symbolic links", "&Files", {}});
    ASSERT_TRUE(run_fop(ui, FOP_COPY, t.path(), {"link", "real"}, t / "dst", 0));
    struct stat st;
    ASSERT_EQ(lstat((t / "dst/link").c_str(), &st), 0);
    EXPECT_TRUE(S_ISREG(st.st_mode));
    EXPECT_EQ(get_file(t / "dst/link"), "pointed-to");
}

namespace {
// Sources that change between the scan and their copy: the copy goes by what is
// there when it gets to them. The overwrite question on "first" comes after the
// scan and before the files in "later".
void copy_changed_after_scan(const std::string& s, const std::string& dst)
{
    mkdir(s.c_str(), 0755);
    put_file(s + "/first", "new");
    put_file(dst + "/first", "old");
    std::string l = s + "/later";
    mkdir(l.c_str(), 0755);
    put_file(l + "/grows", pattern(100000, 1));
    put_file(l + "/shrinks", pattern(3u << 20, 2));
    put_file(l + "/to-link", "regular");
    put_file(l + "/to-fifo", "regular");
    ScriptUi ui;
    ui.rules.push_back({"Copy/Move", "The '" + dst + "/first' file exists.", "&Overwrite", [l](FopRequest&) {
                            put_file(l + "/grows", pattern(3u << 20, 3));
                            ASSERT_EQ(truncate((l + "/shrinks").c_str(), 1000), 0);
                            unlink((l + "/to-link").c_str());
                            symlink("grows", (l + "/to-link").c_str());
                            unlink((l + "/to-fifo").c_str());
                            mkfifo((l + "/to-fifo").c_str(), 0600);
                        }});
    ASSERT_TRUE(run_fop(ui, FOP_COPY, s, {"first", "later"}, dst, FOPF_SYM_LINKS));
    EXPECT_EQ(ui.calls().size(), 1u);
    EXPECT_EQ(get_file(dst + "/first"), "new");
    EXPECT_TRUE(get_file(dst + "/later/grows") == pattern(3u << 20, 3));
    EXPECT_TRUE(get_file(dst + "/later/shrinks") == pattern(3u << 20, 2).substr(0, 1000));
    struct stat st;
    ASSERT_EQ(lstat((dst + "/later/to-link").c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode));
    ASSERT_EQ(lstat((dst + "/later/to-fifo").c_str(), &st), 0);
    EXPECT_TRUE(S_ISFIFO(st.st_mode));
    EXPECT_EQ(ui.views().back().first_line, "Done");
}
}  // namespace

TEST(FopCopyTree, SourcesChangedAfterTheScan)
{
    TmpDir t;
    mkdir((t / "dst").c_str(), 0755);
    copy_changed_after_scan(t / "s", t / "dst");
    PrivateTmpfs fs(t / "other", "64M");
    if (!fs.ok())
        GTEST_SKIP() << "needs a private tmpfs mount: " << fs.why();
    copy_changed_after_scan(t / "s2", fs.path());
}

TEST(FopCopyTree, OwnersGroupsAndSetIdBits)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to give files other owners";
    TmpDir t;
    std::string s = t / "s";
    mkdir(s.c_str(), 0755);
    mkdir((s + "/in").c_str(), 0755);
    for (std::string d : {s, s + "/in"}) {
        ASSERT_EQ(chown(d.c_str(), 0, 23456), 0);
        put_file(d + "/mine", "m");
        put_file(d + "/theirs", "t");
        ASSERT_EQ(chown((d + "/theirs").c_str(), 12345, 23456), 0);
        put_file(d + "/setid", "x");
        chmod((d + "/setid").c_str(), 06755);
    }
    // What a change of owner after the contents leaves of the set-ID bits.
    put_file(t / "ref", "x");
    chmod((t / "ref").c_str(), 06755);
    ASSERT_EQ(chown((t / "ref").c_str(), 0, 0), 0);
    struct stat ref;
    ASSERT_EQ(stat((t / "ref").c_str(), &ref), 0);

    // Under a set-group-ID directory the copied directories are set-group-ID
    // too, and the files made in them get the directories' group, not the
    // source's.
    std::string sgid = t / "sgid", plain = t / "plain";
    mkdir(sgid.c_str(), 0777);
    ASSERT_EQ(chown(sgid.c_str(), 0, 23456), 0);
    chmod(sgid.c_str(), 02777);
    mkdir(plain.c_str(), 0755);
    for (const std::string& dst : {sgid, plain}) {
        ScriptUi ui;
        ASSERT_TRUE(run_fop(ui, FOP_COPY, t.path(), {"s"}, dst, 0));
        EXPECT_TRUE(ui.calls().empty());
        for (std::string d : {dst + "/s", dst + "/s/in"}) {
            struct stat st;
            ASSERT_EQ(stat((d + "/mine").c_str(), &st), 0);
            EXPECT_EQ(st.st_uid, 0u) << d;
            EXPECT_EQ(st.st_gid, 0u) << d;
            ASSERT_EQ(stat((d + "/theirs").c_str(), &st), 0);
            EXPECT_EQ(st.st_uid, 12345u) << d;
            EXPECT_EQ(st.st_gid, 23456u) << d;
            ASSERT_EQ(stat((d + "/setid").c_str(), &st), 0);
            EXPECT_EQ(st.st_mode & 07777, ref.st_mode & 07777) << d;
            EXPECT_EQ(st.st_gid, 0u) << d;
        }
    }
}

TEST(FopCopyIntoItself, SameFileThroughAnotherName)
{
    TmpDir t;
    mkdir((t / "d").c_str(), 0755);
    mkdir((t / "e").c_str(), 0755);
    put_file(t / "d/f", "original");
    link((t / "d/f").c_str(), (t / "e/hard").c_str());
    symlink((t / "d/f").c_str(), (t / "e/sym").c_str());
    for (std::string dest : {t / "e/hard", t / "e/sym", t / "d/./f", t / "d", t / "e/../d"}) {
        ScriptUi ui;
        ASSERT_TRUE(run_fop(ui, FOP_COPY, t / "d", {"f"}, dest, FOPF_OVERWRITE_ALL));
        EXPECT_EQ(ui.count("File Scan", "Can't copy file(s) into itself."), 1) << dest;
        EXPECT_EQ(get_file(t / "d/f"), "original") << dest;
    }
    struct stat st;
    ASSERT_EQ(lstat((t / "e/sym").c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode));
    EXPECT_EQ(get_file(t / "e/hard"), "original");
}

TEST(FopCopyIntoItself, DirectoryIntoItsOwnSubdirectory)
{
    TmpDir t;
    mkdir((t / "tree").c_str(), 0755);
    mkdir((t / "tree/sub").c_str(), 0755);
    put_file(t / "tree/a", "a");
    ScriptUi ui;
    ASSERT_TRUE(run_fop(ui, FOP_COPY, t.path(), {"tree"}, t / "tree/sub", FOPF_OVERWRITE_ALL));
    EXPECT_EQ(ui.count("File Scan", "Can't copy file(s) into itself."), 1);
    EXPECT_FALSE(exists(t / "tree/sub/tree"));
    EXPECT_EQ(get_file(t / "tree/a"), "a");
}

TEST(FopCopyDestination, ChecksBeforeAnyWork)
{
    TmpDir t;
    put_file(t / "a", "a");
    put_file(t / "b", "b");
    mkdir((t / "dir").c_str(), 0755);
    {
        ScriptUi ui;  // no rule: Escape, which is the last button, "&Abort"
        ASSERT_TRUE(run_fop(ui, FOP_COPY, t.path(), {"a", "b"}, t / "new", 0));
        EXPECT_EQ(ui.count("Make Directory",
                           "The '" + t / "new" + "' directory doesn't exist\nDo you want to create this directory ?"),
                  1);
        EXPECT_FALSE(exists(t / "new"));
    }
    {
        ScriptUi ui;
        ui.rules.push_back({"Make Directory", "The '", "&Yes", {}});
        ASSERT_TRUE(run_fop(ui, FOP_COPY, t.path(), {"a", "b"}, t / "new", 0));
        EXPECT_EQ(get_file(t / "new/b"), "b");
    }
    {
        ScriptUi ui;
        ASSERT_TRUE(run_fop(ui, FOP_COPY, t.path(), {"a", "b"}, t / "new/a", 0));
        EXPECT_EQ(ui.count("File Scan", "Can't copy/move multiple files into \n'" + t / "new/a" + "'\n"), 1);
    }
    {
        ScriptUi ui;
        ASSERT_TRUE(run_fop(ui, FOP_COPY, t.path(), {"dir"}, t / "a", 0));
        EXPECT_EQ(ui.count("File Scan", "Source and destination file types mismatch."), 1);
        EXPECT_EQ(get_file(t / "a"), "a");
    }
    {
        ScriptUi ui;  // one file onto a missing name: copied under that name
        ASSERT_TRUE(run_fop(ui, FOP_COPY, t.path(), {"a"}, t / "renamed", 0));
        EXPECT_EQ(get_file(t / "renamed"), "a");
    }
}

TEST(FopCopyQuestions, OverwriteSkipAndAll)
{
    TmpDir t;
    mkdir((t / "s").c_str(), 0755);
    mkdir((t / "d").c_str(), 0755);
    for (auto n : {"a", "b", "c"}) {
        put_file(t / "s" + "/" + n, std::string("new-") + n);
        put_file(t / "d" + "/" + n, "old");
    }
    ScriptUi ui;
    ui.rules.push_back({"Copy/Move", "The '" + t / "d/a", "&Skip", {}});
    ui.rules.push_back({"Copy/Move", "The '" + t / "d/b", "Overwrite &All", {}});
    ASSERT_TRUE(run_fop(ui, FOP_COPY, t / "s", {"a", "b", "c"}, t / "d", 0));
    EXPECT_EQ(ui.count("Copy/Move", "The '"), 2);  // not asked again after "Overwrite All"
    EXPECT_EQ(get_file(t / "d/a"), "old");
    EXPECT_EQ(get_file(t / "d/b"), "new-b");
    EXPECT_EQ(get_file(t / "d/c"), "new-c");
}

TEST(FopCopyNames, NonUtf8AndOverLongTargets)
{
    TmpDir t;
    const std::string odd = "caf\xe9-\xff\xfe";
    mkdir((t / "s").c_str(), 0755);
    mkdir((t / ("s/" + odd)).c_str(), 0755);
    put_file(t / ("s/" + odd + "/" + odd), "latin1");
    ScriptUi ui;
    ASSERT_TRUE(run_fop(ui, FOP_COPY, t / "s", {odd}, t / "d", 0));
    EXPECT_EQ(get_file(t / ("d/" + odd)), "latin1");

    // A target path past PATH_MAX goes to the over-long-name dialog.
    std::string deep = t / "deep";
    mkdir(deep.c_str(), 0755);
    while (deep.size() < 3900) {
        deep += "/" + std::string(200, 'x');
        ASSERT_EQ(mkdir(deep.c_str(), 0755), 0);
    }
    std::string longname(250, 'n');
    put_file(t / longname, "long");
    ScriptUi skip;
    ASSERT_TRUE(run_fop(skip, FOP_COPY, t.path(), {longname}, deep, 0));
    EXPECT_EQ(skip.count("", t / longname), 1);
    ScriptUi ren;
    ren.on_too_long = [](const std::string&, const std::string&, std::string& n) {
        n = "short";
        return true;
    };
    ASSERT_TRUE(run_fop(ren, FOP_COPY, t.path(), {longname}, deep, 0));
    EXPECT_EQ(get_file(deep + "/short"), "long");

    // Also for a file inside a copied directory, though the directory itself is
    // within reach.
    if (deep.size() + 4 < PATH_MAX) {
        mkdir((t / "box").c_str(), 0755);
        put_file(t / ("box/" + longname), "boxed");
        ScriptUi boxed;
        ASSERT_TRUE(run_fop(boxed, FOP_COPY, t.path(), {"box"}, deep, 0));
        EXPECT_EQ(boxed.count("", t / ("box/" + longname)), 1);
        EXPECT_TRUE(exists(deep + "/box"));
    }
}

// A disk that fills up in the middle of a file: a private 4 MiB tmpfs half
// taken by a filler, and a 3 MiB source.
class FopFullDisk : public ::testing::Test {
protected:
    void SetUp() override
    {
        fs_ = std::make_unique<PrivateTmpfs>(t_ / "small", "4M");
        if (!fs_->ok())
            GTEST_SKIP() << "needs a private tmpfs mount: " << fs_->why();
        put_file(fs_->path() + "/filler", std::string(2 << 20, 'f'));
        put_file(t_ / "big", pattern(3 << 20));
    }
    void TearDown() override { fs_.reset(); }
    std::string target() { return fs_->path() + "/big"; }
    void run(const std::string& answer, std::function<void(FopRequest&)> before = {})
    {
        ui_.rules.push_back({"Write error", "Unable to write '" + target() + "'\nNo space left on device\n",
                             answer, std::move(before)});
        ASSERT_TRUE(run_fop(ui_, FOP_COPY, t_.path(), {"big"}, fs_->path(), 0));
        EXPECT_EQ(ui_.count("Write error"), 1);
    }
    TmpDir t_;
    std::unique_ptr<PrivateTmpfs> fs_;
    ScriptUi ui_;
};

TEST_F(FopFullDisk, RetryAfterSpaceIsFreed)
{
    std::string filler = fs_->path() + "/filler";
    run("&Retry", [filler](FopRequest&) { unlink(filler.c_str()); });
    EXPECT_TRUE(get_file(target()) == pattern(3 << 20));
}

TEST_F(FopFullDisk, SkipLeavesNoPartialTarget)
{
    run("&Skip");
    EXPECT_FALSE(exists(target()));
    EXPECT_EQ(ui_.views().back().first_line, "Done");
}

TEST_F(FopFullDisk, AbortLeavesNoPartialTarget)
{
    run("&Abort");
    EXPECT_FALSE(exists(target()));
}

// Runs the operation's worker with the file-system identity of nobody, so that
// permissions refuse things even though the tests run as root.
class AsNobody {
public:
    AsNobody()
    {
        setfsgid(65534);
        setfsuid(65534);
        ok_ = setfsuid(-1) == 65534;
    }
    ~AsNobody()
    {
        setfsuid(0);
        setfsgid(0);
    }
    bool ok() const { return ok_; }

private:
    bool ok_;
};

TEST(FopCopyErrors, UnreadableSubdirectoryAndOwnerQuestion)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to switch the file-system user";
    TmpDir t;
    chmod(t.path().c_str(), 0777);
    std::string s = t / "top";
    mkdir(s.c_str(), 0755);
    put_file(s + "/a", "a");
    put_file(s + "/z", "z");
    mkdir((s + "/locked").c_str(), 0700);
    put_file(s + "/locked/inside", "x");
    mkdir((t / "dst").c_str(), 0777);
    chmod((t / "dst").c_str(), 0777);
    ScriptUi ui;
    ui.rules.push_back({"Dir Reading", "Unable to open '" + s + "/locked' directory\n", "&Continue", {}});
    ui.rules.push_back({"Copy/Move", "Unable to change owner permissions", "&Ignore", {}});
    std::vector<std::pair<std::string, std::string>> items;
    {
        AsNobody nobody;
        if (!nobody.ok())
            GTEST_SKIP() << "setfsuid refused";
        ASSERT_TRUE(run_fop(ui, FOP_COPY, t.path(), {"top"}, t / "dst", 0, &items));
    }
    EXPECT_EQ(ui.count("Dir Reading"), 1);
    EXPECT_EQ(ui.count("Copy/Move", "Unable to change owner permissions '" + t / "dst/top" + "'\n"), 1);
    EXPECT_EQ(ui.calls().size(), 2u);
    EXPECT_EQ(items.size(), 4u);  // top, a, locked, z
    EXPECT_EQ(get_file(t / "dst/top/a"), "a");
    EXPECT_EQ(get_file(t / "dst/top/z"), "z");
    struct stat st;
    ASSERT_EQ(stat((t / "dst/top/locked").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0777u & ~umask(022));  // never given its final mode
    umask(022);
    EXPECT_FALSE(exists(t / "dst/top/locked/inside"));
    EXPECT_EQ(ui.views().back().count_text, "4 of 4");
}

namespace {
// Pauses a 64 MiB copy in the middle of the file, checks that no more bytes go,
// then continues it or cancels it.
void pause_mid_file(const std::string& src_dir, const std::string& dst_dir, bool cancel)
{
    const std::size_t size = 64u << 20;
    put_file(src_dir + "/big", pattern(size));
    std::string tgt = dst_dir + "/big";
    unlink(tgt.c_str());
    ScriptUi ui;
    std::atomic<FopRequest*> req{nullptr};
    std::atomic<bool> paused_once{false};
    ui.on_progress = [&](FopRequest& r, const FopSlotView& v) {
        if (paused_once)
            return;
        // Slow refreshes let the next one through the throttle, so one lands in
        // the middle of the file.
        std::this_thread::sleep_for(std::chrono::milliseconds(110));
        if (v.percent > 0 && v.percent < 100 && !paused_once.exchange(true)) {
            req = &r;
            r.pause = 1;
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
    if (cancel)
        EXPECT_FALSE(exists(tgt));  // no partial target
    else
        EXPECT_TRUE(get_file(tgt) == pattern(size));
}
}  // namespace

TEST(FopPauseRun, PauseStopsTheBytesAndContinueResumes)
{
    TmpDir t;
    mkdir((t / "d").c_str(), 0755);
    pause_mid_file(t.path(), t / "d", false);
}

TEST(FopPauseRun, PauseAndCancelToAnotherFileSystem)
{
    TmpDir t;
    PrivateTmpfs fs(t / "other", "256M");
    if (!fs.ok())
        GTEST_SKIP() << "needs a private tmpfs mount: " << fs.why();
    pause_mid_file(t.path(), fs.path(), false);
    pause_mid_file(t.path(), fs.path(), true);
}
