// Following a directory: the names inotify reports, and the change-time look for
// what it cannot see.
#include <algorithm>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>

#include "dir_test_util.h"
#include "dirmodel/dir_poll.h"
#include "dirmodel/dir_watch.h"
#include "tmpdir.h"

namespace {

bool readable(int fd, int ms)
{
    pollfd p{fd, POLLIN, 0};
    return ::poll(&p, 1, ms) == 1;
}

TEST(DirWatch, ReportsTheNamesThatChangedAndTheDirectoryGoing)
{
    TmpDir t;
    ::mkdir((t / "shown").c_str(), 0755);
    make_file(t / "shown/old");
    DirWatch w;
    ASSERT_EQ(w.watch(t.path()), 0);
    make_file(t / "before");  // the earlier directory's: dropped
    // Added beside a read: what comes before the watch is adopted is told all the same.
    w.stop();
    const DirWatch::Added added = DirWatch::add(w.fd(), t / "shown");
    make_file(t / "shown/new");
    ASSERT_EQ(w.adopt(t / "shown", added), 0);
    ::mkdir((t / "shown/sub").c_str(), 0755);
    ::rename((t / "shown/old").c_str(), (t / "shown/renamed").c_str());
    ::rmdir((t / "shown/sub").c_str());
    ASSERT_TRUE(readable(w.fd(), 1000));
    const DirWatchEvents ev = w.read();
    EXPECT_TRUE(ev.listed);
    EXPECT_FALSE(ev.gone);
    auto has = [&](const std::string& n, bool dir) {
        return std::any_of(ev.names.begin(), ev.names.end(),
                           [&](const DirChange& c) { return c.name == n && c.was_dir == dir; });
    };
    EXPECT_TRUE(has("new", false));
    EXPECT_TRUE(has("old", false));
    EXPECT_TRUE(has("renamed", false));
    EXPECT_TRUE(has("sub", true));
    EXPECT_FALSE(has("before", false));

    ::unlink((t / "shown/new").c_str());
    ::unlink((t / "shown/renamed").c_str());
    ::rmdir((t / "shown").c_str());
    ASSERT_TRUE(readable(w.fd(), 1000));
    EXPECT_TRUE(w.read().gone);
}

// Where inotify does not watch, the change time is looked at on its thread; where
// it does, on a local file system, nothing looks.
TEST(DirWatch, PollingTellsAChangeOnlyWhereTheKernelCannot)
{
    TmpDir t;
    EXPECT_FALSE(dir_needs_polling(t.path()));
    DirPoll poll(50);
    ASSERT_GE(poll.fd(), 0);
    poll.watch(t.path(), false);
    readable(poll.fd(), 200);  // its first look, the baseline
    EXPECT_FALSE(poll.take());
    make_file(t / "a");
    ASSERT_TRUE(readable(poll.fd(), 2000));
    EXPECT_TRUE(poll.take());
    EXPECT_FALSE(poll.take());

    poll.watch(t.path(), true);
    make_file(t / "b");
    EXPECT_FALSE(readable(poll.fd(), 300));
}

}  // namespace
