#include "shell/cmd_table.h"

#include <QAction>
#include <QApplication>
#include <QHash>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QShortcut>
#include "filelist/fl_view.h"
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>

#include "assoc/as_dlg.h"
#include "assoc/as_table.h"
#include "clipboard/clip.h"
#include "fileops/undo.h"
#include "filelist/fl_nav.h"
#include "filelist/fl_panel.h"
#include "filelist/fl_select.h"
#include "filelist/small_dlg.h"
#include "hotlist/tree.h"
#include "shell/base.h"
#include "shell/commands.h"
#include "shell/config_dlg.h"
#include "shell/kit/globals.h"
#include "shell/kit/w_utils.h"

namespace {
QWidget* sBase = nullptr;
// The items by name: looked up on every menu opening, so not searched for.
QHash<QString, QAction*> sItems;

int nothing()
{
    return 0;
}

int select_pattern()
{
    fl_unselect_all();
    return em_select_pattern();
}

int unselect_pattern()
{
    return gDir.selected > 0 ? em_unselect_pattern() : 0;
}

// The rules, as the menus have always dimmed their items.
bool some(CmdState& s)
{
    return s.selected > 0;
}
bool never(CmdState&)
{
    return false;
}
bool files_only(CmdState& s)
{
    return s.selected > 0 && s.selected_dirs == 0;
}
bool can_open(CmdState& s)
{
    return s.selected > 0 && (s.selected_dirs > 0 || s.assoc_open());
}
bool can_view(CmdState& s)
{
    return files_only(s) && s.assoc_view();
}
bool can_edit(CmdState& s)
{
    return files_only(s) && s.assoc_edit();
}
bool dirs_chosen(CmdState& s)
{
    return s.selected > 0 && s.selected_dirs > 0;
}
bool can_paste(CmdState& s)
{
    return s.clipboard_has_files();
}
bool can_undo(CmdState&)
{
    return undo_available();
}
bool can_go_back(CmdState&)
{
    return fl_get_back_count() > 0;
}
bool can_go_forward(CmdState&)
{
    return fl_get_forward_count() > 0;
}
bool below_root(CmdState&)
{
    return gDir.path != "/";
}
bool away_from_home(CmdState&)
{
    // Compared as written, with no normalisation: HOME with a trailing "/" never equals.
    const char* home = std::getenv("HOME");
    return !(home && gDir.path == home);
}
bool not_bookmarked(CmdState&)
{
    return !tree_lookup(gDir.path.c_str());
}
bool bookmarked(CmdState&)
{
    return tree_lookup(gDir.path.c_str()) != 0;
}

const Cmd kCommands[] = {
    {"fm_new_file", "F&ile", "F3", fm_new_file, nullptr},
    {"fm_new_folder", "&Folder", "F4", fm_new_folder, nullptr},
    {"fm_new_window", "&Window", "Ctrl+N", fm_new_window, nullptr},
    {"fm_open", "&Open", "=Return", fm_open, can_open},
    {"fm_open_another", "Open In Win&dow", "Ctrl+Return", fm_open_another, dirs_chosen},
    {"fm_view", "&View", "Alt+V", fm_view, can_view},
    {"fm_edit", "&Edit", "Ctrl+E", fm_edit, can_edit},
    {"fm_open_with", "Open &With...", "Shift+Return", fm_open_with, files_only},
    {"fm_open_shellwin", "Open &Terminal", "Ctrl+T", fm_open_shellwin, nullptr},
    {"fm_refresh", "&Refresh", "F5", fm_refresh, nullptr},
    {"fm_print", "&Print", "Ctrl+P", fm_print, files_only},
    {"fm_print_directory", "Print Dire&ctory", "", fm_print_directory, never},
    {"fm_inspect", "&Inspect...", "F9", fm_inspect, some},
    {"fm_find", "Find &Files...", "Ctrl+F", fm_find, nullptr},
    {"fm_exit", "E&xit", "Alt+X", fm_exit, nullptr},
    {"em_undo", "U&ndo", "Ctrl+Z", em_undo, can_undo},
    {"em_cut", "Cu&t", "Ctrl+X", em_cut, some},
    {"em_copy", "C&opy", "Ctrl+C", em_copy, some},
    {"em_paste", "&Paste", "Ctrl+V", em_paste, can_paste},
    {"em_delete", "&Delete", "Del", em_delete, some},
    {"em_delete_permanent", "Delete Permanent&ly", "Shift+Del", em_delete_permanent, some},
    {"em_rename", "&Rename", "F2", fm_inspect, some},
    {"em_select_all", "&All", "Ctrl+A", em_select_all, nullptr},
    {"em_select_pattern", "&Pattern", "Ctrl+S", select_pattern, nullptr},
    {"em_unselect_all", "&All", "Ctrl+U", em_unselect_all, some},
    {"em_unselect_pattern", "&Pattern", "", unselect_pattern, some},
    {"em_invert", "&Invert Selection", "Ctrl+I", em_invert_selection, nullptr},
    {"em_preferences", "Pr&eferences...", "F10", em_edit_preferences, nullptr},
    {"em_associations", "&Associations...", "F11", em_edit_associations, nullptr},
    {"gm_back", "Back", "Alt+Left", gm_back, can_go_back},
    {"gm_forward", "Forward", "Alt+Right", gm_forward, can_go_forward},
    {"gm_up", "Up One Level", "Backspace", gm_up, below_root},
    {"gm_home", "Home", "F6", gm_home, away_from_home},
    {"gm_trash", "&Trash", "", gm_trash, nullptr},
    {"hm_add", "&Add Current Directory", "Ctrl+D", hm_add, not_bookmarked},
    {"hm_delete", "&Remove Current Directory", "Ctrl+R", hm_remove, bookmarked},
    {"help_quickref", "&Quick Reference", "F1", help_quickref, nullptr},
    {"help_about", "&About", "", help_about, nullptr},
    // Keys with no item of their own: the keypad opens what is current, as Return.
    {"kp_open", nullptr, "Num++", fm_open, nullptr},
    {"kp_up", nullptr, "Num+-", gm_up, nullptr},
    {"kp_delete", nullptr, "Num+.", em_delete, nullptr},
    // The hidden View menu.
    {"vm_nav_tb", "&Navigation", "", nothing, nullptr},
    {"vm_clip_tb", "&Clipboard", "", vm_clip_tb_toggle, nullptr},
    {"vm_misc_tb", "&Misc", "", nothing, nullptr},
    {"vm_hotlist_tb", "&Hotlist", "", nothing, nullptr},
    {"vm_path_tb", "&Path", "", nothing, nullptr},
    {"vm_filter_tb", "&Filter", "", nothing, nullptr},
    {"vm_text_and_images", "Text &and Images", "", nothing, nullptr},
    {"vm_text_only", "&Text Only", "", nothing, nullptr},
    {"vm_images_only", "&Images Only", "", nothing, nullptr},
    {"vm_icon", "&Icon Pane", "", nothing, nullptr},
    {"vm_hotlist_pane", "&Hotlist Pane", "", nothing, nullptr},
    {"vm_status", "&Status Pane", "", nothing, nullptr},
    {"vm_dot_files", "&Dot Files", "Ctrl+H", vm_dot_files_toggle, nullptr},
};

// Submenus whose item is dimmed with the commands in them.
const struct {
    const char* name;
    CmdRule rule;
} kSubmenus[] = {{"em_unselect", some}};

std::function<bool(const char*)> sObserver;

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
        if (!name)
            return false;
        cmd_invoke(name);
        return true;
    }
};
// For each selected file, while any flag is still true: no association clears all
// three, otherwise each stays true only where that command is present.
std::array<bool, 3> scan_assoc()
{
    std::array<bool, 3> f{true, true, true};
    for (int i = 0; i < gDir.count && (f[0] || f[1] || f[2]); ++i) {
        if (!(gDir[i].flags & DIR_F_SELECTED) || S_ISDIR(gDir[i].status.st_mode))
            continue;
        const char* name = gDir[i].name.c_str();
        if (_get_pat_idx(name) < 0)
            return {false, false, false};
        f = {f[0] && _get_pat_cmd(name, AS_OPEN), f[1] && _get_pat_cmd(name, AS_VIEW),
             f[2] && _get_pat_cmd(name, AS_EDIT)};
    }
    return f;
}

void apply_rules(QMenu* menu, CmdState& state)
{
    for (QAction* a : menu->actions()) {
        const QByteArray name = a->objectName().toLatin1();
        // Only the commands' own items: generated entries keep their state.
        if (sItems.value(a->objectName()) == a) {
            if (const Cmd* c = cmd_find(name.constData()))
                a->setEnabled(!c->rule || c->rule(state));
            for (const auto& sub : kSubmenus)
                if (name == sub.name)
                    a->setEnabled(sub.rule(state));
        }
        if (a->menu())
            apply_rules(a->menu(), state);
    }
}
}  // namespace

void cmd_set_observer(std::function<bool(const char*)> fn)
{
    sObserver = std::move(fn);
}

CmdState CmdState::now()
{
    CmdState s;
    s.selected = gDir.selected;
    s.selected_dirs = gDir.selected_dirs;
    return s;
}

bool CmdState::assoc_open()
{
    if (!assoc_)
        assoc_ = scan_assoc();
    return (*assoc_)[0];
}

bool CmdState::assoc_view()
{
    assoc_open();
    return (*assoc_)[1];
}

bool CmdState::assoc_edit()
{
    assoc_open();
    return (*assoc_)[2];
}

bool CmdState::clipboard_has_files()
{
    if (!paste_)
        paste_ = em_check_clipboard_for_type(-1, nullptr) == 1;
    return *paste_;
}

std::span<const Cmd> cmd_table()
{
    return kCommands;
}

const Cmd* cmd_find(const char* name)
{
    for (const Cmd& c : kCommands)
        if (std::strcmp(c.name, name) == 0)
            return &c;
    return nullptr;
}

bool cmd_enabled(const char* name, CmdState& state)
{
    const Cmd* c = cmd_find(name);
    return !c || !c->rule || c->rule(state);
}

bool cmd_enabled(const char* name)
{
    CmdState s = CmdState::now();
    return cmd_enabled(name, s);
}

int cmd_invoke(const char* name)
{
    const Cmd* c = cmd_find(name);
    if (!c || !cmd_enabled(name))
        return 0;
    if (sObserver && sObserver(name))
        return 0;
    return c->fn();
}

int cmd_run(const char* name)
{
    const Cmd* c = cmd_find(name);
    if (!c)
        return -1;
    if (sObserver && sObserver(name))
        return 0;
    return c->fn();
}

void cmd_make_items(QWidget* base)
{
    sBase = base;
    sItems.clear();
    for (const Cmd& c : kCommands) {
        const QString name = QString::fromLatin1(c.name);
        QAction* a = base->findChild<QAction*>(name);
        if (!a) {
            a = new QAction(base);
            a->setObjectName(name);
        }
        sItems.insert(name, a);
        if (c.label)
            a->setText(QString::fromLatin1(c.label));
        a->disconnect(base);
        const char* cmd = c.name;
        QObject::connect(a, &QAction::triggered, base, [cmd] { cmd_invoke(cmd); });
        a->setShortcut({});
        if (!*c.key)
            continue;
        // The item shows its key; the key itself is a shortcut of the window, which
        // a dimmed item cannot take down with it. Return is the list's own.
        const bool shown_only = c.key[0] == '=';
        const QKeySequence seq(QString::fromLatin1(c.key + (shown_only ? 1 : 0)));
        a->setShortcut(seq);
        a->setShortcutContext(Qt::WidgetShortcut);
        if (shown_only)
            continue;
        auto* key = new QShortcut(seq, base);
        key->setObjectName(QLatin1String("key_") + name);
        QObject::connect(key, &QShortcut::activated, base, [cmd] { cmd_invoke(cmd); });
    }
    qApp->installEventFilter(new KeypadKeys(base));
}

QAction* cmd_item(const char* name)
{
    return sItems.value(QString::fromLatin1(name));
}

QMenu* cmd_named_menu(const char* name)
{
    return sBase ? sBase->findChild<QMenu*>(QString::fromLatin1(name)) : nullptr;
}

void cmd_fill(QMenu* menu, std::initializer_list<const char*> names)
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
            sItems.insert(into->objectName(), into->menuAction());
        } else {
            into->addAction(cmd_item(n));
        }
    }
}

void cmd_apply_rules(QMenu* menu)
{
    if (!menu)
        return;
    CmdState state = CmdState::now();
    apply_rules(menu, state);
}

QWidget* cmd_base()
{
    return sBase;
}

void cmd_focus_list()
{
    status_bar_update();
    misc_give_focus(fl_list());
}

std::string cmd_undo_label()
{
    std::string label = undo_label();
    if (label.rfind("&Undo", 0) == 0)
        label = "U&ndo" + label.substr(5);
    return label;
}
