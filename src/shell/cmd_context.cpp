// The file list's context menu, made afresh from the selection each time it opens:
// the items whose rules hold, in the menu's own order.
#include <QAction>
#include <QLoggingCategory>
#include <QMenu>
#include "filelist/fl_view.h"

#include "filelist/small_dlg.h"
#include "hotlist/mgen.h"
#include "shell/cmd_table.h"
#include "shell/commands.h"
#include "shell/open_with.h"

namespace {
Q_LOGGING_CATEGORY(lcMenu, "vell.menu", QtWarningMsg)
QMenu* sListMenu = nullptr;

QAction* add_item(QMenu* menu, const char* label, const char* name)
{
    const char* cmd = name;
    QAction* a = menu->addAction(QString::fromLatin1(label), [cmd] { cmd_invoke(cmd); });
    a->setObjectName(QString::fromLatin1("lcm_") + QString::fromLatin1(name));
    return a;
}
}  // namespace

void lcm_set_menu(QMenu* menu)
{
    sListMenu = menu;
}

void lcm_popup(FlView*, QPoint at)
{
    if (!sListMenu)
        return;
    sListMenu->popup(at);
    // What the user was offered, for reports: QT_LOGGING_RULES="vell.menu.info=true".
    if (lcMenu().isInfoEnabled()) {
        QStringList items;
        for (const QAction* a : sListMenu->actions())
            items << (a->isSeparator() ? QStringLiteral("-") : a->text());
        qCInfo(lcMenu).noquote() << "context menu:" << items.join(u'|');
    }
}

void lcm_setup(QMenu* menu)
{
    // Everything after the fixed "&New" goes; it is made afresh from the selection.
    const QList<QAction*> all = menu->actions();
    for (int i = 1; i < all.size(); ++i) {
        if (QMenu* sub = all[i]->menu())
            delete sub;  // with it goes the item, its menuAction
        else
            delete all[i];
    }
    CmdState state = CmdState::now();
    auto on = [&state](const char* name) { return cmd_enabled(name, state); };
    auto item = [&](const char* label, const char* name) {
        if (on(name))
            add_item(menu, label, name);
    };
    const int n = state.selected;
    // Each letter chooses one item here, so Open In Window, Copy and Paste take other
    // letters than in the File and Edit menus (Open With and Open In Window never meet).
    item("&Open", "fm_open");
    item("Open In &Window", "fm_open_another");
    item("&View", "fm_view");
    item("&Edit", "fm_edit");
    if (on("fm_open_with")) {
        // The applications for the files, then the dialog for any other.
        QMenu* with = menu->addMenu(QStringLiteral("Open &With"));
        with->menuAction()->setObjectName(QStringLiteral("lcm_open_with_menu"));
        ow_add_apps(with);
        if (!with->isEmpty())
            with->addSeparator();
        add_item(with, "&Other Application...", "fm_open_with");
        menu->addSeparator();
    }
    item("&Print", "fm_print");
    if (n >= 1)
        menu->addSeparator();
    item("Cu&t", "em_cut");
    item("Cop&y", "em_copy");
    item("P&aste", "em_paste");
    item("&Delete", "em_delete");
    item("Delete Permanent&ly", "em_delete_permanent");
    if (n == 1) {
        item("&Rename", "em_rename");
        QAction* link = menu->addAction(QStringLiteral("&Symlink"), [] { fm_symlink(); });
        link->setObjectName(QStringLiteral("lcm_fm_symlink"));
    }
    menu->addSeparator();
    if (n == 0) {
        item("Find &Files...", "fm_find");
        return;
    }
    if (mgen_work_insert(menu))
        menu->addSeparator();
    item("&Inspect", "fm_inspect");
    menu->addSeparator();
    item("Find &Files...", "fm_find");
}
