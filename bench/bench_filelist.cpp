// Opening a directory of 100,000 entries (or the count given) in the file list: the
// cost of building the view over the cost of reading the directory, then select-all,
// a scroll through the whole list, sorts by other columns, a filter and a type-ahead
// search, each as the GUI thread's time (CPU, so that the status workers' share of a
// read is left out) and the wall time. Prints the ratio (view / read) as the number
// on its last line.
// Before Qt: the reader's pool has a member named like a Qt keyword.
#include "dirmodel/dir_read.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QLabel>
#include <QMainWindow>
#include <QScrollBar>
#include <QTimer>
#include "filelist/fl_view.h"
#include <QVBoxLayout>
#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <cstdio>
#include <vector>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <unistd.h>

#include "clipboard/clip.h"
#include "dirmodel/dir_sort.h"
#include "bench_window.h"
#include "filelist/fl_model.h"
#include "filelist/fl_panel.h"
#include "filelist/fl_select.h"
#include "shell/kit/globals.h"
#include "shell/kit/init_config.h"

namespace {
double ms(QElapsedTimer& t)
{
    return t.nsecsElapsed() / 1e6;
}

// The calling thread's CPU time in ms.
double thread_ms()
{
    timespec ts{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return ts.tv_sec * 1e3 + ts.tv_nsec / 1e6;
}

// Runs `step` and prints its wall time and the GUI thread's CPU time.
template <class Step>
void timed(const char* what, Step&& step)
{
    QElapsedTimer t;
    t.start();
    const double cpu = thread_ms();
    step();
    QApplication::processEvents();
    std::printf("%-28s wall %7.1f ms, GUI thread %7.1f ms\n", what, ms(t), thread_ms() - cpu);
}
}  // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int kEntries = argc > 1 ? std::max(1, std::atoi(argv[1])) : 100000;
    gConfig = new ConfigRecord;
    init_config_defaults(*gConfig);

    std::string root = std::filesystem::temp_directory_path() / "vell-bench-filelist";
    std::filesystem::create_directories(root);
    for (int i = 0; i < kEntries; ++i) {
        const std::string p = root + "/file" + std::to_string(i);
        const int fd = ::open(p.c_str(), O_CREAT | O_WRONLY, 0644);
        if (fd >= 0)
            ::close(fd);
    }

    // The read alone, warm, as the list will do it.
    DirListing plain;
    plain.path = root;
    DirReadEnv env;
    QElapsedTimer t;
    t.start();
    dir_read(plain, dir_cmp_name, 1, env);
    const double read_ms = ms(t);

    BenchWindow w;
    FlView* list = w.list;
    clip_setup(list);
    w.show();

    t.restart();
    fl_setpath(root.c_str());
    QApplication::processEvents();
    const double open_ms = ms(t);

    t.restart();
    fl_update();
    QApplication::processEvents();
    const double update_ms = ms(t);

    t.restart();
    fl_select_all();
    QApplication::processEvents();
    const double select_ms = ms(t);

    // A scroll through the whole list, each page drawn: every page, or 300 spread
    // over it.
    QScrollBar* bar = list->verticalScrollBar();
    t.restart();
    int pages = 0;
    double worst = 0;
    QElapsedTimer page;
    const int step = std::max(bar->pageStep(), bar->maximum() / 300);
    for (int v = 0; v <= bar->maximum(); v += step, ++pages) {
        page.restart();
        bar->setValue(v);
        list->viewport()->repaint();
        worst = std::max(worst, ms(page));
    }
    const double scroll_ms = ms(t);

    // The selection of every entry packed and put on the clipboard, then cut: every
    // row drawn asks the cut list, page after page.
    t.restart();
    em_copy();
    const double copy_ms = ms(t);
    fl_select_all();
    t.restart();
    em_cut();
    const double cut_ms = ms(t);
    // The same pages drawn with and without the cut list, medians of each.
    std::vector<double> with_cut, without_cut;
    for (int round = 0; round < 2; ++round) {
        for (int v = 0, n = 0; v <= bar->maximum() && n < 200; v += bar->pageStep(), ++n) {
            page.restart();
            bar->setValue(v);
            list->viewport()->repaint();
            (round ? without_cut : with_cut).push_back(ms(page));
        }
        fl_model()->set_cut_query({});
    }
    auto median = [](std::vector<double> v) {
        std::sort(v.begin(), v.end());
        return v[v.size() / 2];
    };

    std::printf("entries            %d\n", gDir.count);
    std::printf("dir_read alone     %.1f ms\n", read_ms);
    std::printf("fl_setpath (read + view) %.1f ms\n", open_ms);
    std::printf("fl_update alone    %.1f ms\n", update_ms);
    std::printf("select all         %.1f ms\n", select_ms);
    std::printf("scroll %d pages    %.1f ms, worst page %.2f ms\n", pages, scroll_ms, worst);
    std::printf("copy (pack + publish) %.1f ms\n", copy_ms);
    std::printf("cut (pack + publish + redraw) %.1f ms\n", cut_ms);
    std::printf("page of cut rows %.2f ms, same page without the cut list %.2f ms (medians)\n",
                median(with_cut), median(without_cut));

    // What the user does next in a big directory.
    fl_unselect_all();
    timed("sort by size", [] { fl_sort_cb("fh_size"); });
    timed("sort by date", [] { fl_sort_cb("fh_date"); });
    timed("sort by name", [] { fl_sort_cb("fh_filename"); });
    timed("sort by name, reversed", [] { fl_sort_cb("fh_filename"); });
    fl_sort_cb("fh_filename");
    timed("type-ahead to the last", [&] {
        const std::string last = "file" + std::to_string(kEntries - 1);
        for (char c : last) {
            QKeyEvent press(QEvent::KeyPress, 0, Qt::NoModifier, QString(QChar(c)));
            QApplication::sendEvent(list, &press);
        }
    });
    timed("filter file1*", [] { fl_setspec("file1*"); });
    timed("filter back to *", [] { fl_setspec("*"); });
    std::printf("view / read ratio\n%.3f\n", (open_ms - read_ms) / read_ms);
    std::filesystem::remove_all(root);
    return 0;
}
