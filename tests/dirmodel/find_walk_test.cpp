// The search on real trees: which entries each test keeps, the troubles it
// reports, and that it ends (links that loop, a folder that hangs, Stop).
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <fnmatch.h>
#include <random>
#include <sched.h>
#include <set>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "dirmodel/es_path.h"
#include "dirmodel/find_walk.h"
#include "tmpdir.h"

namespace {

void put(const std::string& path, const std::string& bytes = "", time_t mtime = 0)
{
    const int fd = ::open(path.c_str(), O_CREAT | O_WRONLY | O_TRUNC, 0644);
    ASSERT_GE(fd, 0) << path;
    ASSERT_EQ(::write(fd, bytes.data(), bytes.size()), ssize_t(bytes.size()));
    ::close(fd);
    if (mtime) {
        const struct timespec t[2] = {{mtime, 0}, {mtime, 0}};
        ::utimensat(AT_FDCWD, path.c_str(), t, 0);
    }
}

struct Found {
    std::set<std::string> paths;  // relative to the root
    std::vector<FindTrouble> troubles;
    std::vector<FindHit> hits;
    std::vector<std::string> folders;
    bool ended = false;
};

Found run(FindQuery q, std::chrono::seconds limit = std::chrono::seconds(20))
{
    const std::string root = q.root;
    FindSearch search(std::move(q));
    Found f;
    if (search.start() != 0)
        return f;
    const auto until = std::chrono::steady_clock::now() + limit;
    FindBatch b;
    do {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        search.take(b);
        f.folders.insert(f.folders.end(), b.folders.begin(), b.folders.end());
        f.troubles.insert(f.troubles.end(), b.troubles.begin(), b.troubles.end());
        for (FindHit& h : b.hits) {
            const std::string dir = f.folders.at(h.folder);
            const std::string rel = dir.size() > root.size() ? dir.substr(root.size() + 1) + "/" : "";
            f.paths.insert(rel + std::string(h.rec.name.view()));
            f.hits.push_back(std::move(h));
        }
    } while (!b.done && std::chrono::steady_clock::now() < until);
    f.ended = b.done;
    return f;
}

FindQuery query(const std::string& root, const std::string& name = "*")
{
    FindQuery q;
    q.root = root;
    q.name = name;
    return q;
}

using Set = std::set<std::string>;

// Runs `fn` in a child process (as user 65534 when `nobody`, in a mount namespace
// of its own when `own_mounts`); its exit status: 0 passed, 77 could not be set up.
int in_child(bool nobody, bool own_mounts, const std::function<bool()>& fn)
{
    const pid_t pid = ::fork();
    if (pid == 0) {
        if (own_mounts && (::unshare(CLONE_NEWNS) != 0 || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0))
            ::_exit(77);
        if (nobody && (::setresgid(65534, 65534, 65534) != 0 || ::setresuid(65534, 65534, 65534) != 0))
            ::_exit(77);
        ::_exit(fn() ? 0 : 1);
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 2;
}

}  // namespace

// The compiled matcher against fnmatch over every alternative, as the filter box
// matched before, over generated names and patterns.
TEST(FindPattern, AgreesWithFnmatchOnGeneratedCases)
{
    auto reference = [](std::string name, std::string pat) {
        auto low = [](std::string s) {
            for (char& c : s)
                c = char(std::tolower(static_cast<unsigned char>(c)));
            return s;
        };
        if (!pat.empty() && pat[0] == '^') {
            pat = low(pat.substr(1));
            name = low(name);
        }
        for (std::size_t start = 0;;) {
            const std::size_t bar = pat.find('|', start);
            if (fnmatch(pat.substr(start, bar - start).c_str(), name.c_str(), 0) == 0)
                return true;
            if (bar == std::string::npos)
                return false;
            start = bar + 1;
        }
    };
    const char alphabet[] = {'a', 'B', '.', '*', '?', '|', '[', ']', '\xe9', 'b', '/', '^'};
    std::mt19937 rng(7);
    auto text = [&](std::size_t max, std::size_t letters) {
        std::string s(rng() % max, ' ');
        for (char& c : s)
            c = alphabet[rng() % letters];
        return s;
    };
    for (int i = 0; i < 20000; ++i) {
        const std::string name = text(7, 3) + (rng() % 2 ? "\xe9" : "") + text(3, 3);
        const std::string pat = text(8, sizeof alphabet);
        EXPECT_EQ(EsPattern(pat).match(name), reference(name, pat)) << "name '" << name << "' pattern '" << pat << "'";
        EXPECT_EQ(es_strcmp(name.c_str(), pat.c_str()) == 0, reference(name, pat));
    }
}

TEST(FindWalk, NamesKindsAndDotFiles)
{
    TmpDir t;
    ::mkdir((t / "a").c_str(), 0755);
    ::mkdir((t / "a/b").c_str(), 0755);
    ::mkdir((t / "a/b.txt").c_str(), 0755);
    ::mkdir((t / ".hid").c_str(), 0755);
    put(t / "one.txt");
    put(t / "ONE.TXT");
    put(t / "a/two.txt");
    put(t / "a/b/three.c");
    put(t / ".hid/four.txt");
    put(t / ".five.txt");
    put(t / "caf\xe9.txt");  // not UTF-8
    ::symlink("one.txt", (t / "link.txt").c_str());
    ::symlink("nowhere", (t / "a/dead.txt").c_str());

    Found f = run(query(t.path(), "*.txt"));
    EXPECT_TRUE(f.ended);
    EXPECT_EQ(f.paths, (Set{"one.txt", "a/two.txt", "a/b.txt", "caf\xe9.txt", "link.txt", "a/dead.txt"}));
    EXPECT_TRUE(f.troubles.empty());

    FindQuery q = query(t.path(), "^one.*|three*");
    EXPECT_EQ(run(q).paths, (Set{"one.txt", "ONE.TXT", "a/b/three.c"}));

    q = query(t.path(), "*.txt");
    q.kinds = FIND_FILES;
    EXPECT_EQ(run(q).paths, (Set{"one.txt", "a/two.txt", "caf\xe9.txt"}));
    q.kinds = FIND_DIRS;
    EXPECT_EQ(run(q).paths, (Set{"a/b.txt"}));
    q.kinds = FIND_LINKS;
    Found links = run(q);
    EXPECT_EQ(links.paths, (Set{"link.txt", "a/dead.txt"}));
    for (const FindHit& h : links.hits) {
        EXPECT_TRUE(h.rec.flags & DIR_F_LINK);
        const bool dead = h.rec.name == "dead.txt";
        EXPECT_EQ(std::string(h.rec.link_text()), dead ? "nowhere" : "one.txt");
        EXPECT_EQ(bool(h.rec.flags & DIR_F_UNREADABLE), dead);
        if (!dead) {  // the target's status, as the list shows a link
            EXPECT_TRUE(S_ISREG(h.rec.status.st_mode));
        }
    }
    // Followed, a link to a file is a file; one that leads nowhere stays a link.
    q.follow_links = true;
    EXPECT_EQ(run(q).paths, (Set{"a/dead.txt"}));

    q = query(t.path(), "*.txt");
    q.dot_files = true;
    q.kinds = FIND_FILES;
    EXPECT_EQ(run(q).paths, (Set{"one.txt", "a/two.txt", "caf\xe9.txt", ".hid/four.txt", ".five.txt"}));

    Found missing = run(query(t / "missing"));
    EXPECT_TRUE(missing.ended && missing.paths.empty());
    ASSERT_EQ(missing.troubles.size(), 1u);
    EXPECT_EQ(missing.troubles[0].err, ENOENT);
}

TEST(FindWalk, SizeAndDateBounds)
{
    TmpDir t;
    const time_t day = 86400, now = ::time(nullptr);
    put(t / "empty");
    put(t / "small", std::string(10, 'x'), now - 10 * day);
    put(t / "big", std::string(5000, 'x'), now - 40 * day);
    ::mkdir((t / "dir").c_str(), 0755);

    FindQuery q = query(t.path());
    q.min_size = 10;
    EXPECT_EQ(run(q).paths, (Set{"small", "big"}));
    q.max_size = 4999;
    EXPECT_EQ(run(q).paths, (Set{"small"}));
    q = query(t.path());
    q.max_size = 0;  // folders never pass a bound
    EXPECT_EQ(run(q).paths, (Set{"empty"}));

    q = query(t.path());
    q.newer_than = now - 30 * day;
    EXPECT_EQ(run(q).paths, (Set{"empty", "small", "dir"}));
    q.older_than = now - day;
    EXPECT_EQ(run(q).paths, (Set{"small"}));
}

TEST(FindWalk, ContentIsReadWithoutTouchingAccessTimes)
{
    TmpDir t;
    std::string big(600 * 1024, 'x');
    big.replace(256 * 1024 - 3, 7, "NeEdLe!");  // across the first read's end
    put(t / "big", big);
    put(t / "upper", "a NEEDLE here");
    put(t / "none", "nothing");
    ::mkfifo((t / "fifo").c_str(), 0644);  // never opened: a read would wait for ever
    ::mkdir((t / "needle-dir").c_str(), 0755);
    const struct timespec old[2] = {{1000000, 0}, {1000000, 0}};
    ::utimensat(AT_FDCWD, (t / "big").c_str(), old, 0);

    FindQuery q = query(t.path());
    q.content = "NeEdLe";
    EXPECT_EQ(run(q).paths, (Set{"big"}));
    q.content_icase = true;
    q.content = "needle";
    EXPECT_EQ(run(q).paths, (Set{"big", "upper"}));

    struct stat st;
    ASSERT_EQ(::stat((t / "big").c_str(), &st), 0);
    EXPECT_EQ(st.st_atim.tv_sec, 1000000);
}

TEST(FindWalk, LinksLoopsAndOtherFileSystems)
{
    TmpDir t;
    ::mkdir((t / "a").c_str(), 0755);
    ::mkdir((t / "other").c_str(), 0755);
    put(t / "other/x.c");
    ::symlink("..", (t / "a/up").c_str());
    ::symlink("../other", (t / "a/side").c_str());

    FindQuery q = query(t.path(), "*.c");
    EXPECT_EQ(run(q).paths, (Set{"other/x.c"}));
    q.follow_links = true;
    Found f = run(q);
    EXPECT_TRUE(f.ended);
    EXPECT_EQ(f.paths, (Set{"other/x.c", "a/side/x.c"}));
    ASSERT_EQ(f.troubles.size(), 1u);
    EXPECT_TRUE(f.troubles[0].loop);
    EXPECT_EQ(f.troubles[0].path, t / "a/up");

    // One file system: a tmpfs mounted inside the tree, in a namespace of our own.
    ::mkdir((t / "mnt").c_str(), 0755);
    const int rc = in_child(false, true, [&] {
        if (::mount("none", (t / "mnt").c_str(), "tmpfs", 0, nullptr) != 0)
            ::_exit(77);
        put(t / "mnt/y.c");
        FindQuery q1 = query(t.path(), "*.c");
        const bool all = run(q1).paths == Set{"other/x.c", "mnt/y.c"};
        q1.one_fs = true;
        return all && run(q1).paths == Set{"other/x.c"};
    });
    if (rc == 77)
        GTEST_SKIP() << "no mount namespace for the second file system";
    EXPECT_EQ(rc, 0);
}

TEST(FindWalk, UnreadableFolderIsReportedAndTheRestSearched)
{
    // Root reads everything: the search runs as another user in a child.
    std::string base = "/tmp/vell-find-XXXXXX";
    ASSERT_TRUE(::mkdtemp(base.data()));
    ::chmod(base.c_str(), 0755);
    ::mkdir((base + "/closed").c_str(), 0700);
    ::mkdir((base + "/open").c_str(), 0755);
    put(base + "/closed/a.c");
    put(base + "/open/b.c");
    if (::geteuid() == 0) {
        ::chown((base + "/closed").c_str(), 0, 0);
        ::chmod((base + "/open/b.c").c_str(), 0644);
    }
    const int rc = in_child(::geteuid() == 0, false, [&] {
        Found f = run(query(base, "*.c"));
        return f.ended && f.paths == Set{"open/b.c"} && f.troubles.size() == 1 &&
               f.troubles[0].path == base + "/closed" && f.troubles[0].err == EACCES;
    });
    std::filesystem::remove_all(base);
    if (rc == 77)
        GTEST_SKIP() << "cannot run as another user";
    EXPECT_EQ(rc, 0);
}

// A folder whose open never answers is given up on after the time-out and
// reported; the rest of the tree is searched and the search ends. Stop ends a
// search at once and keeps what it found.
TEST(FindWalk, HangingFolderAndStop)
{
    TmpDir t;
    for (const char* d : {"dead", "live", "live/deeper"})
        ::mkdir((t / d).c_str(), 0755);
    put(t / "dead/x.c");
    put(t / "live/y.c");
    put(t / "live/deeper/z.c");
    auto release = std::make_shared<std::atomic<bool>>(false);
    FindQuery q = query(t.path(), "*.c");
    q.timeout = std::chrono::milliseconds(300);
    const std::string dead = t / "dead";
    q.before_dir = [dead, release](const std::string& p) {
        while (p == dead && !release->load())
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    };
    Found f = run(q, std::chrono::seconds(10));
    EXPECT_TRUE(f.ended);
    EXPECT_EQ(f.paths, (Set{"live/y.c", "live/deeper/z.c"}));
    ASSERT_EQ(f.troubles.size(), 1u);
    EXPECT_TRUE(f.troubles[0].timeout);
    EXPECT_EQ(f.troubles[0].path, dead);
    release->store(true);

    // Stop: every folder takes long; the search ends when told, with its hits.
    for (int i = 0; i < 40; ++i) {
        ::mkdir((t / ("s" + std::to_string(i))).c_str(), 0755);
        put(t / ("s" + std::to_string(i) + "/f.c"));
    }
    q = query(t.path(), "f.c");
    q.before_dir = [](const std::string&) { std::this_thread::sleep_for(std::chrono::milliseconds(50)); };
    FindSearch s(q);
    ASSERT_EQ(s.start(), 0);
    FindBatch b;
    std::size_t kept = 0;
    while (kept == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        s.take(b);
        kept += b.hits.size();
        ASSERT_FALSE(b.done);
    }
    s.stop();
    s.take(b);
    EXPECT_TRUE(b.done);
    EXPECT_LT(kept + b.hits.size(), 40u);
    EXPECT_EQ(b.matches, kept + b.hits.size());
    for (int i = 0; i < 200 && !s.idle(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_TRUE(s.idle());
}
