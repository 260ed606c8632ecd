// Directory menus: an entry that stands for a directory and cascades into its
// subdirectories, as deep as the user goes, each level filled by a scanning thread
// when it is first shown. The Bookmarks menu and Copy To / Move To are made of them.
// GUI thread only.
#pragma once
#include <functional>
#include <string>

class QAction;
class QMenu;
class QObject;
class QString;

// Gets the chosen directory in the file system's bytes.
using DtmHandler = std::function<void(const std::string& path)>;

// Appends an entry for `path` (file-system bytes) labelled `label` + "/" to
// `parent`. With DTM_CHECK in flags it is looked into on a worker and made to
// cascade when the answer says the directory has a subdirectory; otherwise, and
// until then, it is plain. Either way a click or Return chooses it
// (and each row of its submenus); hovering or Right opens the submenu. Null on
// failure.
QAction* dtm_add_item(QMenu* parent, const std::string& path, const QString& label, int flags,
                      DtmHandler handler);

// A notice with the single button "&Close" over the main window.
void dtm_errinfo(const char* title, const char* text);

// What dtm_check_later hands over when the worker has not answered in time.
inline constexpr int DTM_TIMED_OUT = -3;

// Runs dtm_has_subdir(AT_FDCWD, path, how) on a worker and hands its answer to
// `answer` on the GUI thread, unless `receiver` is gone by then. When the worker
// has not answered within the time-out, `answer` gets DTM_TIMED_OUT first, and the
// real answer still follows if it ever comes.
void dtm_check_later(QObject* receiver, const std::string& path, int how, std::function<void(int)> answer);
// Runs `work` on a worker and then `done` on the GUI thread unless `receiver` is
// gone by then. When `done` has not run within the time-out, `timed_out` runs
// (at once when no worker could be started).
void dtm_work_later(QObject* receiver, std::function<void()> work, std::function<void()> done,
                    std::function<void()> timed_out = {});
