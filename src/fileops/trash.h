// The freedesktop.org Trash, shared with every other desktop program of the
// user: a trashed item is renamed into files/ of the Trash of its own file system
// and described by info/NAME.trashinfo (its original path and the date).
//
// The home Trash is $XDG_DATA_HOME/Trash (~/.local/share/Trash); an item on
// another file system goes to the top directory of its mount, into .Trash/$uid
// when the administrator made a sticky .Trash there, else into .Trash-$uid;
// either only as a real directory of the user's own, never a link or another
// user's directory.
// Nothing here is ever copied: an item that cannot be renamed into a Trash of
// its own file system cannot be trashed.
//
// Every call does file-system work and may block on a dead mount: worker threads
// only. Paths and names are bytes.
#pragma once
#include <cstdint>
#include <ctime>
#include <string>
#include <sys/types.h>
#include <vector>

struct TrashEntry {
    std::string trash_dir;  // "…/Trash", "…/.Trash-1000", "…/.Trash/1000"
    std::string name;       // under files/, and with ".trashinfo" under info/
    std::string original;   // absolute path it was trashed from
    std::string deleted;    // DeletionDate as written: "YYYY-MM-DDThh:mm:ss"
    bool is_dir = false;
    int64_t size = 0;       // of the item itself, not of a directory's contents
    std::string refused;    // why it is never restored (its path leads astray); empty when it can be

    std::string files_path() const;
    std::string info_path() const;
};

enum class TrashError {
    None,
    NoTrash,  // no Trash on the item's file system could be found or made
    InTrash,  // the item is in a Trash already: it can only be deleted from there
    Failed,   // the item itself could not be moved (errno in TrashPut::error)
};

struct TrashPut {
    TrashError error_kind = TrashError::None;
    int error = 0;
    TrashEntry entry;  // filled on success
    dev_t dev = 0;     // the trashed item's identity, to know it again
    ino_t ino = 0;
};

// The home Trash directory (not created).
std::string trash_home();
// The Trash for an item of the file system holding path, created with its
// files/ and info/ when missing. Empty, with errno set, when there is none.
std::string trash_dir_for(const std::string& path);
// The Trash found for the last item, kept by a caller that trashes many items of
// one file system: finding it costs a dozen calls, an item itself five.
struct TrashCache {
    dev_t dev = 0;
    std::string dir;
};

// Moves path into the Trash of its file system. The info file is written first,
// under a name reserved with O_EXCL, so an item in files/ always has one.
TrashPut trash_put(const std::string& path, time_t now, TrashCache* cache = nullptr);

// The top directories of the mounted file systems that may hold a Trash, from
// the mount table alone (nothing there is looked at).
std::vector<std::string> trash_mount_tops();
// The Trash directories of ours at one top: real directories owned by the user,
// the shared one only under a sticky .Trash. Looking may wait for ever on a
// dead mount: one thread per top.
std::vector<std::string> trash_dirs_at(const std::string& top);
// What a Trash directory holds; entries without a readable info file are left out.
std::vector<TrashEntry> trash_list(const std::string& trash_dir);

// Puts an entry back at `to` (normally e.original), making missing parent
// directories, and drops its info file. Never replaces: fails with EEXIST when
// something is at `to`; nor goes to a `to` with '..', '.' or empty names (EINVAL).
// 0, or -1 with errno.
int trash_restore(const TrashEntry& e, const std::string& to);
// Whether `to` (the nearest directory there, links followed) is on another file
// system than the entry's item; true when either cannot be looked at.
bool trash_on_other_fs(const TrashEntry& e, const std::string& to);
// A free name beside `to` for keeping both: "name (2)", "name (3)" … (the
// extension kept after the number).
std::string trash_free_name(const std::string& to);
// Drops the info file of an entry whose item is gone (after Empty Trash).
void trash_forget(const TrashEntry& e);

// The info file's text, and reading one back. Paths under a top-directory Trash
// are written relative to the mount's top, as other programs expect.
std::string trash_info_text(const std::string& original, const std::string& trash_dir, time_t when);
bool trash_parse_info(const std::string& text, const std::string& trash_dir, std::string& original,
                      std::string& deleted);
