// Moving between directories from the file list: up, down, open, back and forward
// with the two ten-entry histories. GUI thread only.
#pragma once
#include <string>
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
// Opens record `index`: -1 goes up, a directory is entered, a file goes to its
// associations or, when none matched, is run when it is executable by its owner,
// else goes to the desktop's default application for its type; with none, to the
// function set here.
int fl_open(int index);
// What Open does with files (names in the shown directory) that nothing opens: the
// shell lets the user choose an application.
void fl_set_open_with_cb(int (*fn)(const std::vector<std::string>& names));
