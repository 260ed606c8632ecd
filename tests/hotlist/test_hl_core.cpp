// The bookmarks file, the menu order of names, and the scanning thread on real trees.
#include <gtest/gtest.h>

#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <thread>

#include "hotlist/dtm_scan.h"
#include "hotlist/hl_file.h"
#include "read_text.h"
#include "tmpdir.h"

namespace fs = std::filesystem;

TEST(HotlistFile, ReadsLinesDropsRepeatsAndWritesThemBack)
{
    TmpDir dir;
    const std::string file = dir / "hotlist.001";
    HotList l;
    EXPECT_EQ(hotlist_read(file, l), -1);
    EXPECT_EQ(l.entries, std::vector<std::string>{"/"});

    const std::string longline(1030, 'x'), fits(1024, 'f');
    std::ofstream(file) << fits << "\n/usr\n\n/tmp\n/usr\n" << longline << "\n/last";
    ASSERT_EQ(hotlist_read(file, l), 0);
    const std::vector<std::string> want = {fits, "/usr", "", "/tmp", longline.substr(0, 1024), "xxxxxx", "/last"};
    EXPECT_EQ(l.entries, want);
    EXPECT_EQ(l.add("/tmp"), -1);
    EXPECT_TRUE(l.remove("/usr"));
    ASSERT_EQ(hotlist_write(file, l), 0);
    EXPECT_EQ(read_text(file), fits + "\n\n/tmp\n" + longline.substr(0, 1024) + "\nxxxxxx\n/last\n");
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 1);
}

// Each instance replays only its own changes over the file as it is when saving.
TEST(HotlistFile, SavingKeepsWhatAnotherInstanceSaved)
{
    TmpDir dir;
    const std::string file = dir / "hotlist.001";
    std::ofstream(file) << "/a\n/b\n/c\n";
    HotList one, two;
    HotlistEdits e1, e2;
    hotlist_read(file, one);
    hotlist_read(file, two);
    one.add("/one"), e1.note_add("/one");
    one.remove("/b"), e1.note_remove("/b");
    two.add("/two"), e2.note_add("/two");
    ASSERT_EQ(hotlist_save_merged(file, two, e2), 0);
    ASSERT_EQ(hotlist_save_merged(file, one, e1), 0);
    EXPECT_EQ(read_text(file), "/a\n/c\n/two\n/one\n");
    one.entries = {"/one", "/c", "/b", "/a"};  // reordered: kept for what the file holds
    e1.reordered = true;
    ASSERT_EQ(hotlist_save_merged(file, one, e1), 0);
    EXPECT_EQ(read_text(file), "/one\n/c\n/a\n/two\n");
}

TEST(ListCmp, AgreesWithAPlainReference)
{
    // Numbers (all digits, or empty) by value when both are; otherwise bytes.
    auto number = [](const std::string& s) { return s.find_first_not_of("0123456789") == std::string::npos; };
    auto reference = [&](const std::string& a, const std::string& b) {
        if (number(a) && number(b)) {
            const unsigned long long x = a.empty() ? 0 : std::stoull(a), y = b.empty() ? 0 : std::stoull(b);
            return x < y ? -1 : x > y ? 1 : 0;
        }
        const int c = a.compare(b);
        return c < 0 ? -1 : c > 0 ? 1 : 0;
    };
    std::vector<std::string> names = {"", "0", "007", "7", "9", "10", "a", "a10", "a2", "B", "10a", "\xe9"};
    for (unsigned seed = 1; names.size() < 300; seed = seed * 1103515245 + 12345) {
        std::string s;
        for (unsigned k = 0; k < seed % 5; ++k)
            s += "0123456789ab"[(seed >> (4 + 3 * k)) % 12];
        names.push_back(s);
    }
    for (const std::string& a : names)
        for (const std::string& b : names) {
            const int got = _list_cmp(a.c_str(), b.c_str());
            ASSERT_EQ((got > 0) - (got < 0), reference(a, b)) << "'" << a << "' '" << b << "'";
        }
}

namespace {
// Runs a scan on its own thread and records what it hands over.
struct Recorder {
    std::mutex m;
    std::vector<std::string> names;
    std::vector<char> has_sub;
    bool listed = false;
    int batches = 0;

    std::shared_ptr<DtmScan> start(const std::string& path, int flags, bool stop_when_listed = false)
    {
        auto s = std::make_shared<DtmScan>();
        s->path = path;
        s->flags = flags;
        DtmScan* raw = s.get();
        s->on_listed = [this, raw, stop_when_listed](DtmScan::Names n) {
            std::lock_guard<std::mutex> l(m);
            names = *n;
            listed = true;
            if (stop_when_listed)
                raw->stop = true;
        };
        s->on_checked = [this](std::size_t first, std::vector<char>&& h) {
            std::lock_guard<std::mutex> l(m);
            EXPECT_EQ(first, has_sub.size());
            has_sub.insert(has_sub.end(), h.begin(), h.end());
            ++batches;
        };
        EXPECT_EQ(dtm_start_scan(s), 0);
        return s;
    }
    static void wait(const std::shared_ptr<DtmScan>& s)
    {
        for (int i = 0; i < 6000 && !s->finished; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        ASSERT_TRUE(s->finished);
    }
};
}  // namespace

TEST(DtmScan, ListsSubdirectoriesInMenuOrderThenChecksEach)
{
    TmpDir dir;
    for (const char* d : {"10", "9", "b", "a/x", ".dot/y", "only_dots/.h"})
        fs::create_directories(dir / d);
    std::ofstream(dir / "file");
    fs::create_directory_symlink(dir / "a", dir / "link");
    Recorder r;
    auto s = r.start(dir.path(), DTM_HIDE_DOT);
    Recorder::wait(s);
    EXPECT_EQ(r.names, (std::vector<std::string>{"9", "10", "a", "b", "link", "only_dots"}));
    EXPECT_EQ(r.has_sub, (std::vector<char>{0, 0, 1, 0, 1, 0}));

    Recorder shown;  // dot names counted
    Recorder::wait(shown.start(dir.path(), 0));
    EXPECT_EQ(shown.names.front(), ".dot");
    EXPECT_EQ(shown.has_sub.back(), 1);

    Recorder none;
    Recorder::wait(none.start(dir / "missing", 0));
    EXPECT_TRUE(none.listed);
    EXPECT_TRUE(none.names.empty());
    EXPECT_EQ(dtm_has_subdir(AT_FDCWD, (dir / "a").c_str(), true), 1);
    EXPECT_EQ(dtm_has_subdir(AT_FDCWD, (dir / "only_dots").c_str(), true), 0);
    // The tree's question: a link to a directory does not count, and a file is unreadable.
    fs::create_directory(dir / "links");
    fs::create_directory_symlink(dir / "a", dir / "links/to_a");
    EXPECT_EQ(dtm_has_subdir(AT_FDCWD, (dir / "links").c_str(), 0), 1);
    EXPECT_EQ(dtm_has_subdir(AT_FDCWD, (dir / "links").c_str(), DTM_NO_LINKS), 0);
    EXPECT_EQ(dtm_has_subdir(AT_FDCWD, (dir / "file").c_str(), DTM_NO_LINKS), -1);
}

TEST(DtmScan, StopEndsAHugeScanAndNothingIsHandedOverAfterIt)
{
    TmpDir dir;
    for (int i = 0; i < 20000; ++i)
        fs::create_directory(dir / ("d" + std::to_string(i)));
    Recorder early;  // stopped while reading the directory
    auto s = early.start(dir.path(), 0);
    while (!s->running)
        std::this_thread::yield();
    s->stop = true;
    Recorder::wait(s);
    Recorder late;  // stopped once listed: no child is looked into
    auto t = late.start(dir.path(), 0, true);
    Recorder::wait(t);
    EXPECT_EQ(late.names.size(), 20000u);
    EXPECT_EQ(late.batches, 0);
    s.reset();
    t.reset();  // the thread's reference is the last: freed when it ends (ASan checks)
}
