// Signals delivered on the GUI thread: the handler only writes the signal number to
// a pipe, and a socket notifier runs the registered function from the event loop.
// sig_watch is called on the GUI thread.
#pragma once
#include <functional>

void sig_watch(int signo, std::function<void()> fn);
