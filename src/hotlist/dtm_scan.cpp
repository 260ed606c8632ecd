#include "hotlist/dtm_scan.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

#include "dirmodel/es_path.h"
#include "shell/kit/io_util.h"

namespace {
#ifdef VELL_SANITIZED
constexpr std::size_t kStack = 1 << 20;
#else
constexpr std::size_t kStack = 0x10000;
#endif
// How long answers are gathered before they are handed over: short enough to
// look live, long enough that a big directory costs the GUI few steps.
constexpr auto kBatch = std::chrono::milliseconds(15);

// Compares two digit strings by value without overflowing on long ones.
int cmp_numbers(const char* a, const char* b)
{
    while (*a == '0')
        ++a;
    while (*b == '0')
        ++b;
    const std::size_t la = std::strlen(a), lb = std::strlen(b);
    if (la != lb)
        return la < lb ? -1 : 1;
    return std::strcmp(a, b);
}

bool skip_name(const char* n, bool hide_dot)
{
    if (n[0] != '.')
        return false;
    return hide_dot || n[1] == '\0' || (n[1] == '.' && n[2] == '\0');
}

// Whether entry e of the open directory dfd is a directory, links followed unless
// no_links. The type the stream delivers saves the status call for all but links.
bool entry_is_dir(int dfd, const struct dirent* e, bool no_links = false)
{
    if (e->d_type == DT_DIR)
        return true;
    if ((e->d_type != DT_LNK || no_links) && e->d_type != DT_UNKNOWN)
        return false;
    struct stat st {};
    return dtm_stat(dfd, e->d_name, &st, no_links ? AT_SYMLINK_NOFOLLOW : 0) == 0 && S_ISDIR(st.st_mode);
}

std::mutex sStatMutex;
std::shared_ptr<const DirStatFn> sStatFn;

#ifdef VELL_SANITIZED
constexpr std::size_t kWorkerStack = 1 << 20;
#else
constexpr std::size_t kWorkerStack = 1 << 18;
#endif
constexpr int kMaxWorkers = 4;

struct Workers {
    std::mutex m;
    std::condition_variable cv;
    std::deque<std::function<void()>> tasks;
    int threads = 0;
    int idle = 0;
};

// Never freed: a worker stuck in a call at exit still holds it.
Workers& workers()
{
    static Workers* w = new Workers;
    return *w;
}

void* worker_main(void*)
{
    Workers& w = workers();
    std::unique_lock<std::mutex> l(w.m);
    for (;;) {
        ++w.idle;
        w.cv.wait(l, [&] { return !w.tasks.empty(); });
        --w.idle;
        std::function<void()> task = std::move(w.tasks.front());
        w.tasks.pop_front();
        l.unlock();
        try {
            task();
        } catch (const std::bad_alloc&) {
        }
        task = nullptr;
        l.lock();
    }
    return nullptr;
}

struct DirCloser {
    void operator()(DIR* d) const { ::closedir(d); }
};
using DirPtr = std::unique_ptr<DIR, DirCloser>;

DirPtr open_dir(int at, const char* path)
{
    const int fd = ::openat(at, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return nullptr;
    DIR* d = ::fdopendir(fd);
    if (!d)
        ::close(fd);
    return DirPtr(d);
}

void notice(const DtmScan& s, const char* title, const char* text)
{
    if (s.on_notice)
        s.on_notice(title, text);
}

std::atomic<int> sRunning{0};

void* thread_main(void* arg)
{
    {
        std::unique_ptr<std::shared_ptr<DtmScan>> hold(static_cast<std::shared_ptr<DtmScan>*>(arg));
        dtm_scanning_thread(*hold);
    }
    --sRunning;  // after the record is let go, so a count of 0 means all is freed
    return nullptr;
}
}  // namespace

int _list_cmp(const char* a, const char* b)
{
    if (*a && !misc_all_digits(a))
        return std::strcmp(a, b);
    if (misc_all_digits(b))
        return cmp_numbers(a, b);
    return std::strcmp(a, b);
}

int dtm_has_subdir(int at, const char* path, int how, const std::atomic<bool>* stop)
{
    const bool hide_dot = how & DTM_HIDE_DOT;
    struct stat st {};
    if (dtm_stat(at, path, &st, 0) != 0 || !S_ISDIR(st.st_mode))
        return -1;
    // Each subdirectory links back with its "..": no reading needed then.
    if (!hide_dot && st.st_nlink > 2)
        return 1;
    DirPtr dir = open_dir(at, path);
    if (!dir)
        return -1;
    const int dfd = ::dirfd(dir.get());
    while (const struct dirent* e = ::readdir(dir.get())) {
        if (stop && stop->load(std::memory_order_relaxed))
            return 0;
        if (!skip_name(e->d_name, hide_dot) && entry_is_dir(dfd, e, how & DTM_NO_LINKS))
            return 1;
    }
    return 0;
}

void dtm_set_stat_fn(DirStatFn fn)
{
    std::lock_guard<std::mutex> l(sStatMutex);
    sStatFn = fn ? std::make_shared<const DirStatFn>(std::move(fn)) : nullptr;
}

int dtm_stat(int at, const char* name, struct stat* st, int flags)
{
    std::shared_ptr<const DirStatFn> fn;
    {
        std::lock_guard<std::mutex> l(sStatMutex);
        fn = sStatFn;
    }
    return fn ? (*fn)(at, name, st, flags) : ::fstatat(at, name, st, flags);
}

int dtm_run(std::function<void()> task)
{
    Workers& w = workers();
    std::lock_guard<std::mutex> l(w.m);
    w.tasks.push_back(std::move(task));
    if (std::size_t(w.idle) < w.tasks.size() && w.threads < kMaxWorkers) {
        if (start_detached(worker_main, nullptr, kWorkerStack) == 0) {
            ++w.threads;
        } else if (w.threads == 0) {
            w.tasks.pop_back();
            return -1;
        }
    }
    w.cv.notify_one();
    return 0;
}

void dtm_scanning_thread(const std::shared_ptr<DtmScan>& scan)
{
    DtmScan& s = *scan;
    s.running = true;
    const bool hide_dot = s.flags & DTM_HIDE_DOT;
    try {
        auto names = std::make_shared<std::vector<std::string>>();
        DirPtr dir = open_dir(AT_FDCWD, s.path.c_str());
        const int dfd = dir ? ::dirfd(dir.get()) : -1;
        while (const struct dirent* e = dir ? ::readdir(dir.get()) : nullptr) {
            if (s.stop.load(std::memory_order_relaxed)) {
                s.finished = true;
                return;
            }
            if (!skip_name(e->d_name, hide_dot) && entry_is_dir(dfd, e))
                names->emplace_back(e->d_name);
        }
        // Stable: numbers and other names do not form one total order ("2" < "10" < "1a" < "2").
        std::stable_sort(names->begin(), names->end(), [](const std::string& a, const std::string& b) {
            return _list_cmp(a.c_str(), b.c_str()) < 0;
        });
        if (s.on_listed)
            s.on_listed(names);
        // The children are looked into through the directory already open.
        const std::size_t count = names->size();
        std::size_t first = 0;
        std::vector<char> answers;
        auto last = std::chrono::steady_clock::now();
        for (std::size_t i = 0; i < count && !s.stop.load(std::memory_order_relaxed); ++i) {
            answers.push_back(dtm_has_subdir(dfd, (*names)[i].c_str(), hide_dot, &s.stop) > 0);
            const auto now = std::chrono::steady_clock::now();
            if (i + 1 == count || now - last >= kBatch) {
                if (s.stop.load(std::memory_order_relaxed))
                    break;
                if (s.on_checked)
                    s.on_checked(first, std::move(answers));
                first = i + 1;
                answers.clear();
                last = now;
            }
        }
    } catch (const std::bad_alloc&) {
        notice(s, "Memory Allocation", "Not enough memory!");
    }
    s.finished = true;
}

int dtm_start_scan(std::shared_ptr<DtmScan> scan)
{
    auto* arg = new (std::nothrow) std::shared_ptr<DtmScan>(std::move(scan));
    if (!arg)
        return -1;
    ++sRunning;
    if (start_detached(thread_main, arg, kStack) != 0) {
        --sRunning;
        delete arg;
        return -1;
    }
    return 0;
}

int dtm_scans_running()
{
    return sRunning;
}
