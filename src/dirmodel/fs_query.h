// Small probes of the file system used outside the directory reader. Thread-safe
// (fs_path_has_subdirectories translates names with fname_encode, which any thread
// may call).
#pragma once

// -1 when the path's status (links followed) cannot be read, 0 when it is no
// directory, else its link count (2 when the file system reports 0).
int fs_path_is_directory(const char* path);

// Whether parent/name holds a subdirectory: -2 when the path cannot be translated
// to the file system's encoding, -1 when it cannot be opened, 0 when it holds none,
// else a positive number. Dot entries count only with flags bit 0x2; a link to a
// directory does not count.
int fs_path_has_subdirectories(const char* parent, const char* name, int flags);
