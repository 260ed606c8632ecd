#include "shell/commands.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QHash>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QLoggingCategory>
#include <QMainWindow>
#include <QKeyEvent>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QTableWidget>
#include <QTimer>
#include <QToolBar>
#include <QTreeView>
#include <QVBoxLayout>
#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "assoc/as_dlg.h"
#include "assoc/as_launch.h"
#include "assoc/as_run.h"
#include "assoc/as_table.h"
#include "clipboard/clip.h"
#include "dirmodel/es_path.h"
#include "fileops/fop_gui.h"
#include "fileops/undo.h"
#include "filelist/fl_keys.h"
#include "filelist/fl_nav.h"
#include "filelist/fl_panel.h"
#include "filelist/fl_select.h"
#include "filelist/small_dlg.h"
#include "hotlist/mgen.h"
#include "hotlist/tree.h"
#include "shell/base.h"
#include "shell/config_dlg.h"
#include "shell/kit/globals.h"
#include "shell/kit/init_config.h"
#include "shell/kit/kb_accel.h"
#include "shell/prop_dlg.h"
#include "shell/trash_dlg.h"
#include "shell/kit/w_utils.h"

namespace {
std::function<bool(const char*)> sObserver;
QWidget* sBase = nullptr;
QMenu* sListMenu = nullptr;
KbTable sKeys;  // the accelerator registry: one empty "filelist" section
std::string sProgram;

int nothing()
{
    return 0;
}

// One command: its item's object name, label, key and handler. A key that is
// only shown (Return: the list's own) is marked with a leading "=".
struct Cmd {
    const char* name;
    const char* label;
    const char* key;
    int (*fn)();
};

int select_pattern()
{
    fl_unselect_all();
    return em_select_pattern();
}

int unselect_pattern()
{
    return gDir.selected > 0 ? em_unselect_pattern() : 0;
}

// The Edit menu's "&Unselect" has the U, so Undo takes its n.
QString undo_text()
{
    QString label = QString::fromStdString(undo_label());
    if (label.startsWith(QLatin1String("&Undo")))
        label = QLatin1String("U&ndo") + label.mid(5);
    return label;
}

const Cmd kCommands[] = {
    {"fm_new_file", "F&ile", "F3", fm_new_file},
    {"fm_new_folder", "&Folder", "F4", fm_new_folder},
    {"fm_new_window", "&Window", "Ctrl+N", fm_new_window},
    {"fm_open", "&Open", "=Return", fm_open},
    {"fm_open_another", "Open In Win&dow", "Ctrl+Return", fm_open_another},
    {"fm_view", "&View", "Alt+V", fm_view},
    {"fm_edit", "&Edit", "Ctrl+E", fm_edit},
    {"fm_open_with", "Open &With...", "Shift+Return", fm_open_with},
    {"fm_open_shellwin", "Open &Terminal", "Ctrl+T", fm_open_shellwin},
    {"fm_refresh", "&Refresh", "F5", fm_refresh},
    {"fm_print", "&Print", "Ctrl+P", fm_print},
    {"fm_print_directory", "Print Dire&ctory", "", fm_print_directory},
    {"fm_inspect", "&Inspect...", "F9", fm_inspect},
    {"fm_exit", "E&xit", "Alt+X", fm_exit},
    {"em_undo", "U&ndo", "Ctrl+Z", em_undo},
    {"em_cut", "Cu&t", "Ctrl+X", em_cut},
    {"em_copy", "C&opy", "Ctrl+C", em_copy},
    {"em_paste", "&Paste", "Ctrl+V", em_paste},
    {"em_delete", "&Delete", "Del", em_delete},
    {"em_delete_permanent", "Delete Permanent&ly", "Shift+Del", em_delete_permanent},
    {"em_rename", "&Rename", "F2", fm_inspect},
    {"em_select_all", "&All", "Ctrl+A", em_select_all},
    {"em_select_pattern", "&Pattern", "Ctrl+S", select_pattern},
    {"em_unselect_all", "&All", "Ctrl+U", em_unselect_all},
    {"em_unselect_pattern", "&Pattern", "", unselect_pattern},
    {"em_invert", "&Invert Selection", "Ctrl+I", em_invert_selection},
    {"em_preferences", "Pr&eferences...", "F10", em_edit_preferences},
    {"em_associations", "&Associations...", "F11", em_edit_associations},
    {"gm_back", "Back", "Alt+Left", gm_back},
    {"gm_forward", "Forward", "Alt+Right", gm_forward},
    {"gm_up", "Up One Level", "Backspace", gm_up},
    {"gm_home", "Home", "F6", gm_home},
    {"gm_trash", "&Trash", "", gm_trash},
    {"hm_add", "&Add Current Directory", "Ctrl+D", hm_add},
    {"hm_delete", "&Remove Current Directory", "Ctrl+R", hm_remove},
    {"help_quickref", "&Quick Reference", "F1", help_quickref},
    {"help_about", "&About", "", help_about},
    // Keys with no item of their own.
    {"kp_open", nullptr, "Num++", fm_open},
    {"kp_up", nullptr, "Num+-", gm_up},
    {"kp_delete", nullptr, "Num+.", em_delete},
    // The hidden View menu.
    {"vm_nav_tb", "&Navigation", "", nothing},
    {"vm_clip_tb", "&Clipboard", "", vm_clip_tb_toggle},
    {"vm_misc_tb", "&Misc", "", nothing},
    {"vm_hotlist_tb", "&Hotlist", "", nothing},
    {"vm_path_tb", "&Path", "", nothing},
    {"vm_filter_tb", "&Filter", "", nothing},
    {"vm_text_and_images", "Text &and Images", "", nothing},
    {"vm_text_only", "&Text Only", "", nothing},
    {"vm_images_only", "&Images Only", "", nothing},
    {"vm_icon", "&Icon Pane", "", nothing},
    {"vm_hotlist_pane", "&Hotlist Pane", "", nothing},
    {"vm_status", "&Status Pane", "", nothing},
};

const Cmd* find_cmd(const char* name)
{
    for (const Cmd& c : kCommands)
        if (std::strcmp(c.name, name) == 0)
            return &c;
    return nullptr;
}

// The items by name: looked up on every menu opening, so not searched for.
QHash<QString, QAction*> sActions;

QAction* action(const char* name)
{
    return sActions.value(QString::fromLatin1(name));
}

QMenu* named_menu(const char* name)
{
    return sBase ? sBase->findChild<QMenu*>(QString::fromLatin1(name)) : nullptr;
}

// An item and its key share one QAction, so an item a menu dimmed would leave its key
// dead once the menu closed. Items are enabled again when their menu closes, and a key
// asks its menu's rule at the moment it is pressed.
void enable_all(QMenu* menu)
{
    for (QAction* a : menu->actions()) {
        // Only the commands' own items: generated entries keep their state.
        if (sActions.value(a->objectName()) != a || a->objectName() == QLatin1String("fm_print_directory"))
            continue;
        a->setEnabled(true);
        if (a->menu())
            enable_all(a->menu());
    }
}

void edit_rule(QMenu*)
{
    em_setup(nullptr);  // with a menu it would also build Copy To / Move To
}

const struct Rule {
    const char* prefix;
    const char* menu;
    void (*setup)(QMenu*);
} kRules[] = {{"fm_", "file_menu", fm_setup},
              {"em_", "edit_menu", edit_rule},
              {"gm_", "go_menu", gm_setup},
              {"hm_", "hotlist_menu", hm_setup}};

bool enabled_now(const char* name)
{
    QAction* a = action(name);
    for (const Rule& r : kRules) {
        if (!a || std::strncmp(name, r.prefix, 3) != 0)
            continue;
        QMenu* menu = named_menu(r.menu);
        if (!menu)
            break;
        r.setup(menu);
        const bool on = a->isEnabled();
        enable_all(menu);
        return on;
    }
    return true;
}

// The keypad's "+", "-" and "." as the X server sends them match no shortcut that
// names them ("Num+-"), and would start a type-ahead search instead: they are taken
// here, wherever the focus is in the window, except in a field being typed into.
class KeypadKeys : public QObject {
public:
    using QObject::QObject;
    bool eventFilter(QObject* o, QEvent* e) override
    {
        if (e->type() != QEvent::KeyPress || o != QApplication::focusWidget())
            return false;
        auto* k = static_cast<QKeyEvent*>(e);
        auto* w = static_cast<QWidget*>(o);
        if (k->modifiers() != Qt::KeypadModifier || w->window() != sBase || qobject_cast<QLineEdit*>(w))
            return false;
        const char* name = k->key() == Qt::Key_Plus    ? "kp_open"
                           : k->key() == Qt::Key_Minus  ? "kp_up"
                           : k->key() == Qt::Key_Period ? "kp_delete"
                                                        : nullptr;
        QAction* a = name ? action(name) : nullptr;
        if (!a)
            return false;
        a->trigger();
        return true;
    }
};

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

// The item of a command, made once and shared by its menu and its key; the
// window's own description already holds a few of them.
QAction* make_action(const Cmd& c)
{
    const QString name = QString::fromLatin1(c.name);
    QAction* a = sBase->findChild<QAction*>(name);
    if (!a) {
        a = new QAction(sBase);
        a->setObjectName(name);
    }
    sActions.insert(name, a);
    if (c.label)
        a->setText(QString::fromLatin1(c.label));
    a->disconnect(sBase);
    QObject::connect(a, &QAction::triggered, sBase, [&c] {
        if (sObserver && sObserver(c.name))
            return;
        if (enabled_now(c.name))
            c.fn();
    });
    if (*c.key) {
        const bool shown_only = c.key[0] == '=';
        a->setShortcut(QKeySequence(QString::fromLatin1(c.key + (shown_only ? 1 : 0))));
        a->setShortcutContext(shown_only ? Qt::WidgetShortcut : Qt::WindowShortcut);
        sBase->addAction(a);  // its key works wherever the focus is in the window
    }
    return a;
}

// Fills a menu from a list of names; "-" is a separator, ">name label" a submenu
// whose items follow up to "<".
void fill(QMenu* menu, std::initializer_list<const char*> names)
{
    menu->clear();
    QMenu* into = menu;
    for (const char* n : names) {
        if (std::strcmp(n, "-") == 0) {
            into->addSeparator();
        } else if (std::strcmp(n, "<") == 0) {
            into = menu;
        } else if (n[0] == '>') {
            const char* space = std::strchr(n, ' ');
            into = menu->addMenu(QString::fromLatin1(space + 1));
            into->setObjectName(QString::fromLatin1(n + 1, int(space - n - 1)));
            into->menuAction()->setObjectName(into->objectName());
            sActions.insert(into->objectName(), into->menuAction());
        } else {
            into->addAction(action(n));
        }
    }
}

bool is_dir(int i)
{
    return S_ISDIR(gDir[i].status.st_mode);
}

// open, view, edit: whether every selected file's association has that command.
void assoc_flags(bool& open, bool& view, bool& edit, bool dirs_clear)
{
    open = view = edit = true;
    for (int i = 0; i < gDir.count; ++i) {
        if (!(gDir[i].flags & DIR_F_SELECTED))
            continue;
        if (is_dir(i)) {
            if (dirs_clear)
                open = view = edit = false;
            continue;
        }
        if (!(open || view || edit))
            continue;
        const char* name = gDir[i].name.c_str();
        if (_get_pat_idx(name) < 0) {
            open = view = edit = false;
            continue;
        }
        open = open && _get_pat_cmd(name, AS_OPEN);
        view = view && _get_pat_cmd(name, AS_VIEW);
        edit = edit && _get_pat_cmd(name, AS_EDIT);
    }
}

void enable(std::initializer_list<const char*> names, bool on)
{
    for (const char* n : names)
        if (QAction* a = action(n))
            a->setEnabled(on);
}

void focus_list()
{
    status_bar_update();
    misc_give_focus(fl_list());
}

void spawn_self(const char* arg)
{
    const std::string exe =
        sProgram.empty() ? QCoreApplication::applicationFilePath().toLocal8Bit().toStdString() : sProgram;
    misc_spawn(0, exe.c_str(), arg, static_cast<const char*>(nullptr));
}

void em_populate(QMenu* menu)
{
    for (QAction* a : menu->actions())
        if (a->menu() && (a->menu()->objectName() == QLatin1String("mgen_copy") ||
                          a->menu()->objectName() == QLatin1String("mgen_move")))
            delete a->menu();
    // Copy To / Move To sit between the two separators above Select.
    const QList<QAction*> all = menu->actions();
    const int select = int(all.indexOf(action("em_select")));
    mgen_work_insert(menu, select > 0 ? all[select - 1] : nullptr);
}

Q_LOGGING_CATEGORY(lcMenu, "vell.menu", QtWarningMsg)

void context_menu(QTreeView*, QPoint at)
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

QAction* add_item(QMenu* menu, const char* label, const char* name)
{
    const char* cmd = name;
    QAction* a = menu->addAction(QString::fromLatin1(label), [cmd] { cmd_run(cmd); });
    a->setObjectName(QString::fromLatin1("lcm_") + QString::fromLatin1(name));
    return a;
}
}  // namespace

void cmd_set_program(const char* path)
{
    sProgram = path ? path : "";
}

void cmd_set_observer(std::function<bool(const char*)> fn)
{
    sObserver = std::move(fn);
}

int cmd_run(const char* name)
{
    const Cmd* c = find_cmd(name);
    if (!c)
        return -1;
    if (sObserver && sObserver(name))
        return 0;
    return c->fn();
}

int fm_new_file()
{
    return new_file_setup();
}

int fm_new_folder()
{
    return new_dir_setup();
}

int fm_new_window()
{
    spawn_self(nullptr);
    return 0;
}

int fm_open()
{
    if (gDir.selected == 0)
        return fl_open(gDir.current);
    if (gDir.selected_dirs >= 2)
        return 0;
    // Files first: entering the directory replaces the listing, so it comes last.
    // Each entry is checked to be still where it was before it is opened.
    std::vector<std::pair<int, std::string>> files;
    int dir = -1;
    for (int i = 0; i < gDir.count; ++i)
        if (gDir[i].flags & DIR_F_SELECTED) {
            if (is_dir(i))
                dir = i;
            else
                files.emplace_back(i, gDir[i].name.c_str());
        }
    const std::string dir_name = dir >= 0 ? gDir[dir].name.c_str() : "";
    for (const auto& [i, name] : files)
        if (i < gDir.count && gDir[i].name.view() == name)
            fl_open(i);
    if (dir >= 0 && dir < gDir.count && gDir[dir].name.view() == dir_name)
        fl_open(dir);
    return 0;
}

int fm_open_another()
{
    if (gDir.selected != 1)
        return 0;
    for (int i = 0; i < gDir.count; ++i)
        if ((gDir[i].flags & DIR_F_SELECTED) && is_dir(i))
            spawn_self(es_join(gDir.path, gDir[i].name.view()).c_str());
    return 0;
}

int fm_view()
{
    as_view_selected();
    return 0;
}

int fm_edit()
{
    as_edit_selected();
    return 0;
}

int fm_open_with()
{
    QDialog dlg(sBase);
    dlg.setObjectName(QStringLiteral("open_with"));
    dlg.setWindowTitle(QStringLiteral("Open With"));
    auto* layout = new QVBoxLayout(&dlg);
    layout->addWidget(new QLabel(QStringLiteral("Command:"), &dlg));
    auto* field = new QLineEdit(&dlg);
    field->setObjectName(QStringLiteral("ow_command"));
    field->setMinimumWidth(320);
    layout->addWidget(field);
    auto* buttons = new QDialogButtonBox(&dlg);
    QPushButton* open = buttons->addButton(QStringLiteral("&Open"), QDialogButtonBox::AcceptRole);
    open->setObjectName(QStringLiteral("ow_open"));
    open->setDefault(true);
    QPushButton* cancel = buttons->addButton(QStringLiteral("&Cancel"), QDialogButtonBox::RejectRole);
    cancel->setObjectName(QStringLiteral("ow_cancel"));
    layout->addWidget(buttons);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dlg, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dlg, &QDialog::reject);
    if (wexec(&dlg, fl_list()) != 0)
        return 0;
    const QByteArray cmd = field->text().toUtf8();
    std::vector<std::string> names;
    for (int i = 0; i < gDir.count; ++i)
        if ((gDir[i].flags & DIR_F_SELECTED) && !is_dir(i))
            names.push_back(gDir[i].name.c_str());
    for (const std::string& n : names)
        file_cmd(cmd.constData(), n.c_str());
    return 0;
}

int fm_open_shellwin()
{
    const std::string cmd(gConfig->terminal_command());
    misc_run(cmd.c_str());
    return 0;
}

int fm_refresh()
{
    fl_refresh();
    return 0;
}

int fm_print()
{
    if (gConfig->print_command().empty())
        gConfig->set_str(cfg::kPrint, cfg::kPrintLen, "lpr @");
    const std::string cmd(gConfig->print_command());
    if (file_cmd(cmd.c_str(), nullptr) == -1)
        return 0;
    auto* status = sBase ? sBase->findChild<QLabel*>(QStringLiteral("status1")) : nullptr;
    if (gDir.selected < 2) {
        const bool has = gDir.current >= 0 && gDir.current < gDir.count;
        wprintf(status, "'%s' printed", has ? gDir[gDir.current].name.c_str() : "");
    } else {
        wprintf(status, "%d items printed", gDir.selected);
    }
    return 0;
}

int fm_print_directory()
{
    return 0;
}

int fm_inspect()
{
    return gDir.selected >= 1 ? em_properties() : 0;
}

int em_select_all()
{
    fl_select_all();
    focus_list();
    return 0;
}

int em_unselect_all()
{
    fl_unselect_all();
    focus_list();
    return 0;
}

int em_invert_selection()
{
    fl_invert_all();
    focus_list();
    return 0;
}

int em_edit_preferences()
{
    return em_preferences();
}

int gm_back()
{
    return fl_back();
}

int gm_forward()
{
    return fl_forward();
}

int gm_up()
{
    return fl_up();
}

int gm_home()
{
    const char* home = std::getenv("HOME");
    return home ? fl_newpath(fl_list(), home) : 0;
}

int gm_trash()
{
    return trash_dlg_open();
}

int em_undo()
{
    UndoStep s;
    if (undo_take(s))
        fop_start_request(undo_request(s));
    return 0;
}

int vm_clip_tb_toggle()
{
    if (auto* tb = sBase ? sBase->findChild<QWidget*>(QStringLiteral("clip_tb")) : nullptr)
        tb->setVisible(tb->isHidden());
    return 0;
}

int help_quickref()
{
    auto* w = sBase ? sBase->findChild<QDialog*>(QStringLiteral("quickref")) : nullptr;
    if (!w) {
        w = new QDialog(sBase);
        w->setObjectName(QStringLiteral("quickref"));
        w->setWindowTitle(QStringLiteral("Quick Reference"));
        auto* table = new QTableWidget(0, 2, w);
        table->setHorizontalHeaderLabels({QStringLiteral("Key"), QStringLiteral("Command")});
        table->verticalHeader()->hide();
        table->verticalHeader()->setDefaultSectionSize(table->fontMetrics().height() + 6);
        table->setShowGrid(false);
        table->setAlternatingRowColors(true);
        table->setEditTriggers(QAbstractItemView::NoEditTriggers);
        auto row = [table](const QString& key, const QString& what) {
            const int r = table->rowCount();
            table->insertRow(r);
            table->setItem(r, 0, new QTableWidgetItem(key));
            table->setItem(r, 1, new QTableWidgetItem(what));
        };
        for (const Cmd& c : kCommands) {
            if (!*c.key)
                continue;
            // Items of a submenu say which one; keys without an item say what they do.
            static const char* const kLonger[][2] = {
                {"fm_new_file", "New File"},          {"fm_new_folder", "New Folder"},
                {"fm_new_window", "New Window"},      {"em_select_all", "Select All"},
                {"em_select_pattern", "Select by Pattern"}, {"em_unselect_all", "Unselect All"},
                {"kp_open", "Open (keypad)"},         {"kp_up", "Up One Level (keypad)"},
                {"kp_delete", "Delete (keypad)"}};
            QString what = c.label ? QString::fromLatin1(c.label).remove('&') : QString();
            for (const auto& l : kLonger)
                if (std::strcmp(l[0], c.name) == 0)
                    what = QString::fromLatin1(l[1]);
            row(QString::fromLatin1(c.key + (c.key[0] == '=' ? 1 : 0)), what);
        }
        row(QStringLiteral("Alt+F, Alt+E, Alt+G, Alt+B, Alt+H"), QStringLiteral("Open a menu"));
        row(QStringLiteral("Menu, Shift+F10"), QStringLiteral("The list's context menu"));
        row(QStringLiteral("Letters in the list"), QStringLiteral("Go to the first name that starts so"));
        row(QStringLiteral("/ or ?  then text, Return"), QStringLiteral("Search names forward or back"));
        row(QStringLiteral(":  then a command, Return"), QStringLiteral("Run a command line here"));
        row(QStringLiteral("Escape twice in Path"), QStringLiteral("Complete the path from the disk"));
        table->resizeColumnsToContents();
        table->horizontalHeader()->setStretchLastSection(true);
        auto* layout = new QVBoxLayout(w);
        layout->addWidget(table);
        w->resize(460, 520);
    }
    w->show();
    w->raise();
    return 0;
}

void fm_setup(QMenu*)
{
    enable({"fm_open", "fm_open_another", "fm_view", "fm_edit", "fm_open_with", "fm_print",
            "fm_inspect"}, true);
    if (gDir.selected == 0) {
        enable({"fm_open", "fm_open_another", "fm_open_with", "fm_edit", "fm_view", "fm_print",
                "fm_inspect"}, false);
    } else if (gDir.selected_dirs == 0) {
        enable({"fm_open_another"}, false);
        bool open, view, edit;
        assoc_flags(open, view, edit, false);
        enable({"fm_open"}, open);
        enable({"fm_view"}, view);
        enable({"fm_edit"}, edit);
    } else {
        enable({"fm_open_with", "fm_edit", "fm_view", "fm_print"}, false);
    }
    enable({"fm_print_directory"}, false);
}

void em_setup(QMenu* menu)
{
    const bool some = gDir.selected > 0;
    enable({"em_cut", "em_copy", "em_delete", "em_delete_permanent", "em_rename", "em_unselect",
            "em_unselect_all", "em_unselect_pattern"}, some);
    if (QAction* undo = action("em_undo")) {
        undo->setText(undo_text());
        undo->setEnabled(undo_available());
    }
    enable({"em_paste"}, em_check_clipboard_for_type(-1, nullptr) == 1);
    if (menu)
        em_populate(menu);
}

void gm_setup(QMenu*)
{
    enable({"gm_back"}, fl_get_back_count() > 0);
    enable({"gm_forward"}, fl_get_forward_count() > 0);
    enable({"gm_up"}, gDir.path != "/");
    const char* home = std::getenv("HOME");
    enable({"gm_home"}, !(home && gDir.path == home));
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
    const int n = gDir.selected;
    const int d = gDir.selected_dirs;
    bool open, view, edit;
    assoc_flags(open, view, edit, true);
    // Each letter chooses one item here, so Open In Window, Copy and Paste take other
    // letters than in the File and Edit menus (Open With and Open In Window never meet).
    if (n >= 1) {
        if (d > 0 || open)
            add_item(menu, "&Open", "fm_open");
        if (d > 0) {
            add_item(menu, "Open In &Window", "fm_open_another");
        } else {
            if (view)
                add_item(menu, "&View", "fm_view");
            if (edit)
                add_item(menu, "&Edit", "fm_edit");
            add_item(menu, "Open &With", "fm_open_with");
            menu->addSeparator();
            add_item(menu, "&Print", "fm_print");
        }
        menu->addSeparator();
        add_item(menu, "Cu&t", "em_cut");
        add_item(menu, "Cop&y", "em_copy");
    }
    const bool paste = em_check_clipboard_for_type(-1, nullptr) == 1;
    if (paste)
        add_item(menu, "P&aste", "em_paste");
    if (n >= 1) {
        add_item(menu, "&Delete", "em_delete");
        add_item(menu, "Delete Permanent&ly", "em_delete_permanent");
        if (n == 1) {
            add_item(menu, "&Rename", "em_rename");
            QAction* link = menu->addAction(QStringLiteral("&Symlink"), [] { fm_symlink(); });
            link->setObjectName(QStringLiteral("lcm_fm_symlink"));
        }
    } else if (!paste) {
        return;
    }
    menu->addSeparator();
    if (n == 0)
        return;
    if (mgen_work_insert(menu))
        menu->addSeparator();
    add_item(menu, "&Inspect", "fm_inspect");
    menu->addSeparator();
}

void init_actions() {}

void init_kb_defaults() {}

void init_link()
{
    x_add_section(sKeys, "filelist");
    if (QTreeView* list = fl_list())
        ac_link_widget(sKeys, list, "filelist");
}

void cmd_setup(QWidget* base)
{
    sBase = base;
    sActions.clear();
    for (const Cmd& c : kCommands)
        make_action(c);
    qApp->installEventFilter(new KeypadKeys(base));
    auto menu = [base](const char* name) { return base->findChild<QMenu*>(QString::fromLatin1(name)); };
    if (QMenu* m = menu("file_menu")) {
        fill(m, {">fm_new &New", "fm_new_file", "fm_new_folder", "fm_new_window", "<", "-", "fm_open",
                 "fm_open_another", "fm_view", "fm_edit", "fm_open_with", "-", "fm_open_shellwin", "-",
                 "fm_refresh", "-", "fm_print", "fm_print_directory", "-", "fm_inspect", "-", "fm_exit"});
        QObject::connect(m, &QMenu::aboutToShow, m, [m] { fm_setup(m); });
    }
    if (QMenu* m = menu("edit_menu")) {
        fill(m, {"em_undo", "-", "em_cut", "em_copy", "em_paste", "em_delete", "em_delete_permanent",
                 "em_rename", "-", "-",
                 ">em_select &Select", "em_select_all", "em_select_pattern", "<",
                 ">em_unselect &Unselect", "em_unselect_all", "em_unselect_pattern", "<", "em_invert",
                 "-", "em_preferences", "em_associations"});
        QObject::connect(m, &QMenu::aboutToShow, m, [m] { em_setup(m); });
    }
    if (QMenu* m = menu("go_menu")) {
        fill(m, {"gm_back", "gm_forward", "gm_up", "gm_home", "gm_trash"});
        QObject::connect(m, &QMenu::aboutToShow, m, [m] { gm_setup(m); });
    }
    if (QMenu* m = menu("help_menu"))
        fill(m, {"help_quickref", "help_about"});
    if (auto* bar = base->findChild<QMenuBar*>(QStringLiteral("menu_tbg")))
        for (QAction* top : bar->actions())
            if (QMenu* m = top->menu())
                QObject::connect(m, &QMenu::aboutToHide, m, [m, bar] {
                    enable_all(m);
                    QTimer::singleShot(0, bar, [bar] { leave_menu_bar(bar); });
                });
    auto* view = new QMenu(base);
    view->setObjectName(QStringLiteral("view_menu"));
    fill(view, {">vm_toolbars Toolbars", "vm_nav_tb", "vm_clip_tb", "vm_misc_tb", "vm_hotlist_tb",
                "vm_path_tb", "vm_filter_tb", "-", "vm_text_and_images", "vm_text_only", "vm_images_only",
                "<", "vm_icon", "vm_hotlist_pane", "vm_status"});
    auto* tcm = new QMenu(base);
    tcm->setObjectName(QStringLiteral("toolbar_cmenu"));

    sListMenu = new QMenu(base);
    sListMenu->setObjectName(QStringLiteral("list_cmenu"));
    QMenu* lnew = sListMenu->addMenu(QStringLiteral("&New"));
    lnew->setObjectName(QStringLiteral("lcm_new"));
    lnew->addAction(QStringLiteral("F&older"), [] { new_dir_setup(); })->setObjectName(QStringLiteral("lcm_new_folder"));
    lnew->addAction(QStringLiteral("F&ile"), [] { new_file_setup(); })->setObjectName(QStringLiteral("lcm_new_file"));
    QObject::connect(sListMenu, &QMenu::aboutToShow, sListMenu, [] { lcm_setup(sListMenu); });
    fl_set_context_menu_cb(context_menu);
    fl_set_open_cb([] { return cmd_run("fm_open"); });
    as_set_listing(&gDir);

    const std::pair<const char*, const char*> buttons[] = {
        {"tb_up", "gm_up"},     {"tb_refresh", "fm_refresh"}, {"tb_home", "gm_home"},
        {"tb_cut", "em_cut"},   {"tb_copy", "em_copy"},       {"tb_paste", "em_paste"},
        {"tb_print", "fm_print"}, {"tb_add", "hm_add"}};
    for (const auto& [button, cmd] : buttons)
        if (auto* b = base->findChild<QAbstractButton*>(QString::fromLatin1(button))) {
            const char* name = cmd;
            QObject::connect(b, &QAbstractButton::clicked, base, [name] { cmd_run(name); });
        }
    if (auto* b = base->findChild<QAbstractButton*>(QStringLiteral("tb_new_folder")))
        QObject::connect(b, &QAbstractButton::clicked, base, [] {
            new_last_kind() == NEW_FILE ? new_file_setup() : new_dir_setup();
        });
    init_actions();
    init_kb_defaults();
    init_link();
}
