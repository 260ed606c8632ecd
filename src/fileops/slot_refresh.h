// Telling every running instance of the program to re-read its file list: a
// signal to each process of this user whose command name matches, found under
// /proc, the calling process included. No shell and no external tool. Any thread.
#pragma once
#include <string>

// Sends signo to every process under proc_root owned by this user whose "comm"
// is exactly comm. Returns how many were signalled; errno is left unchanged.
int slot_signal_instances(const std::string& proc_root, const std::string& comm, int signo);

// SIGWINCH to every "vell" of this user.
int slot_refresh_instances();
