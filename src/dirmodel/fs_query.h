// Small probes of the file system used outside the directory reader. Thread-safe.
#pragma once

// -1 when the path's status (links followed) cannot be read, 0 when it is no
// directory, else its link count (2 when the file system reports 0).
int fs_path_is_directory(const char* path);
