// The operation request: one copy, move or delete, owned by its worker thread
// from the moment the thread starts until it frees the request at its end. The
// GUI thread writes only `cancel` and `pause`.
#pragma once
#include <atomic>
#include <cstdint>
#include <ctime>
#include <functional>
#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

#include "trash.h"

class FopUi;

// Trash moves the selection into the Trash of each item's file system; Restore
// puts trashed items back where they came from.
enum FopKind : int { FOP_COPY = 0, FOP_MOVE = 1, FOP_DELETE = 2, FOP_TRASH = 3, FOP_RESTORE = 4 };

// Request flags.
inline constexpr uint32_t FOPF_MKDIR_DST = 0x0001;
inline constexpr uint32_t FOPF_BUFSIZE_MASK = 0x00F0;
inline constexpr uint32_t FOPF_DELETE_ALL = 0x0200;
inline constexpr uint32_t FOPF_ASK_EVERY_DELETE = 0x0400;
inline constexpr uint32_t FOPF_OVERWRITE_ALL = 0x1000;
inline constexpr uint32_t FOPF_SYM_FILES = 0x2000;
inline constexpr uint32_t FOPF_SYM_LINKS = 0x4000;
inline constexpr uint32_t FOPF_OWNER_IGNORE = 0x8000;

struct FopGroup {
    std::string dir;
    std::vector<std::string> names;  // an empty name: leave this item alone
    // The entry types the directory read gave (DT_*), parallel to names; empty
    // for the selection. Lets a delete skip a status call per item.
    std::vector<unsigned char> types;
};

// The texts of the progress panel as the worker last set them; shown by the next
// refresh that is not throttled away.
struct FopDisplay {
    std::string header;
    std::string first_label;   // "From: ", " Dir: ", "Done"
    std::string first_path;
    std::string second_label;  // "  To: ", "File: "
    std::string second_path;
    int percent = 0;
    int time_left = 0;  // seconds; below 1 shows blank
};

// One item of the selection as the operation left it: `from` became `to` (for
// Trash, `to` is the item's path in the Trash and `entry` says where it was).
// The identity is of what was made, so that an undo can tell it is still there:
// device and inode, and since an inode number is soon reused, the birth time
// (the change time where the file system keeps none). Filled by fop_identify.
struct FopMade {
    std::string from;
    std::string to;
    dev_t dev = 0;
    ino_t ino = 0;
    int64_t stamp = 0;  // nanoseconds; 0: not known, not compared
    TrashEntry entry;
    // What it held when the step ended (a directory: its whole tree), so that an
    // undo that would take it away can tell it was edited since. Filled by
    // fop_content_of; `known` false where that could not be read.
    struct Content {
        bool known = false;
        int64_t bytes = 0;    // sizes added up
        int64_t entries = 0;
        int64_t changed = 0;  // the latest status change, nanoseconds
        bool operator==(const Content&) const = default;
    } content;
};

// Checked by the worker before it does anything: `path` must still be the item
// with this identity, or (ino 0) nothing may be at `path`.
struct FopExpect {
    std::string path;
    dev_t dev = 0;
    ino_t ino = 0;
    int64_t stamp = 0;
    // An item the undo would move to the Trash: when its content is no longer
    // this, the user is asked first. `made_as` names the step ("copied", "made");
    // `item` is its place among the names of the first group.
    FopMade::Content content;
    const char* made_as = nullptr;
    std::size_t item = 0;
};

struct FopRequest {
    std::atomic<int> cancel{0};
    std::atomic<int> pause{0};
    int kind = FOP_COPY;
    uint32_t flags = 0;
    std::string destination;
    std::vector<char> buffer;
    std::size_t prefix_len = 0;
    std::vector<FopGroup> groups;
    int total_files = 0;
    int64_t total_bytes = 0;
    int files_done = 0;
    int64_t bytes_done = 0;
    timespec last_update{};
    timespec estimate_start{};

    // Directories that were there before the copy went into them, by target path,
    // with the mode they had: they keep it, whatever happens to the operation.
    std::map<std::string, mode_t> kept_dirs;
    // "Continue All" was answered to an error on one item: the later ones are
    // passed over without a question.
    bool continue_all = false;

    // Restore: the entries going back, one per name of the first group.
    std::vector<TrashEntry> restore;
    // An Empty Trash: the Trash directory whose info files go with their items.
    std::string trash_dir;
    std::vector<FopExpect> expect;
    // What the selection became, for Undo; false for the operations Undo runs.
    bool undoable = true;
    std::vector<FopMade> made;

    FopUi* ui = nullptr;
    void* slot = nullptr;  // the GUI's handle of the progress panel
    std::function<void(const std::string& dir, const std::string& name)> item_cb;

    FopDisplay display;
};
