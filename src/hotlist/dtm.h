// Directory menus: an entry that stands for a directory and cascades into its
// subdirectories, as deep as the user goes, each level filled by a scanning thread
// when it is first shown. The Bookmarks menu and Copy To / Move To are made of them.
// GUI thread only.
#pragma once
#include <functional>
#include <string>

class QAction;
class QMenu;
class QString;

// Gets the chosen directory in the file system's bytes.
using DtmHandler = std::function<void(const std::string& path)>;

// Appends an entry for `path` (file-system bytes) labelled `label` + "/" to
// `parent`. With DTM_CHECK in flags it cascades when the directory has a
// subdirectory; otherwise it is plain. Either way a click or Return chooses it
// (and each row of its submenus); hovering or Right opens the submenu. Null on
// failure.
QAction* dtm_add_item(QMenu* parent, const std::string& path, const QString& label, int flags,
                      DtmHandler handler);

// A notice with the single button "&Close" over the main window.
void dtm_errinfo(const char* title, const char* text);
