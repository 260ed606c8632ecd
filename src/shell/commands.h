// Every command of the main window: the File, Edit, Go, Bookmarks, Help and the
// hidden View menus, the window's hotkeys, the toolbar, the file list's context
// menu and the quick reference, all from one table whose rows carry their enabling
// rules (cmd_table.h). The handlers are a call or three into the file list, the
// dialogs, the clipboard, the bookmarks and the launcher. GUI thread only.
#pragma once
#include <functional>

class QMenu;
class QWidget;

// Builds the menus and the hotkeys in the window and connects the toolbar, the
// list's Return and its context menu.
void cmd_setup(QWidget* base);
// Every command passes here by its name first; a function that returns true has
// taken it and the handler does not run (tests observe keys and menus this way).
void cmd_set_observer(std::function<bool(const char* name)> fn);
// Runs a command by name whatever its rule says, as the list's Return runs Open:
// menu items, keys and toolbar buttons run one only where its rule holds at that
// moment. -1 for an unknown name.
int cmd_run(const char* name);
// Whether the command's rule holds now: its item is enabled, its key and its button
// act, the context menu offers it.
bool cmd_enabled(const char* name);
// The program that New Window and Open In Window start (null: this executable).
void cmd_set_program(const char* path);

int fm_new_file();
int fm_new_folder();
int fm_new_window();
int fm_open();
int fm_open_another();
int fm_view();
int fm_edit();
int fm_open_with();
int fm_open_shellwin();
int fm_refresh();
int fm_print();
int fm_print_directory();
int fm_inspect();
// File > Find Files...: a new Find Files window looking in the shown directory.
int fm_find();
int em_select_all();
int em_unselect_all();
int em_invert_selection();
int em_edit_preferences();
// Reverses this instance's last rename, move, copy, new item or move to the Trash;
// the engine refuses it when the file system changed since.
int em_undo();
int gm_back();
int gm_forward();
int gm_up();
int gm_home();
// The Trash view.
int gm_trash();
int help_quickref();
int vm_clip_tb_toggle();
// Ctrl+H: dot files shown or hidden, the same setting as Preferences' "hide dot files".
int vm_dot_files_toggle();

// Each item enabled by its command's rule, as the menu opens; the Edit menu also
// names its Undo and builds Copy To / Move To.
void fm_setup(QMenu* menu);
void em_setup(QMenu* menu);
void gm_setup(QMenu* menu);
// Rebuilds the context menu after its fixed "&New" submenu.
void lcm_setup(QMenu* menu);

// The accelerator registry's start-up: the "filelist" section linked to the list;
// no action and no binding are registered, the menus' hotkeys do the work.
void init_actions();
void init_kb_defaults();
void init_link();
