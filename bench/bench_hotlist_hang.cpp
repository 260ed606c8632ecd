// Bookmarks on a mount that does not answer: every status call on a name beginning
// with "hang" waits until the end. Prints how long the GUI thread spent adding ten
// such bookmarks to the tree, adding them to a menu, and expanding a branch that
// holds a link to one; then how long a closed menu's scan of 20,000 subdirectories
// took to end. The worst GUI figure is last.
#include <QApplication>
#include <QElapsedTimer>
#include <QMenu>
#include <QTreeWidget>
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <future>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "hotlist/dtm.h"
#include "hotlist/dtm_scan.h"
#include "hotlist/tree.h"

namespace fs = std::filesystem;

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const std::string root = (fs::exists("/dev/shm") ? "/dev/shm" : "/tmp") + std::string("/vell-bench-hang");
    fs::remove_all(root);
    for (int i = 0; i < 10; ++i)
        fs::create_directories(root + "/hang" + std::to_string(i) + "/sub");
    fs::create_directories(root + "/top/a");
    fs::create_directory_symlink(root + "/hang0", root + "/top/hang_link");
    for (int i = 0; i < 20000; ++i)
        fs::create_directories(root + "/many/d" + std::to_string(i));

    std::promise<void> gate;
    dtm_set_stat_fn([open = gate.get_future().share()](int fd, const char* n, struct stat* st, int fl) {
        const char* base = std::strrchr(n, '/') ? std::strrchr(n, '/') + 1 : n;
        if (std::strncmp(base, "hang", 4) == 0)
            open.wait();
        return ::fstatat(fd, n, st, fl);
    });

    QTreeWidget tree;
    tree_setup(&tree);
    QElapsedTimer t;
    t.start();
    for (int i = 0; i < 10; ++i)
        tree_add(gTree, root + "/hang" + std::to_string(i));
    const double added = t.nsecsElapsed() / 1e6;

    QMenu menu;
    t.restart();
    for (int i = 0; i < 10; ++i)
        dtm_add_item(&menu, root + "/hang" + std::to_string(i), "hang", DTM_CHECK, nullptr);
    const double listed = t.nsecsElapsed() / 1e6;

    tree_add(gTree, root + "/top");
    QTreeWidgetItem* top = tree.topLevelItem(tree.topLevelItemCount() - 1);
    t.restart();
    top->setExpanded(true);
    const double expanded = t.nsecsElapsed() / 1e6;
    gate.set_value();

    QAction* many = dtm_add_item(&menu, root + "/many", "many", DTM_CHECK, nullptr);
    while (!many->menu())
        app.processEvents(QEventLoop::WaitForMoreEvents);
    many->menu()->popup(QPoint(0, 0));
    while (!many->menu()->findChild<QWidget*>(QStringLiteral("dtm_list")))
        app.processEvents(QEventLoop::WaitForMoreEvents);
    t.restart();
    many->menu()->hide();
    while (dtm_scans_running() > 0)
        ::usleep(100);
    const double stopped = t.nsecsElapsed() / 1e6;

    std::printf("GUI thread, ten hung bookmarks added to the tree: %.2f ms\n", added);
    std::printf("GUI thread, ten hung bookmarks added to a menu: %.2f ms\n", listed);
    std::printf("GUI thread, expanding a branch with a hung link: %.2f ms\n", expanded);
    std::printf("closed menu's scan of 20,000 subdirectories ended after: %.2f ms\n", stopped);
    std::printf("worst GUI figure (ms)\n%.2f\n", std::max({added, listed, expanded}));
    fs::remove_all(root);
    return 0;
}
