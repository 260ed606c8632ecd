// The list following another program's changes in big directories, in the real
// event loop: one file made in a directory of 1,000,000 entries, and 10,000 files
// made at once in one of 100,000. For each: the time until the list shows exactly
// the new state, the GUI thread's work meanwhile and its longest stall, and whether
// the directory was read again whole. The GUI thread's work is the time spent in
// its event loop's passes, which run back to back with a short sleep between.
// Prints the longest stall of both (ms) as the number on its last line.
// Arguments: the entries of the big directory (1000000) and of the burst's (100000).
// The directories are made once under /dev/shm and kept for the next run.
// Before Qt: the reader's pool has a member named like a Qt keyword.
#include "dirmodel/dir_read.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QMainWindow>
#include "filelist/fl_view.h"
#include <QVBoxLayout>
#include <algorithm>
#include <cstring>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <thread>
#include <unistd.h>

#include "bench_window.h"
#include "filelist/fl_model.h"
#include "filelist/fl_panel.h"
#include "shell/kit/globals.h"
#include "shell/kit/init_config.h"

namespace {

void make_file(const std::string& path)
{
    const int fd = ::open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
    if (fd >= 0)
        ::close(fd);
}

int entries_in(const std::string& dir)
{
    DIR* d = ::opendir(dir.c_str());
    if (!d)
        return -1;
    int n = 0;
    while (const dirent* e = ::readdir(d))
        n += e->d_name[0] != '.';
    ::closedir(d);
    return n;
}

// A directory of `n` empty files named f0000000..., made once.
std::string big_dir(const char* name, int n)
{
    const std::string dir = std::string("/dev/shm/vell-bench-live-") + name + "-" + std::to_string(n);
    if (entries_in(dir) == n)
        return dir;
    std::system(("rm -rf '" + dir + "'").c_str());
    ::mkdir(dir.c_str(), 0755);
    char file[32];
    for (int i = 0; i < n; ++i) {
        std::snprintf(file, sizeof file, "/f%07d", i);
        make_file(dir + file);
    }
    return dir;
}

struct Figures {
    double shown_ms = -1;  // until the list held exactly the new state
    double work_ms = 0;    // the GUI thread's work meanwhile
    double stall_ms = 0;   // its longest single pass
    bool read_whole = false;
};

// Runs the event loop until `done` holds (or 20 s), timing each pass.
template <class Done>
Figures follow(Done done, QLabel* status)
{
    Figures f;
    QElapsedTimer all, pass;
    all.start();
    while (all.elapsed() < 20000) {
        pass.start();
        QApplication::processEvents(QEventLoop::AllEvents);
        const double took = pass.nsecsElapsed() / 1e6;
        if (took > 0.05)
            f.work_ms += took;
        f.stall_ms = std::max(f.stall_ms, took);
        f.read_whole = f.read_whole || status->text() == QLatin1String("Reading Directory");
        if (done()) {
            f.shown_ms = all.nsecsElapsed() / 1e6;
            break;
        }
        ::usleep(200);
    }
    return f;
}

void print(const char* what, const Figures& f)
{
    std::printf("%-44s shown after %7.1f ms, GUI work %6.1f ms, longest stall %6.1f ms, read whole: %s\n", what,
                f.shown_ms, f.work_ms, f.stall_ms, f.read_whole ? "yes" : "no");
}

bool names_sorted_and_counted(int want)
{
    if (gDir.count != want || fl_model()->rowCount() != want + (fl_model()->has_parent_row() ? 1 : 0))
        return false;
    for (int i = 1; i < gDir.count; ++i)
        if (std::strcmp(gDir[i - 1].name.c_str(), gDir[i].name.c_str()) >= 0)
            return false;
    return true;
}

}  // namespace

int main(int argc, char** argv)
{
    const int big = argc > 1 ? std::atoi(argv[1]) : 1000000;
    const int burst_in = argc > 2 ? std::atoi(argv[2]) : 100000;
    constexpr int kBurst = 10000;
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    gConfig = new ConfigRecord;
    init_config_defaults(*gConfig);

    std::printf("making the directories (once)...\n");
    std::fflush(stdout);
    const std::string big_path = big_dir("one", big);
    const std::string burst_path = big_dir("burst", burst_in);

    BenchWindow w;
    w.show();
    QLabel* s1 = w.status1;
    FlView* list = w.list;

    // One file in the big directory, the view scrolled to its middle.
    QElapsedTimer t;
    t.start();
    fl_setpath(big_path.c_str());
    const double read_ms = t.nsecsElapsed() / 1e6;
    for (int i = 0; i < 50; ++i) {  // its paint and timers
        QApplication::processEvents();
        ::usleep(1000);
    }
    std::printf("entries %d, read whole in %.1f ms\n", gDir.count, read_ms);
    list->scrollTo(fl_model()->index(fl_model()->rowCount() / 2, 0));
    const std::string name = big_path + "/f0500000x";
    ::unlink(name.c_str());
    make_file(name);
    const Figures one = follow([&] { return gDir.count == big + 1; }, s1);
    print("one file made among 1,000,000", one);
    ::unlink(name.c_str());
    const Figures gone = follow([&] { return gDir.count == big; }, s1);
    print("that file deleted", gone);

    // Ten thousand files at once in the smaller one, made by another thread.
    fl_setpath(burst_path.c_str());
    follow([&] { return gDir.count == burst_in; }, s1);
    std::thread maker([&] {
        char file[40];
        for (int i = 0; i < kBurst; ++i) {
            std::snprintf(file, sizeof file, "/g%07d", i * 7);
            make_file(burst_path + file);
        }
    });
    const Figures burst = follow([&] { return names_sorted_and_counted(burst_in + kBurst); }, s1);
    maker.join();
    print("10,000 files made at once among 100,000", burst);
    for (int i = 0; i < kBurst; ++i) {
        char file[40];
        std::snprintf(file, sizeof file, "/g%07d", i * 7);
        ::unlink((burst_path + file).c_str());
    }
    follow([&] { return gDir.count == burst_in; }, s1);

    std::printf("%.1f\n", std::max({one.stall_ms, gone.stall_ms, burst.stall_ms}));
    return one.shown_ms < 0 || burst.shown_ms < 0 ? 1 : 0;
}
