// Find Files' search alone, without the window: the time to the first batch of
// hits and to the end, median of RUNS, in ms. bench/compare_find.sh runs it beside
// find, fdfind and grep on the same trees.
//   bench_find --make DIR [FILES] [FOLDERS]   a tree of FILES names in FOLDERS leaf folders
//   bench_find --text DIR [MIB]               MIB MiB of text in 1 MiB files, "needle" in few
//   bench_find DIR PATTERN [RUNS]             a name search
//   bench_find --content DIR TEXT [RUNS]      a content search
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "dirmodel/find_walk.h"

namespace {

using Clock = std::chrono::steady_clock;

double ms_since(Clock::time_point t)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - t).count();
}

int make_tree(const std::string& dir, long files, long folders)
{
    const long top = std::max(1L, long(std::sqrt(double(folders))));
    const long per = std::max(1L, files / std::max(1L, folders));
    ::mkdir(dir.c_str(), 0755);
    for (long f = 0; f < folders; ++f) {
        const std::string mid = dir + "/d" + std::to_string(f % top);
        ::mkdir(mid.c_str(), 0755);
        const std::string leaf = mid + "/e" + std::to_string(f / top);
        if (::mkdir(leaf.c_str(), 0755) != 0 && errno != EEXIST)
            return 1;
        for (long i = 0; i < per; ++i) {
            static const char* const kExt[] = {".txt", ".c", ".h", ".png", ".md"};
            const std::string name = leaf + "/file" + std::to_string(i) + kExt[i % 5];
            const int fd = ::open(name.c_str(), O_CREAT | O_WRONLY, 0644);
            if (fd < 0)
                return 1;
            ::close(fd);
        }
    }
    return 0;
}

int make_text(const std::string& dir, long mib)
{
    ::mkdir(dir.c_str(), 0755);
    std::string chunk;
    static const char* const kWords[] = {"alpha ", "beta ", "gamma ", "delta\n", "epsilon ", "zeta ", "eta\n"};
    for (unsigned i = 0; chunk.size() < (1u << 20); ++i)
        chunk += kWords[(i * 2654435761u >> 7) % 7];
    chunk.resize(1u << 20);
    for (long f = 0; f < mib; ++f) {
        const std::string sub = dir + "/t" + std::to_string(f / 64);
        ::mkdir(sub.c_str(), 0755);
        std::string body = chunk;
        if (f % 97 == 0)  // a few hold it, near their end
            body.replace(body.size() - 100, 6, "needle");
        const int fd = ::open((sub + "/text" + std::to_string(f) + ".txt").c_str(), O_CREAT | O_WRONLY | O_TRUNC, 0644);
        if (fd < 0 || ::write(fd, body.data(), body.size()) != ssize_t(body.size()))
            return 1;
        ::close(fd);
    }
    return 0;
}

struct Timing {
    double first = -1;
    double total = 0;
    uint64_t matches = 0;
    uint64_t folders = 0;
};

Timing once(const FindQuery& q)
{
    Timing t;
    FindSearch s(q);
    const auto start = Clock::now();
    if (s.start() != 0) {
        std::perror(q.root.c_str());
        std::exit(1);
    }
    FindBatch b;
    for (;;) {
        s.take(b);
        if (t.first < 0 && !b.hits.empty())
            t.first = ms_since(start);
        if (b.done)
            break;
        std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
    t.total = ms_since(start);
    t.matches = b.matches;
    t.folders = b.folders_searched;
    return t;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc >= 3 && std::strcmp(argv[1], "--make") == 0)
        return make_tree(argv[2], argc > 3 ? std::atol(argv[3]) : 1000000, argc > 4 ? std::atol(argv[4]) : 10000);
    if (argc >= 3 && std::strcmp(argv[1], "--text") == 0)
        return make_text(argv[2], argc > 3 ? std::atol(argv[3]) : 1024);
    const bool content = argc >= 4 && std::strcmp(argv[1], "--content") == 0;
    if (argc < 3 || (content && argc < 4)) {
        std::fprintf(stderr, "usage: bench_find [--make DIR [FILES] [FOLDERS] | --text DIR [MIB] |"
                             " DIR PATTERN [RUNS] | --content DIR TEXT [RUNS]]\n");
        return 2;
    }
    FindQuery q;
    q.root = argv[content ? 2 : 1];
    if (content)
        q.content = argv[3];
    else
        q.name = argv[2];
    const int runs = std::max(1, std::atoi(argc > (content ? 4 : 3) ? argv[content ? 4 : 3] : "5"));
    std::vector<double> totals, firsts;
    Timing t;
    for (int i = 0; i < runs; ++i) {
        t = once(q);
        totals.push_back(t.total);
        firsts.push_back(t.first);
    }
    std::sort(totals.begin(), totals.end());
    std::sort(firsts.begin(), firsts.end());
    std::printf("%u cores, %llu folders, %llu matches; first hits after %.1f ms (median of %d)\n",
                std::thread::hardware_concurrency(), static_cast<unsigned long long>(t.folders),
                static_cast<unsigned long long>(t.matches), firsts[firsts.size() / 2], runs);
    std::printf("%.1f\n", totals[totals.size() / 2]);
    return 0;
}
