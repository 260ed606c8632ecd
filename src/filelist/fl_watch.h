// The list follows the file system: the shown directory is watched, and what other
// programs change there is read again shortly after, with the selection, the
// current row and the scroll position kept. A directory that goes away gives way
// to its nearest parent that exists. GUI thread only.
#pragma once
#include <string>

// Made by fl_setup for the list's window.
void fl_watch_setup();
// Called by every read of the directory: the directory about to be read is the one
// watched, and what arrived before the read is in it.
void fl_watch_read_starting(const std::string& path);
// Called by the reader's own thread once it has opened the directory.
void fl_watch_read_opened();
void fl_watch_read_done(long long took_ms);
