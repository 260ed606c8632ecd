// vell: a graphical file manager. main() parses the framework's options, runs
// init(), opens the main window and runs the event loop.
#include <QApplication>
#include <cstdio>
#include <csignal>
#include <cstdlib>

#include "fileops/slot_window.h"
#include "shell/base.h"
#include "shell/fw_options.h"
#include "shell/init.h"
#include "shell/sig_dispatch.h"

int main(int argc, char** argv)
{
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

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("vell"));
    QApplication::setQuitOnLastWindowClosed(false);
    init(args);
    // Running operations are cancelled and the process ends after the last one.
    for (int signo : {SIGTERM, SIGHUP, SIGINT, SIGQUIT})
        sig_watch(signo, [] { slot_terminate_all(); });
    ::signal(SIGCHLD, SIG_IGN);
    BaseWindow* base = base_open(fw);
    const int rc = app.exec();
    delete base;
    return rc;
}
