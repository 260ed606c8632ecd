// The search's workers: each takes a folder from a shared stack, lists it with
// getdents64, looks at each entry relative to the open folder and pushes the
// subfolders back. A watchdog thread gives up on a worker whose call does not come
// back and starts another in its place.
#include "dirmodel/find_walk.h"

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <mutex>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

#include "dirmodel/dir_read.h"
#include "dirmodel/es_path.h"

namespace {

// One getdents64 call fills this: fewer calls than readdir's 32 KiB.
constexpr std::size_t kDentsBuf = 128 * 1024;
// Content is read in pieces this large: one call for most files.
constexpr std::size_t kReadChunk = 256 * 1024;
// A worker hands its hits over after this many, or when its folder is done,
// so the window gets some early without taking the lock once a hit.
constexpr std::size_t kFlushHits = 256;
// Workers given up on in one search: past them, the folders left time out at once.
constexpr int kMaxStuck = 8;
constexpr auto kWatch = std::chrono::milliseconds(100);

struct Fd {
    int fd = -1;
    explicit Fd(int f = -1) : fd(f) {}
    ~Fd()
    {
        if (fd >= 0)
            ::close(fd);
    }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
};

// A folder to search, or being searched. It holds its parent, so the parent's
// descriptor stays open for the openat of each pending child and the chain of
// (device, inode) pairs is there to find loops.
struct DirNode {
    std::shared_ptr<DirNode> parent;
    std::string name;  // in the parent
    std::string path;
    bool follow = false;   // reached through a link: opened following it
    Fd fd;
    dev_t dev = 0;
    ino_t ino = 0;
    int32_t folder = -1;  // index in the folder table once it has a hit
};
using NodePtr = std::shared_ptr<DirNode>;

struct Worker {
    alignas(64) std::atomic<uint64_t> ticks{0};  // one per system call
    std::atomic<bool> busy{false};
    std::atomic<bool> abandoned{false};
    NodePtr node;  // under FindState::mu
    uint64_t seen = 0;  // the watchdog's
    std::chrono::steady_clock::time_point since;
};

}  // namespace

struct FindState {
    FindQuery q;
    EsPattern pattern;
    std::string needle;  // lowered for content_icase
    dev_t root_dev = 0;

    std::mutex mu;  // the stack, the workers, the results below
    std::condition_variable cv;
    std::vector<NodePtr> stack;
    int outstanding = 0;  // folders on the stack or being searched
    std::vector<std::shared_ptr<Worker>> workers;
    std::vector<std::thread> threads;
    int stuck = 0;
    bool ended = false;  // walked to the end

    FindBatch out;  // what take() hands over next
    uint32_t folder_count = 0;

    std::atomic<bool> stopping{false};
    std::atomic<uint64_t> searched{0};
    std::atomic<uint64_t> matches{0};
    std::atomic<int> running{0};

    explicit FindState(FindQuery query) : q(std::move(query)), pattern(q.name.empty() ? "*" : q.name) {}
};

namespace {

void tick(Worker& w)
{
    w.ticks.fetch_add(1, std::memory_order_relaxed);
}

void add_trouble(FindState& s, FindTrouble t)
{
    std::lock_guard lock(s.mu);
    s.out.troubles.push_back(std::move(t));
}

// Done with a folder: the walk ends with the last one.
void finish_dir(FindState& s)
{
    std::lock_guard lock(s.mu);
    if (--s.outstanding == 0) {
        s.ended = true;
        s.cv.notify_all();
    }
}

void fold(char* p, std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i)
        if (p[i] >= 'A' && p[i] <= 'Z')
            p[i] = char(p[i] | 0x20);
}

// Whether the regular file `name` in dirfd holds the needle. Opened so that its
// access time stays as it was where the kernel lets us (we own it, or are root).
bool file_holds(FindState& s, Worker& w, int dirfd, const char* name, bool follow, std::vector<char>& buf)
{
    const int base = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | (follow ? 0 : O_NOFOLLOW);
    tick(w);
    int fd = ::openat(dirfd, name, base | O_NOATIME);
    if (fd < 0 && errno == EPERM)
        fd = ::openat(dirfd, name, base);
    if (fd < 0)
        return false;
    Fd guard(fd);
    struct stat st;
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode))
        return false;  // swapped for something else since it was looked at
    const std::string& needle = s.needle;
    const std::size_t keep = needle.size() - 1;  // a match across two reads
    std::size_t have = 0;
    if (buf.size() < kReadChunk + keep)
        buf.resize(kReadChunk + keep);
    for (;;) {
        if (s.stopping.load(std::memory_order_relaxed) || w.abandoned.load(std::memory_order_relaxed))
            return false;
        tick(w);
        const ssize_t n = ::read(fd, buf.data() + have, kReadChunk);
        if (n <= 0)
            return false;
        if (s.q.content_icase)
            fold(buf.data() + have, std::size_t(n));
        have += std::size_t(n);
        if (memmem(buf.data(), have, needle.data(), needle.size()))
            return true;
        if (have > keep) {
            std::memmove(buf.data(), buf.data() + have - keep, keep);
            have = keep;
        }
    }
}

NodePtr make_child(const NodePtr& parent, const char* name, bool follow)
{
    auto c = std::make_shared<DirNode>();
    c->parent = parent;
    c->name = name;
    c->path = es_join(parent->path, name);
    c->follow = follow;
    return c;
}

class Walker {
public:
    Walker(std::shared_ptr<FindState> s, std::shared_ptr<Worker> w) : s_(std::move(s)), w_(std::move(w)) {}
    void run();

private:
    bool open_node(DirNode& n);
    void search(const NodePtr& n);
    void look_at(const NodePtr& n, const char* name, unsigned char type);
    void hit(const NodePtr& n, const char* name, const struct stat& st, bool link, const struct stat* target);
    void flush(const NodePtr& n);
    bool gone() const
    {
        return s_->stopping.load(std::memory_order_relaxed) || w_->abandoned.load(std::memory_order_relaxed);
    }

    std::shared_ptr<FindState> s_;
    std::shared_ptr<Worker> w_;
    std::vector<NodePtr> children_;
    std::vector<FindHit> hits_;
    std::vector<char> dents_ = std::vector<char>(kDentsBuf);
    std::vector<char> content_;
};

void Walker::run()
{
    FindState& s = *s_;
    for (;;) {
        NodePtr n;
        {
            std::unique_lock lock(s.mu);
            s.cv.wait(lock, [&] { return !s.stack.empty() || s.ended || s.stopping.load() || w_->abandoned.load(); });
            if (s.stack.empty() || s.stopping.load() || w_->abandoned.load())
                break;
            n = std::move(s.stack.back());
            s.stack.pop_back();
            w_->node = n;
            w_->busy.store(true);
        }
        tick(*w_);  // the watchdog times each folder from its start
        search(n);
        {
            std::lock_guard lock(s.mu);
            w_->node.reset();
            w_->busy.store(false);
            if (w_->abandoned.load())
                break;  // the watchdog has counted this folder done already
        }
        finish_dir(s);
    }
    s.running.fetch_sub(1);
    std::lock_guard lock(s.mu);
    s.cv.notify_all();
}

bool Walker::open_node(DirNode& n)
{
    FindState& s = *s_;
    if (s.q.before_dir)
        s.q.before_dir(n.path);
    const int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOCTTY | (n.follow ? 0 : O_NOFOLLOW);
    tick(*w_);
    int fd = n.parent ? ::openat(n.parent->fd.fd, n.name.c_str(), flags) : -1;
    // Out of descriptors (many folders waiting on their parents): by the path.
    if (fd < 0 && (!n.parent || errno == EMFILE || errno == ENFILE))
        fd = ::open(n.path.c_str(), n.parent ? flags : (flags & ~O_NOFOLLOW));
    if (fd < 0) {
        if (errno != ENOENT || !n.parent)  // gone since it was listed: nothing to say
            add_trouble(s, {n.path, errno, false, false});
        return false;
    }
    n.fd.fd = fd;
    struct stat st;
    tick(*w_);
    if (::fstat(fd, &st) != 0) {
        add_trouble(s, {n.path, errno, false, false});
        return false;
    }
    n.dev = st.st_dev;
    n.ino = st.st_ino;
    if (!n.parent)
        s.root_dev = st.st_dev;
    else if (s.q.one_fs && st.st_dev != s.root_dev)
        return false;
    for (const DirNode* a = n.parent.get(); a; a = a->parent.get())
        if (a->dev == n.dev && a->ino == n.ino) {
            add_trouble(s, {n.path, ELOOP, false, true});
            return false;
        }
    return true;
}

void Walker::search(const NodePtr& n)
{
    FindState& s = *s_;
    if (!open_node(*n))
        return;
    s.searched.fetch_add(1, std::memory_order_relaxed);
    const int fd = n->fd.fd;
    for (;;) {
        tick(*w_);
        const long got = ::syscall(SYS_getdents64, fd, dents_.data(), dents_.size());
        if (got < 0) {
            add_trouble(s, {n->path, errno, false, false});
            break;
        }
        if (got == 0 || gone())
            break;
        for (long off = 0; off < got;) {
            const auto* d = reinterpret_cast<const struct dirent64*>(dents_.data() + off);
            off += d->d_reclen;
            const char* name = d->d_name;
            if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0')))
                continue;
            if (name[0] == '.' && !s.q.dot_files)
                continue;
            look_at(n, name, d->d_type);
        }
        if (hits_.size() >= kFlushHits)
            flush(n);
    }
    if (gone())
        return;
    flush(n);
    if (children_.empty())
        return;
    std::lock_guard lock(s.mu);
    if (w_->abandoned.load()) {
        children_.clear();  // given up on: its folder was reported, not its children
        return;
    }
    s.outstanding += int(children_.size());
    // Last first, so the stack gives them back in the order they were listed.
    for (auto it = children_.rbegin(); it != children_.rend(); ++it)
        s.stack.push_back(std::move(*it));
    children_.clear();
    s.cv.notify_all();
}

void Walker::look_at(const NodePtr& n, const char* name, unsigned char type)
{
    FindState& s = *s_;
    const bool named = s.pattern.match(name);
    const bool link_to_follow = s.q.follow_links && (type == DT_LNK || type == DT_UNKNOWN);
    if (!named && type != DT_UNKNOWN && !link_to_follow) {
        if (type == DT_DIR)
            children_.push_back(make_child(n, name, false));
        return;
    }
    struct stat st;
    tick(*w_);
    if (::fstatat(n->fd.fd, name, &st, AT_SYMLINK_NOFOLLOW) != 0)
        return;  // gone since it was listed, or nothing to show of it
    struct stat target;
    bool target_ok = false;
    const bool link = S_ISLNK(st.st_mode);
    if (link && (named || s.q.follow_links)) {
        tick(*w_);
        target_ok = ::fstatat(n->fd.fd, name, &target, 0) == 0;
    }
    if (S_ISDIR(st.st_mode) || (s.q.follow_links && link && target_ok && S_ISDIR(target.st_mode))) {
        children_.push_back(make_child(n, name, link));
    }
    if (named)
        hit(n, name, st, link, target_ok ? &target : nullptr);
}

void Walker::hit(const NodePtr& n, const char* name, const struct stat& lst, bool link, const struct stat* target)
{
    FindState& s = *s_;
    const FindQuery& q = s.q;
    // With links followed, a link is what it leads to; one that leads nowhere stays a link.
    const bool as_target = link && target && q.follow_links;
    const struct stat& st = as_target ? *target : lst;
    const unsigned kind = S_ISDIR(st.st_mode) ? FIND_DIRS : (link && !as_target) ? FIND_LINKS : FIND_FILES;
    if (!(q.kinds & kind))
        return;
    if (q.min_size >= 0 || q.max_size >= 0) {
        if (S_ISDIR(st.st_mode))
            return;
        if ((q.min_size >= 0 && st.st_size < q.min_size) || (q.max_size >= 0 && st.st_size > q.max_size))
            return;
    }
    if ((q.newer_than && st.st_mtim.tv_sec < q.newer_than) || (q.older_than && st.st_mtim.tv_sec > q.older_than))
        return;
    // Devices, pipes and sockets are never read: a read could wait for ever.
    if (!q.content.empty() && (!S_ISREG(st.st_mode) || !file_holds(s, *w_, n->fd.fd, name, as_target, content_)))
        return;
    FindHit& h = hits_.emplace_back();
    h.rec.name.assign(name);
    // As the directory reader has it: a link shows its target's status and its text.
    dir_status_from_stat(h.rec.status, link && target ? *target : lst);
    if (link) {
        h.rec.flags |= DIR_F_LINK;
        char text[DIR_LINK_BUF];
        tick(*w_);
        const ssize_t len = ::readlinkat(n->fd.fd, name, text, sizeof text - 1);
        if (len < 0) {
            h.rec.set_link(DIR_TEXT_NO_LINK);
            h.rec.flags |= DIR_F_UNREADABLE;
        } else {
            h.rec.set_link({text, std::size_t(len)});
        }
        if (!target)
            h.rec.flags |= DIR_F_UNREADABLE;
    }
}

void Walker::flush(const NodePtr& n)
{
    if (hits_.empty())
        return;
    FindState& s = *s_;
    std::lock_guard lock(s.mu);
    if (gone()) {
        hits_.clear();
        return;
    }
    if (n->folder < 0) {
        n->folder = int32_t(s.folder_count++);
        s.out.folders.push_back(n->path);
    }
    for (FindHit& h : hits_)
        h.folder = uint32_t(n->folder);
    s.matches.fetch_add(hits_.size(), std::memory_order_relaxed);
    if (s.out.hits.empty())
        s.out.hits.swap(hits_);
    else
        std::move(hits_.begin(), hits_.end(), std::back_inserter(s.out.hits));
    hits_.clear();
}

void start_worker(const std::shared_ptr<FindState>& s)
{
    auto w = std::make_shared<Worker>();
    w->since = std::chrono::steady_clock::now();
    s->workers.push_back(w);
    s->running.fetch_add(1);
    try {
        s->threads.emplace_back([s, w] { Walker(s, w).run(); });
    } catch (...) {
        s->running.fetch_sub(1);
        s->workers.pop_back();
    }
}

// Gives up on workers whose call has not come back within the time-out: their
// folder is reported and counted done, another worker takes their place. Runs
// until the walk ends or is stopped; detached, it keeps the state alive.
void watch(std::shared_ptr<FindState> s)
{
    std::unique_lock lock(s->mu);
    while (!s->ended && !s->stopping.load()) {
        s->cv.wait_for(lock, kWatch);
        const auto now = std::chrono::steady_clock::now();
        int live = 0;
        for (const auto& w : s->workers) {
            if (w->abandoned.load())
                continue;
            ++live;
            const uint64_t t = w->ticks.load(std::memory_order_relaxed);
            if (!w->busy.load() || t != w->seen) {
                w->seen = t;
                w->since = now;
                continue;
            }
            if (now - w->since < s->q.timeout || !w->node)
                continue;
            w->abandoned.store(true);
            --live;
            s->out.troubles.push_back({w->node->path, 0, true, false});
            w->node.reset();
            ++s->stuck;
            if (--s->outstanding == 0) {
                s->ended = true;
                s->cv.notify_all();
            }
        }
        while (live < s->q.threads && s->stuck < kMaxStuck && !s->ended && !s->stopping.load()) {
            start_worker(s);
            ++live;
        }
        // No worker may be started any more: what is left will not be searched.
        if (live == 0 && !s->ended && !s->stopping.load()) {
            for (const NodePtr& n : s->stack)
                s->out.troubles.push_back({n->path, 0, true, false});
            s->stack.clear();
            s->outstanding = 0;
            s->ended = true;
            s->cv.notify_all();
        }
    }
}

}  // namespace

FindSearch::FindSearch(FindQuery q) : s_(std::make_shared<FindState>(std::move(q)))
{
    FindQuery& fq = s_->q;
    if (fq.threads <= 0)
        fq.threads = std::clamp(int(std::thread::hardware_concurrency()), 2, 8);
    s_->needle = fq.content;
    if (fq.content_icase)
        for (char& c : s_->needle)
            if (c >= 'A' && c <= 'Z')
                c = char(c | 0x20);
}

FindSearch::~FindSearch()
{
    stop();
    std::lock_guard lock(s_->mu);
    for (std::thread& t : s_->threads)
        t.detach();  // they hold the state; a stuck one ends when its call does
    s_->threads.clear();
}

int FindSearch::start()
{
    FindState& s = *s_;
    auto root = std::make_shared<DirNode>();
    root->path = s.q.root;
    if (root->path.size() > 1 && root->path.back() == '/')
        root->path.pop_back();
    // Not even the root is looked at here: it may be on a mount that does not
    // answer. A root that cannot be opened is the search's one trouble.
    if (root->path.empty() || root->path[0] != '/') {
        errno = EINVAL;
        return -1;
    }
    std::lock_guard lock(s.mu);
    s.stack.push_back(std::move(root));
    s.outstanding = 1;
    for (int i = 0; i < s.q.threads; ++i)
        start_worker(s_);
    try {
        s.threads.emplace_back(watch, s_);
    } catch (...) {
    }
    return 0;
}

void FindSearch::stop()
{
    std::lock_guard lock(s_->mu);
    s_->stopping.store(true);
    s_->cv.notify_all();
}

void FindSearch::take(FindBatch& out)
{
    FindState& s = *s_;
    std::lock_guard lock(s.mu);
    out.hits.clear();
    out.folders.clear();
    out.troubles.clear();
    std::swap(out.hits, s.out.hits);
    std::swap(out.folders, s.out.folders);
    std::swap(out.troubles, s.out.troubles);
    out.folders_searched = s.searched.load();
    out.matches = s.matches.load();
    out.done = s.ended || s.stopping.load();
}

bool FindSearch::idle() const
{
    return s_->running.load() == 0;
}
