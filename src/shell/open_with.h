// Open With: the desktop's applications for files of the shown directory, in the
// Open With dialog and in the context menu's submenu. GUI thread only.
#pragma once
#include <string>
#include <vector>

class QMenu;

// The selected entries that are not directories, as names in the shown directory.
std::vector<std::string> ow_selected_files();
// `names` below are names in the shown directory, or full paths.
// The dialog (`open_with`) for `names`: an application chosen from the list starts
// on them all, and with "Use as default" becomes their types' default; a typed
// command runs on each of them instead. 0 after Open, -1 after Cancel.
int ow_dialog(const std::vector<std::string>& names);
// Adds to `menu` an item per application that takes the selected files, the
// default in bold; each starts its application on them.
void ow_add_apps(QMenu* menu);
void ow_add_apps(QMenu* menu, const std::vector<std::string>& names);
