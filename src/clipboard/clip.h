// Copy, Cut, Paste and Delete of the file list's selection, the cut list, and
// drag and drop on `filelist`. All of it runs on the GUI thread; file_uncut is
// reached from workers through the engine's call_locked hand-off.
#pragma once
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "clipboard/transf.h"

class QDrag;
class QMimeData;
class FlView;

// Clipboard formats of the packed record: to be copied, to be moved (the cut list).
inline constexpr char kMimeFiles[] = "application/x-vell-files";
inline constexpr char kMimeMvFiles[] = "application/x-vell-mvfiles";
// The same files for other programs.
inline constexpr char kUriList[] = "text/uri-list";

// The last packing held exactly one item and it is a directory.
extern int one_dir_packed;
// Milliseconds (steady clock) at which this list last started a drag.
extern int64_t dnd_start_timestamp;
extern int dnd_active;

// Hooks the clipboard into the list (cut marks, the reload before each redraw,
// drag and drop) and into the engine (the reload before each operation,
// file_uncut after each moved or deleted item). The commands own the keys.
void clip_setup(FlView* list);

FileTransf fl_pack_transf();

// Files of one or more directories as clipboard or drag data: one group as Copy
// and Cut of the list make it, several as URIs and the desktop's formats only.
QMimeData* clip_mime(std::vector<FileTransf> groups, bool cut);
// Puts them on the clipboard (a cut of one group marks its files as the list's Cut does).
void clip_put(std::vector<FileTransf> groups, bool cut);

int em_copy();
int em_cut();
int em_paste();
// Moves the selection to the Trash, or with the Trash turned off in Preferences
// deletes it as em_delete_permanent does. -1 when nothing could be packed.
int em_delete();
// Deletes the selection for good, after the questions Preferences ask for.
int em_delete_permanent();
// 1 when the clipboard holds a non-empty entry of `type` ("files", "mvfiles");
// with no type, of either, or files that another program copied or cut.
int em_check_clipboard_for_type(int group, const char* type);

void file_get_cut_files();
bool file_is_cut(const std::string& dir, const std::string& name);
// 1 after the clipboard changed, 0 when nothing matched, -1 when no cut of ours
// is on the clipboard.
int file_uncut(const std::string& dir, const std::string& name);

// 0 when every record names entries of one directory; else shows why nothing is
// done, titled `title` ("Paste", "Drop"), and returns -1. `done`: "pasted", "dropped".
int clip_check(std::span<const FileTransf> groups, const char* title, const char* done);

// Starts the operation a drop of `data` onto `row` (-2: the list itself) asks
// for. kind: FOP_MOVE, or FOP_COPY with Ctrl. Returns 0 when one was started,
// -1 when the drop was ignored or refused.
int fl_drop(const QMimeData* data, int row, int kind);
void fl_dnd_install(FlView* list);
// Runs in place of QDrag::exec while set (a test records the drag); nullptr
// restores exec.
void fl_set_drag_exec(std::function<void(QDrag*)> fn);
