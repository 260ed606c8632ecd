// The Find Files window searching in the real event loop (offscreen): the time from
// Start until the first result is a row of the list, until the search is done, and
// the GUI thread's longest stall meanwhile (the largest gap between the passes of a
// 1 ms timer). Prints the longest stall (ms) as the number on its last line.
// Usage: bench_find_window DIR [PATTERN] [SORT_COLUMN]; "*" finds every entry, a
// sort column (0-7) merges each batch into sorted rows.
#include <QAbstractItemModel>
#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableView>
#include <QTimer>
#include <cstdio>
#include <cstdlib>

#include "shell/find_dlg.h"

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: bench_find_window DIR [PATTERN] [SORT_COLUMN]\n");
        return 2;
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    Q_INIT_RESOURCE(vell);  // the images live in the static widget library
    QWidget* w = find_open(argv[1]);
    auto* view = w->findChild<QTableView*>(QStringLiteral("fd_results"));
    auto* start = w->findChild<QPushButton*>(QStringLiteral("fd_start"));
    auto* status = w->findChild<QLabel*>(QStringLiteral("fd_status"));
    w->findChild<QLineEdit*>(QStringLiteral("fd_name"))->setText(QString::fromLocal8Bit(argc > 2 ? argv[2] : "*"));
    if (argc > 3)
        view->sortByColumn(std::atoi(argv[3]), Qt::AscendingOrder);
    QApplication::processEvents();

    QElapsedTimer clock, since_tick;
    qint64 first = -1, stall = 0, done = 0, rows = 0;
    QObject::connect(view->model(), &QAbstractItemModel::rowsInserted, [&] {
        if (first < 0)
            first = clock.elapsed();
    });
    QObject::connect(view->model(), &QAbstractItemModel::layoutChanged, [&] {
        if (first < 0 && view->model()->rowCount() > 0)
            first = clock.elapsed();
    });
    QTimer tick;
    QObject::connect(&tick, &QTimer::timeout, [&] {
        stall = std::max(stall, since_tick.restart());
        // Done, and every hit the status line counts is a row.
        const QString text = status->text();
        const qsizetype at = text.indexOf(QStringLiteral(" found"));
        const qsizetype from = text.lastIndexOf(u' ', at - 1) + 1;
        if (start->isEnabled() && at > 0 && view->model()->rowCount() == text.mid(from, at - from).toLongLong()) {
            done = clock.elapsed();
            rows = view->model()->rowCount();
            tick.stop();
            app.quit();  // closes the window, which deletes itself
        }
    });
    clock.start();
    since_tick.start();
    start->click();
    tick.start(1);
    app.exec();
    std::printf("%lld rows; first row after %lld ms, done after %lld ms, longest GUI stall %lld ms\n",
                static_cast<long long>(rows), static_cast<long long>(first), static_cast<long long>(done),
                static_cast<long long>(stall));
    std::printf("%lld\n", static_cast<long long>(stall));
    return 0;
}
