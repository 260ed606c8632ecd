// The main window's commands put in place: the menus filled from the command
// table, each asking the rules as it opens, the toolbar, the list's Return and
// context menu, and the accelerator registry's start-up.
#include "shell/commands.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QMenuBar>
#include <QTimer>
#include "filelist/fl_view.h"

#include "assoc/as_launch.h"
#include "filelist/fl_keys.h"
#include "filelist/fl_nav.h"
#include "filelist/fl_panel.h"
#include "filelist/small_dlg.h"
#include "shell/cmd_table.h"
#include "shell/kit/globals.h"
#include "shell/kit/init_config.h"
#include "shell/kit/kb_accel.h"
#include "shell/kit/w_utils.h"
#include "shell/open_with.h"

namespace {
KbTable sKeys;  // the accelerator registry: one empty "filelist" section

// A menu opened from the keyboard and closed by Escape leaves the menu bar in its
// keyboard mode with the focus, where the next letters and Return would open menus
// and run items unseen. Closing any menu gives the keys back to the list.
void leave_menu_bar(QMenuBar* bar)
{
    if (QApplication::activePopupWidget())
        return;  // the user went on to the next menu of the bar
    if (bar->hasFocus()) {
        QKeyEvent esc(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
        QCoreApplication::sendEvent(bar, &esc);
    }
    QWidget* focus = QApplication::focusWidget();
    if ((!focus || focus == bar) && !QApplication::activeModalWidget())
        misc_give_focus(fl_list());
}

void fill_menu_bar(QWidget* base)
{
    if (QMenu* m = cmd_named_menu("file_menu")) {
        cmd_fill(m, {">fm_new &New", "fm_new_file", "fm_new_folder", "fm_new_window", "<", "-", "fm_open",
                     "fm_open_another", "fm_view", "fm_edit", "fm_open_with", "-", "fm_open_shellwin", "-",
                     "fm_refresh", "-", "fm_find", "-", "fm_print", "fm_print_directory", "-", "fm_inspect", "-", "fm_exit"});
        QObject::connect(m, &QMenu::aboutToShow, m, [m] { fm_setup(m); });
    }
    if (QMenu* m = cmd_named_menu("edit_menu")) {
        cmd_fill(m, {"em_undo", "-", "em_cut", "em_copy", "em_paste", "em_delete", "em_delete_permanent",
                     "em_rename", "-", "-",
                     ">em_select &Select", "em_select_all", "em_select_pattern", "<",
                     ">em_unselect &Unselect", "em_unselect_all", "em_unselect_pattern", "<", "em_invert",
                     "-", "em_preferences", "em_associations"});
        QObject::connect(m, &QMenu::aboutToShow, m, [m] { em_setup(m); });
    }
    if (QMenu* m = cmd_named_menu("go_menu")) {
        cmd_fill(m, {"gm_back", "gm_forward", "gm_up", "gm_home", "gm_trash"});
        QObject::connect(m, &QMenu::aboutToShow, m, [m] { gm_setup(m); });
    }
    // The bookmarks part fills in its entries as it opens; the rules are asked here.
    if (QMenu* m = cmd_named_menu("hotlist_menu"))
        QObject::connect(m, &QMenu::aboutToShow, m, [m] { cmd_apply_rules(m); });
    if (QMenu* m = cmd_named_menu("help_menu"))
        cmd_fill(m, {"help_quickref", "help_about"});
    if (auto* bar = base->findChild<QMenuBar*>(QStringLiteral("menu_tbg")))
        for (QAction* top : bar->actions())
            if (QMenu* m = top->menu())
                QObject::connect(m, &QMenu::aboutToHide, m,
                                 [bar] { QTimer::singleShot(0, bar, [bar] { leave_menu_bar(bar); }); });
}

void make_hidden_menus(QWidget* base)
{
    auto* view = new QMenu(base);
    view->setObjectName(QStringLiteral("view_menu"));
    cmd_fill(view, {">vm_toolbars Toolbars", "vm_nav_tb", "vm_clip_tb", "vm_misc_tb", "vm_hotlist_tb",
                    "vm_path_tb", "vm_filter_tb", "-", "vm_text_and_images", "vm_text_only", "vm_images_only",
                    "<", "vm_icon", "vm_hotlist_pane", "vm_status", "vm_dot_files"});
    auto* tcm = new QMenu(base);
    tcm->setObjectName(QStringLiteral("toolbar_cmenu"));

    auto* list_menu = new QMenu(base);
    list_menu->setObjectName(QStringLiteral("list_cmenu"));
    QMenu* lnew = list_menu->addMenu(QStringLiteral("&New"));
    lnew->setObjectName(QStringLiteral("lcm_new"));
    lnew->addAction(QStringLiteral("F&older"), [] { new_dir_setup(); })->setObjectName(QStringLiteral("lcm_new_folder"));
    lnew->addAction(QStringLiteral("F&ile"), [] { new_file_setup(); })->setObjectName(QStringLiteral("lcm_new_file"));
    QObject::connect(list_menu, &QMenu::aboutToShow, list_menu, [list_menu] { lcm_setup(list_menu); });
    lcm_set_menu(list_menu);
}

void connect_toolbar(QWidget* base)
{
    const std::pair<const char*, const char*> buttons[] = {
        {"tb_up", "gm_up"},     {"tb_refresh", "fm_refresh"}, {"tb_home", "gm_home"},
        {"tb_cut", "em_cut"},   {"tb_copy", "em_copy"},       {"tb_paste", "em_paste"},
        {"tb_print", "fm_print"}, {"tb_add", "hm_add"}};
    for (const auto& [button, cmd] : buttons)
        if (auto* b = base->findChild<QAbstractButton*>(QString::fromLatin1(button))) {
            const char* name = cmd;
            QObject::connect(b, &QAbstractButton::clicked, base, [name] { cmd_invoke(name); });
        }
    if (auto* b = base->findChild<QAbstractButton*>(QStringLiteral("tb_new_folder")))
        QObject::connect(b, &QAbstractButton::clicked, base, [] {
            new_last_kind() == NEW_FILE ? new_file_setup() : new_dir_setup();
        });
}
}  // namespace

int vm_clip_tb_toggle()
{
    if (auto* tb = cmd_base() ? cmd_base()->findChild<QWidget*>(QStringLiteral("clip_tb")) : nullptr)
        tb->setVisible(tb->isHidden());
    return 0;
}

// The Preferences' "hide dot files", as every desktop's file managers toggle it.
int vm_dot_files_toggle()
{
    if (!gConfig)
        return 0;
    const uint32_t opt = gConfig->options() ^ cfg::OPT_HIDE_DOT;
    gConfig->set_options(opt);
    if (opt & cfg::OPT_HIDE_DOT)
        gOptions &= ~cfg::kReaderDotBits;
    else
        gOptions |= cfg::kReaderDotBits;
    fl_refresh_keeping_selection();
    return 0;
}

void init_actions() {}

void init_kb_defaults() {}

void init_link()
{
    x_add_section(sKeys, "filelist");
    if (FlView* list = fl_list())
        ac_link_widget(sKeys, list, "filelist");
}

void cmd_setup(QWidget* base)
{
    cmd_make_items(base);
    fill_menu_bar(base);
    make_hidden_menus(base);
    fl_set_context_menu_cb(lcm_popup);
    // Return is the list's own key: it opens what is current even with nothing selected.
    fl_set_open_cb([] { return cmd_run("fm_open"); });
    fl_set_open_with_cb(ow_dialog);
    as_set_listing(&gDir);
    connect_toolbar(base);
    init_actions();
    init_kb_defaults();
    init_link();
}
