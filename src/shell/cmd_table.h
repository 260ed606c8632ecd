// The command table of the main window: one row per command with its item's name,
// label, key, handler and enabling rule. Menus, keys, toolbar buttons and the
// list's context menu all ask the row's rule at the moment they are used, so no
// two of them can disagree. Shared by the commands' files; GUI thread only.
#pragma once
#include <array>
#include <optional>
#include <span>
#include <string>

class QAction;
class QMenu;
class QPoint;
class FlView;
class QWidget;

// What the user has when a rule is asked. The selection counts are read at once;
// what walks the selection or asks the clipboard is looked up on first use.
class CmdState {
public:
    static CmdState now();
    int selected = 0;
    int selected_dirs = 0;
    // Every selected file's association has that command (none for a directory).
    bool assoc_open();
    bool assoc_view();
    bool assoc_edit();
    bool clipboard_has_files();

private:
    std::optional<std::array<bool, 3>> assoc_;
    std::optional<bool> paste_;
};

using CmdRule = bool (*)(CmdState&);

// One command. A key that is only shown (Return: the list's own) has a leading "=";
// a null rule: always enabled.
struct Cmd {
    const char* name;
    const char* label;
    const char* key;
    int (*fn)();
    CmdRule rule;
};

std::span<const Cmd> cmd_table();
const Cmd* cmd_find(const char* name);
// The command's rule for the present state (a command without a rule: true).
bool cmd_enabled(const char* name, CmdState& state);
// The rule first, then the observer, then the handler: what a menu item, a key and
// a toolbar button do.
int cmd_invoke(const char* name);

// The items, made once in the window and shared by the menus.
void cmd_make_items(QWidget* base);
QAction* cmd_item(const char* name);
QMenu* cmd_named_menu(const char* name);
// Fills a menu from a list of names; "-" is a separator, ">name label" a submenu
// whose items follow up to "<".
void cmd_fill(QMenu* menu, std::initializer_list<const char*> names);
// Each command item of the menu (and of its submenus) enabled by its rule; called
// as the menu opens.
void cmd_apply_rules(QMenu* menu);

QWidget* cmd_base();
// Gives the list the focus back, with its status line brought up to date.
void cmd_focus_list();
// Starts another instance of the program, on `arg` when given.
void cmd_spawn_self(const char* arg);
// The Edit menu's "&Unselect" has the U, so Undo takes its n.
std::string cmd_undo_label();

// The list's context menu: the menu lcm_setup fills, and its popup at a point.
void lcm_set_menu(QMenu* menu);
void lcm_popup(FlView* list, QPoint at);
