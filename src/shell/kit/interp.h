// The type-ahead interpreter of the file list: printable keys become a find as you
// type ("/"), a find on Return ("?") or a command line (":"). The list is reached
// through InterpList so the interpreter needs no widget. GUI thread only.
#pragma once
#include <cstddef>
#include <string>

#include "shell/kit/kb_accel.h"

inline constexpr std::size_t INTERP_BUF = 1024;  // buffer bytes including the NUL

// What the interpreter asks of the file list.
class InterpList {
public:
    virtual ~InterpList() = default;
    // fl_unselect_all.
    virtual void unselect_all() = 0;
    // x_find over the listing from index 0 with these flags (fl_find.h FIND_*),
    // without an action: the index, -1 or -2.
    virtual int find(const char* name, int flags) = 0;
    // Selects the found entry and makes it current (fl_select_index, fl_goto_index).
    // Also called with -1 / -2 when nothing was found.
    virtual void select_current(int index) = 0;
    // fl_open on the current entry.
    virtual void open_current() = 0;
    // misc_run of a typed command line.
    virtual void run_command(const char* line) = 0;
};

struct InterpState {
    char mode = 0;  // 0 idle, '/', '?' or ':'
    char buf[INTERP_BUF] = {};
    std::size_t len = 0;
    char last[INTERP_BUF] = {};  // last non-empty search text used with Return
};

// Back to idle with an empty buffer (the last search stays): the type-ahead timer's
// expiry calls this.
void interp_reset(InterpState& s);

// One key event. 0: not handled, the list handles the key (Return while idle opens,
// Escape while idle is the list's). -1: the type-ahead finished or was cancelled
// (stop the timer, clear status1). 1: in progress (re-arm the timer, interp_echo).
int interp_key(InterpState& s, InterpList& list, const KeyEvent& ev);

// The text for status1: the mode character followed by the buffer while a mode is
// active, otherwise "".
std::string interp_echo(const InterpState& s);
