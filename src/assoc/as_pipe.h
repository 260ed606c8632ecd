// A private pipe to a child process (the popen/pclose pair), safe from any thread:
// open streams are listed under one mutex, and fork handlers keep that mutex sane in
// a child forked by another thread.
#pragma once
#include <cstdio>

// Runs `command` with "sh" "-c" ("sh" looked up along the system's default path,
// else /bin/sh). `mode` starts with "r" (read its output) or "w" (feed its input);
// anything else fails with EINVAL. nullptr on failure, errno set.
std::FILE* as_popen(const char* command, const char* mode);
// The same with an argument vector and no shell: argv[0] is looked up along PATH
// when it holds no "/". argv ends with nullptr.
std::FILE* as_popenv(const char* const* argv, const char* mode);
// Closes a stream from as_popen and waits for its child. The child's status, or -1
// (EINVAL for a stream not from as_popen; -1 also when the status is gone because
// SIGCHLD is ignored).
int as_pclose(std::FILE* stream);
