// A status call that fails or never returns: the entry is marked, the rest is read,
// and the GUI's events keep being processed meanwhile.
#include <atomic>
#include <cerrno>
#include <dirent.h>
#include <chrono>
#include <fstream>
#include <gtest/gtest.h>
#include <future>
#include <memory>
#include <thread>

#include "dir_test_util.h"
#include "tmpdir.h"


namespace {

using namespace std::chrono_literals;

std::size_t thread_count()
{
    std::size_t n = 0;
    if (DIR* d = ::opendir("/proc/self/task")) {
        while (const dirent* e = ::readdir(d))
            n += e->d_name[0] != '.';
        ::closedir(d);
    }
    return n;
}

TEST(DirReadHang, StatusCallThatFailsOrHangs)
{
    TmpDir t;
    for (const char* n : {"a", "hang1", "m", "hang2", "z", "broken"})
        make_file(t / n, 2);
    ASSERT_EQ(::symlink("hang1", (t / "link").c_str()), 0);
    // The workers left waiting hold the future's state, which outlives this frame;
    // a promise dropped early releases them too.
    std::promise<void> gate;
    auto inside = std::make_shared<std::atomic<int>>(0);
    DirReadEnv env;
    env.stat_timeout = 500ms;
    env.stat_threads = 2;
    env.stat_fn = [open = gate.get_future().share(), inside](int fd, const char* n, struct stat* st, int fl) {
        const std::string name(n);
        if (name.rfind("hang", 0) == 0 || (name == "link" && fl == 0)) {
            ++*inside;
            open.wait();
        } else if (name == "broken") {
            errno = EIO;
            return -1;
        }
        return ::fstatat(fd, n, st, fl);
    };
    int pumps = 0;
    env.pump_events = [&] { ++pumps; };

    DirListing l;
    const std::size_t threads_before = thread_count();
    auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(read_dir(l, t.path(), "*", env), 0);
    auto took = std::chrono::steady_clock::now() - start;

    EXPECT_EQ(names_of(l), (std::vector<std::string>{"a", "broken", "hang1", "hang2", "link", "m", "z"}));
    for (const char* n : {"hang1", "hang2", "broken"}) {
        const FileRecord* r = find_record(l, n);
        ASSERT_TRUE(r);
        EXPECT_EQ(r->flags, DIR_F_LINK | DIR_F_UNREADABLE) << n;
        EXPECT_STREQ(r->link_text(), n[0] == 'b' ? DIR_TEXT_NO_INFO : DIR_TEXT_TIMEOUT) << n;
        EXPECT_EQ(r->status.st_mode, 0u) << n;
        EXPECT_EQ(r->status.st_uid, static_cast<uid_t>(-1)) << n;
        EXPECT_EQ(r->status.st_gid, static_cast<gid_t>(-1)) << n;
    }
    // A link whose target hangs keeps its text and its own status.
    const FileRecord* link = find_record(l, "link");
    EXPECT_EQ(link->flags, DIR_F_LINK | DIR_F_UNREADABLE);
    EXPECT_STREQ(link->link_text(), "hang1");
    EXPECT_TRUE(S_ISLNK(link->status.st_mode));
    EXPECT_EQ(find_record(l, "z")->status.st_size, 2);
    EXPECT_EQ(l.total_size, 6u + link->status.st_size);
    EXPECT_EQ(inside->load(), 3);
    // The read went on after the short time-out, and the events were processed
    // about every 20 ms while it waited.
    EXPECT_LT(took, 2s);
    EXPECT_GE(pumps, 5);

    // Read again and again (F5 on a dead mount): the stuck workers stay few.
    env.stat_timeout = 100ms;
    for (int i = 0; i < 6; ++i)
        ASSERT_EQ(read_dir(l, t.path(), "*", env), 0);
    EXPECT_LE(thread_count(), threads_before + 4 + 2);
    EXPECT_LE(inside->load(), 4 + 2);
    gate.set_value();
}

}  // namespace
