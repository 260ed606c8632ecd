// The phases of an operation, run by its worker thread (fop_thread) on the
// request it owns. Per-item functions return 0 done, 1 skipped, -1 abort.
// Exposed for tests, which may also run them on a thread of their own.
#pragma once
#include "fop_request.h"

#include <string>
#include <string_view>
#include <sys/types.h>

// dir and name with one "/" between them; the root is special-cased and a
// trailing "/" dropped ("/" + "x" = "/x", "/a/" + "b" = "/a/b", "/a" + "" = "/a").
std::string& _build_path(std::string& out, std::string_view dir, std::string_view name);
std::string fop_path(std::string_view dir, std::string_view name);
// Where a source path lands: the destination joined with the source path less
// its first prefix_len characters.
std::string fop_dest_path(const FopRequest& r, const std::string& src);

// Where an item is reached: by its name under an open directory, or by its whole
// path when dirfd is AT_FDCWD.
struct FopAt {
    int dirfd;
    const char* path;
};
// path by its last name under dirfd when path is dir_path, "/" and that name and
// short enough that a call on the whole path could not have failed on its
// length; else the whole path. Points into path.
FopAt fop_at(const std::string& path, int dirfd, std::string_view dir_path);
// A directory opened only to reach what lies in it (-1 on failure, or when a call
// on the whole path would fail on its length).
int fop_open_dir(const std::string& path);

// A group's source directory and where it is copied to, held open by the copy
// loop so that each item is reached by its name instead of by a walk of its whole
// path. -1 where not open.
struct FopGroupDirs {
    int src = -1;
    int dst = -1;
    std::string dst_path;
    // The owner that a file created in dst gets, once the first one has shown it:
    // giving a copy the owner it already has can be left out.
    bool new_owner_known = false;
    uid_t new_uid = 0;
    gid_t new_gid = 0;
};

int fop_check_dst(FopRequest& r);
int fop_build_filelist(FopRequest& r);
int fop_move_files(FopRequest& r);
// name null: the final pass that gives a copied directory its attributes.
// dirs: the copy loop's open directories of the group, or null; dtype: the
// item's type as the scan's directory read gave it (DT_*), 0 if not known.
int fop_copy_file(FopRequest& r, const std::string& dir, const std::string* name,
                  const std::string& dest, FopGroupDirs* dirs = nullptr, unsigned char dtype = 0);
int fop_delete_files(FopRequest& r, bool interactive);
// Whether dest lies inside the directory src, or is it, where dest need not exist
// yet: a directory copied or moved there would take in its own copy.
bool fop_inside(const std::string& src, const std::string& dest);
// Puts back the modes of the existing directories the copy made writable.
void fop_restore_kept_dirs(FopRequest& r);
// dirfd: dir, open, or -1.
int fop_delete_file(FopRequest& r, const std::string& dir, const std::string& name,
                    unsigned char dtype = 0, int dirfd = -1);

// Trash: each item of the selection into the Trash of its file system; what has
// none is deleted for good where the user agrees. Restore: each entry of
// r.restore back to where it came from. 0, or -1 when aborted.
int fop_trash_files(FopRequest& r);
int fop_restore_files(FopRequest& r);

// Notes that the selected item `from` became `to`, for Undo.
void fop_note_made(FopRequest& r, const std::string& from, const std::string& to);

// Copy, move and delete after the worker's first refresh: -1 when the operation
// ended before its scan (nothing to show "Done" for), else 0.
int fop_run_phases(FopRequest& r);

// Runs the whole operation and returns; does not free the request nor call
// ui->finished. The thread entry wraps it.
void fop_run(FopRequest& r);
// The pause after "Done" before the panel goes; tests set it to 0.
void fop_set_done_delay_ms(int ms);
