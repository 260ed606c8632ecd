// bench_dirmodel DIR [RUNS]: reads DIR with dir_read (by name, ascending) RUNS times
// and prints the median milliseconds as the number on the last line. Also prints
// the floor (readdir + fstatat + sort by name), the resident memory per entry of
// the first listing, and the records made by the re-reads.
// bench_dirmodel --make DIR N: fills DIR with N empty files first.
// bench_dirmodel --floor DIR [RUNS]: the machine's floor for listing DIR, as the median
// ms of a plain program: readdir, then fstatat of every entry split across all cores,
// then a strcmp sort of the names. Also the cores and one getppid call's cost.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <random>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <sys/syscall.h>
#include <thread>
#include <vector>

#include "dirmodel/dir_read.h"
#include "dirmodel/dir_sort.h"

namespace {

long rss_bytes()
{
    long pages = 0, resident = 0;
    if (FILE* f = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2)
            resident = 0;
        std::fclose(f);
    }
    return resident * sysconf(_SC_PAGESIZE);
}

double ms_since(std::chrono::steady_clock::time_point t)
{
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t).count();
}

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

struct Entry {
    std::string name;
    struct stat st;
};

std::size_t floor_read(const char* path)
{
    std::vector<Entry> entries;
    DIR* d = ::opendir(path);
    if (!d)
        return 0;
    const int fd = ::dirfd(d);
    while (const dirent* e = ::readdir(d)) {
        if (!std::strcmp(e->d_name, ".") || !std::strcmp(e->d_name, ".."))
            continue;
        Entry en{e->d_name, {}};
        ::fstatat(fd, e->d_name, &en.st, AT_SYMLINK_NOFOLLOW);
        entries.push_back(std::move(en));
    }
    ::closedir(d);
    std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) { return a.name < b.name; });
    return entries.size();
}

// The floor with the status calls on every core, as a program that does nothing else
// would do it; the milliseconds it took.
double floor_all_cores(const char* path)
{
    const auto t = std::chrono::steady_clock::now();
    DIR* d = ::opendir(path);
    if (!d)
        return -1;
    std::vector<std::string> names;
    while (const dirent* e = ::readdir(d))
        if (std::strcmp(e->d_name, ".") && std::strcmp(e->d_name, ".."))
            names.emplace_back(e->d_name);
    const int fd = ::dirfd(d);
    std::vector<struct stat> st(names.size());
    const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
    std::vector<std::thread> workers;
    for (unsigned c = 0; c < cores; ++c)
        workers.emplace_back([&, c] {
            for (std::size_t i = c; i < names.size(); i += cores)
                ::fstatat(fd, names[i].c_str(), &st[i], AT_SYMLINK_NOFOLLOW);
        });
    for (std::thread& w : workers)
        w.join();
    ::closedir(d);
    std::sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
        return std::strcmp(a.c_str(), b.c_str()) < 0;
    });
    return ms_since(t);
}

int floor_only(const char* dir, int runs)
{
    floor_all_cores(dir);  // the cache warm
    std::vector<double> ms;
    for (int r = 0; r < runs; ++r)
        ms.push_back(floor_all_cores(dir));
    constexpr int kCalls = 1000000;
    const auto t = std::chrono::steady_clock::now();
    for (int i = 0; i < kCalls; ++i)
        ::syscall(SYS_getppid);
    std::printf("cores: %u\n", std::max(1u, std::thread::hardware_concurrency()));
    std::printf("one getppid: %.2f us\n", ms_since(t) * 1000 / kCalls);
    std::printf("floor ms (readdir, fstatat on all cores, sort):\n%.1f\n", median(ms));
    return 0;
}

int make(const char* dir, long n)
{
    ::mkdir(dir, 0755);
    for (long i = 0; i < n; ++i) {
        char name[64];
        std::snprintf(name, sizeof name, "%s/file_%07ld", dir, i);
        int fd = ::open(name, O_CREAT | O_WRONLY, 0644);
        if (fd < 0) {
            std::perror(name);
            return 1;
        }
        ::close(fd);
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc == 4 && !std::strcmp(argv[1], "--make"))
        return make(argv[2], std::atol(argv[3]));
    if (argc >= 3 && !std::strcmp(argv[1], "--floor"))
        return floor_only(argv[2], argc > 3 ? std::max(1, std::atoi(argv[3])) : 5);
    if (argc < 2) {
        std::fprintf(stderr, "usage: bench_dirmodel DIR [RUNS] | --make DIR N | --floor DIR [RUNS]\n");
        return 2;
    }
    const char* dir = argv[1];
    const int runs = argc > 2 ? std::max(1, std::atoi(argv[2])) : 5;
    char real[PATH_MAX];
    if (!::realpath(dir, real)) {
        std::perror(dir);
        return 1;
    }

    DirReadEnv env;
    DirListing listing;
    listing.path = real;

    const long base = rss_bytes();
    if (dir_read(listing, dir_cmp_name, 1, env) != 0) {
        std::fprintf(stderr, "cannot read %s\n", real);
        return 1;
    }
    const long used = rss_bytes() - base;
    const int n = listing.count;
    std::printf("entries: %d\n", n);
    std::printf("memory per entry: %.1f bytes\n", n ? static_cast<double>(used) / n : 0.0);

    floor_read(real);
    std::vector<double> floor_ms, read_ms;
    const uint64_t made = dir_records_allocated();
    for (int r = 0; r < runs; ++r) {
        auto t = std::chrono::steady_clock::now();
        floor_read(real);
        floor_ms.push_back(ms_since(t));
        t = std::chrono::steady_clock::now();
        dir_read(listing, dir_cmp_name, 1, env);
        read_ms.push_back(ms_since(t));
    }
    const double f = median(floor_ms), d = median(read_ms);
    std::printf("records made by %d re-reads: %llu\n", runs,
                static_cast<unsigned long long>(dir_records_allocated() - made));
    std::printf("floor (readdir + fstatat + sort) ms: %.1f (%.2f us/entry)\n", f, n ? f * 1000 / n : 0.0);
    std::printf("dir_read ms: %.1f (%.2f us/entry, %.2f x floor)\n", d, n ? d * 1000 / n : 0.0, f > 0 ? d / f : 0.0);
    // The sort alone, on the records in a shuffled order.
    std::vector<double> sort_ms;
    for (int r = 0; r < runs; ++r) {
        std::shuffle(listing.records.begin(), listing.records.begin() + n, std::mt19937(r));
        auto t = std::chrono::steady_clock::now();
        dir_sort(listing, dir_cmp_name, 1, false);
        sort_ms.push_back(ms_since(t));
    }
    std::printf("of which dir_sort of a shuffled listing ms: %.1f\n", median(sort_ms));
    std::printf("%.1f\n", d);
    return 0;
}
