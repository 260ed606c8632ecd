// The program's callers of the association table and of the launcher: Open, View,
// Edit and Print of file-list entries, typed command lines, blocking a window while
// something starts, and the start-up load with its signals. GUI thread only.
#pragma once
#include <string>

struct DirListing;

class QWidget;

// Loads the associations from dir + "/" + name (the built-in rows when dir is empty
// or the file does not open). A fatal load shows its message titled "Error" over
// the main window and ends the process with status 1. Then routes SIGTERM, SIGHUP,
// SIGINT and SIGQUIT to the termination routine, ignores SIGCHLD, and refreshes
// the file list on SIGWINCH while the main window is open.
// `changed` runs when that signal comes (the file list's re-read).
void as_init(const char* dir, const char* name, void (*changed)());
// The listing whose selection and current entry the launches use; set by the
// commands at start-up (the launcher knows nothing of the file list).
void as_set_listing(const DirListing* listing);

// Runs a typed command line (input group 0, no terminal window).
int misc_run(const char* command);
// Builds the command line from `tmpl` and runs it for `name`, or with no name for
// the file list's selection. See as_file_cmd.
int file_cmd(const char* tmpl, const char* name);

// Open of a file that is not a directory, in the shown directory `dir`: runs the
// open command of every matching association. 0 when at least one matched (an
// empty open command still counts), -1 otherwise; the caller then runs an
// executable itself.
int as_open_file(const char* dir, const char* name);
// View and Edit of the selected non-directory entries, one launch per file; Edit
// falls back to the settings' editor command. The number launched.
int as_view_selected();
int as_edit_selected();
// View and Edit of one file: -1 when there is nothing to run.
int as_view_file(const char* name);
int as_edit_file(const char* name);

// Blocks (on = 1) or unblocks a widget: no input, busy cursor; a widget that is not
// a window is also greyed. Null is ignored.
void misc_block(QWidget* w, int on);
