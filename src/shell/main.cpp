// vell: a graphical file manager. main() parses the framework's options, runs
// init(), opens the main window and runs the event loop.
#include <QApplication>
#include <QFileInfo>
#include <QIcon>
#include <cstdio>
#include <cstdlib>
#include <malloc.h>

#include "dirmodel/dir_names.h"
#include "shell/base.h"
#include "shell/fw_options.h"
#include "shell/init.h"
#include "shell/init_startup.h"

int main(int argc, char** argv)
{
    // A fixed threshold: the big tables of a large directory's read (the name set,
    // the grown record array, the sort's buffer) are mapped apart and go back to
    // the system when freed, instead of staying resident in the heap.
    mallopt(M_MMAP_THRESHOLD, 256 * 1024);
    Q_INIT_RESOURCE(vell);
    const std::vector<std::string> args(argv + 1, argv + argc);
    const FwOptions fw = fw_parse_options(args);
    if (fw.help) {
        std::fputs(fw_usage(), stdout);
        return 0;
    }
    if (!fw.error.empty()) {
        std::fprintf(stderr, "vell: %s\n%s", fw.error.c_str(), fw_usage());
        return 2;
    }
    if (fw.server)
        ::setenv("DISPLAY", fw.server->c_str(), 1);
    // The first directory is read, names first, while the toolkit and the window start.
    dir_names_read_ahead(init_start_path(args, init_current_dir()));

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("vell"));
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/images/vell.svg")));
    QGuiApplication::setDesktopFileName(QStringLiteral("vell"));
    QApplication::setQuitOnLastWindowClosed(false);
    // Without a desktop that names its icon theme, files would all look alike: an
    // installed theme with type icons is chosen.
    if (QIcon::themeName().isEmpty() || QIcon::themeName() == QLatin1String("hicolor"))
        for (const char* theme : {"Adwaita", "breeze"})
            if (QFileInfo::exists(QStringLiteral("/usr/share/icons/%1/index.theme").arg(QLatin1String(theme)))) {
                QIcon::setThemeName(QLatin1String(theme));
                break;
            }
    init(args);
    BaseWindow* base = base_open(fw);
    const int rc = app.exec();
    delete base;
    return rc;
}
