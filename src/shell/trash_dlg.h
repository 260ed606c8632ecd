// The Trash view (`trash_dlg`): what every freedesktop.org Trash of the user holds,
// with Restore and Empty Trash run by the operation engine. Non-modal, one per
// process. GUI thread only; the listing itself is read on a thread of its own,
// since a Trash on a dead mount can block.
#pragma once

class QDialog;

// Go > Trash: opens the view, or shows and raises the open one, and reads it anew.
int trash_dlg_open();
// Reads the shown view anew (an operation ended); nothing when none is shown.
void trash_dlg_refresh();
// The view, null before it was first opened or after its window went.
QDialog* trash_dlg();
