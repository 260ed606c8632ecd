// The bookmarks: the hotlist record `gTree`, the tree `tree` that shows it and
// browses below its entries, its file "hotlist.001", and the Bookmarks menu.
// GUI thread only.
#pragma once
#include <string>

#include "hotlist/hl_file.h"

class QMenu;
class QString;
class QTreeWidget;
class QTreeWidgetItem;

struct HotlistTree {
    HotList list;
    HotlistEdits edits;                  // since loaded or saved: replayed over the file
    QTreeWidgetItem* context = nullptr;  // where the context menu was last opened
};
extern HotlistTree gTree;

// Icons, font, and the tree's handlers; the tree's context menu `hotlist_cmenu`
// and the Bookmarks menu's entries when the window has the menu.
void tree_setup(QTreeWidget* tree);
// "/" alone when the file cannot be read or there is no configuration directory.
int tree_load(const std::string& config_dir, const char* file);
// Writes the file as it is now with this session's additions, removals and
// reordering applied (another instance may have saved it meanwhile). -1 when it
// could not be written; nothing is written without a directory.
int tree_save(const std::string& config_dir, const char* file);
// -1 when the path is already an entry.
int tree_add(HotlistTree& t, const std::string& path);
void tree_remove(HotlistTree& t, const std::string& path);
int tree_lookup(const char* path);

// The directory an item stands for, in display form; its length (0 for null).
int x_get_fullpath(const QTreeWidgetItem* item, std::string& out);
// Adds a child of `parent` (a top-level item when null); null when nothing was
// added (the label is there already, or cannot be translated in a sorted branch).
QTreeWidgetItem* x_add_item(QTreeWidget* tree, QTreeWidgetItem* parent, const QString& label, bool sorted);
void x_tree_expand(QTreeWidgetItem* item);

int hm_add();
int hm_remove();
void hm_populate(QMenu* menu);
int tree_add_cb();
int tree_delete_cb();
