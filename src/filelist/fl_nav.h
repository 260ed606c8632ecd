// Moving between directories from the file list: up, down, open, back and forward
// with the two ten-entry histories. GUI thread only.
#pragma once
#include <string>
#include <sys/types.h>
#include <vector>

class NavHistory;

NavHistory& fl_back_history();
NavHistory& fl_forward_history();
// fl_newpath's history step after a successful change away from `previous`.
void fl_history_changed_to(const std::string& previous);

int fl_back();
int fl_forward();
int fl_get_back_count();
int fl_get_forward_count();
int fl_up();
int fl_down();
// Opens the entry `name` of `dir` as the list would: a directory is shown, a file
// goes to its associations (run in `dir`), else is run when it is executable by
// its owner, else goes to the desktop's default application for its type; with
// none, to the function set below (given the full path when `dir` is not shown).
int fl_open_path(const std::string& dir, const char* name, mode_t mode);
// Opens record `index`: -1 goes up, a directory is entered, a file goes to its
// associations or, when none matched, is run when it is executable by its owner,
// else goes to the desktop's default application for its type; with none, to the
// function set here.
int fl_open(int index);
// What Open does with files (names in the shown directory, or full paths) that nothing opens: the
// shell lets the user choose an application.
void fl_set_open_with_cb(int (*fn)(const std::vector<std::string>& names));
