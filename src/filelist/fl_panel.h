// The file list panel: the listing `gDir` shown in `filelist`, re-reading it,
// changing directory and filter, the column headers and widths, the status bar and
// the key-find timer `ftimer`. Everything here runs on the GUI thread.
#pragma once
#include <string>
#include <vector>

#include "dirmodel/dir_types.h"

class FlView;
class FlModel;

// The listing of the current directory.
extern DirListing gDir;

// Bit of the reader's option word that shows the parent row "..".
inline constexpr uint32_t FL_OPT_PARENT_ROW = 0x2000;

// The header sections by name: fh_filename .. fh_link are columns 1 to 7.
extern const char* const kFlHeaderNames[7];
// 1-based column of a header name, 0 when it is none.
int fl_header_column(const char* name);

// Builds the model and its images into the list, takes the list's font from the
// settings, and finds the status labels and `ftimer` in the list's window.
void fl_setup(FlView* list);
FlView* fl_list();
FlModel* fl_model();

void fl_update();
// Called at the start of every fl_update (the clipboard reloads its cut list).
void fl_set_update_hook(void (*fn)());
void fl_refresh();
// fl_refresh for a change another program made: every selected name stays selected
// and the current row current, where they are still there.
void fl_refresh_keeping_selection();
// True during that read: nothing may take the focus from the window the user is in.
bool fl_refresh_is_quiet();
// For a few names another program changed: they alone are looked at again and
// patched into the list, which keeps its selection, current row and scroll
// position. False, doing nothing, while a read of the directory is running.
bool fl_patch(const std::vector<DirChange>& changes);
// 0 when the directory changed; -1 when the path failed the check or is the
// current one.
int fl_setpath(const char* path);
// fl_setpath plus the back/forward histories: every user-made change of directory.
int fl_newpath(FlView* list, const char* path);
// null or "" means "*". -1 without reading when the pattern is the current one.
int fl_setspec(const char* pattern);
// A cleaned copy of the path when it names an accessible directory other than the
// current one; otherwise reports why (unless it is the current one) and returns
// nullopt-like false.
bool x_check_path(const char* path, std::string& out);
void fl_get_fullpath(int index, std::string& out);

// While the list fits its columns (fl_set_auto_widths), the width given for
// columns 1 to 6, which is what the settings keep, and not the fitted one.
int fl_get_column_width(int column);
void fl_set_column_width(int column, int width);
// On: until the user resizes a column, Size and Date are at least as wide as their
// widest text and Name takes the list's spare width; the given widths are the floor.
void fl_set_auto_widths(bool on);
bool fl_auto_widths();
// How much wider the list must be to show every column at its width, and while it
// fits them, the names shown whole; 0 when it does.
int fl_missing_width();
// The width column 2 (size) or 3 (date) needs for its widest text in the list's
// font; 0 for the others.
int fl_text_width(int column);

// The header callback, by the header's name; other names do nothing.
void fl_sort_cb(const char* header);
void show_sort_method(const char* header);
// The name of the header of the current sort column.
const char* fl_sort_header();
int fl_sort_order();

void status_bar_update();
void fl_timer_set();
void fl_timer_disable();
void fl_timer_cb();

using FlNotifyFn = void (*)(FlView* list);
void fl_set_notify_cb(FlNotifyFn fn);
void fl_notify();
