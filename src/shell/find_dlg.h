// The Find Files window (`find_dlg`): the query's fields, the results as they come
// in and what can be done with them. Any number of windows at once, each with its
// own search, stopped when it closes. GUI thread only.
#pragma once
#include <functional>
#include <string>
#include <vector>

class QMenu;
class QWidget;

// What the window asks of the shell above it, for entries of any directory.
struct FindShell {
    // Open With's dialog, and its applications added to a menu (full paths).
    std::function<void(const std::vector<std::string>& paths)> open_with;
    std::function<void(QMenu* menu, const std::vector<std::string>& paths)> add_apps;
    // Properties of entries of one directory.
    std::function<void(const std::string& dir, const std::vector<std::string>& names)> properties;
};
void find_set_shell(FindShell shell);

// A new window looking in `dir`, shown; it deletes itself when closed.
QWidget* find_open(const std::string& dir);

// Shows `dir` in the main window with the entry `name` current and selected.
void find_show_in_folder(const std::string& dir, const std::string& name);
