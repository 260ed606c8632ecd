// The Trash phases of an operation: moving the selection into the Trash (and
// deleting for good what cannot go there, when the user says so), and putting
// trashed items back.
#include "fop_engine.h"
#include "fop_request.h"
#include "fop_info.h"
#include "trash.h"
#include "undo.h"
#include "dirmodel/es_path.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <sys/stat.h>

namespace {
int percent_of(const FopRequest& r)
{
    return r.total_files > 0 ? int(int64_t(r.files_done) * 100 / r.total_files) : 0;
}

// An item that another program copied into the Trash of another file system goes
// back the same way: a move of it alone, run on this request itself so that its
// Pause and Cancel reach the copy. True when the item left the Trash.
bool move_back_across(FopRequest& r, const TrashEntry& e, const std::string& to)
{
    const int kind = r.kind, files_done = r.files_done, total_files = r.total_files;
    const uint32_t flags = r.flags;
    const bool undoable = r.undoable;
    std::vector<FopGroup> groups = std::move(r.groups);
    r.kind = FOP_MOVE;
    r.flags = FOPF_SYM_LINKS;
    r.destination = to;
    r.groups = {FopGroup{e.trash_dir + "/files", {e.name}, {}}};
    r.prefix_len = r.groups[0].dir.size();
    r.total_files = 1;
    r.files_done = 0;
    r.total_bytes = r.bytes_done = 0;
    r.estimate_start = {};
    r.kept_dirs.clear();
    r.undoable = false;
    fop_run_phases(r);
    r.kind = kind;
    r.flags = flags;
    r.undoable = undoable;
    r.groups = std::move(groups);
    r.files_done = files_done;
    r.total_files = total_files;
    r.estimate_start = {};
    struct stat st;
    if (lstat(e.files_path().c_str(), &st) == 0 || errno != ENOENT)
        return false;
    trash_forget(e);
    return true;
}
}  // namespace

int fop_trash_files(FopRequest& r)
{
    fop_update_info(r, "Moving to Trash", kFopKeep, kFopKeep, kFopKeep, kFopKeep, kFopPercentZero, kFopTimeKeep);
    FopGroup& sel = r.groups[0];
    bool delete_rest = false;  // "Delete A&ll" to an item that has no Trash
    bool any_to_delete = false;
    TrashCache cache;
    for (std::string& name : sel.names) {
        if (fop_pause_trap(r) || r.cancel.load())
            return -1;
        if (name.empty())
            continue;
        const std::string path = fop_path(sel.dir, name);
        fop_update_info(r, "Moving to Trash", " Dir: ", sel.dir, "File: ", name, percent_of(r),
                        fop_calc_time_left(r, r.files_done, r.total_files));
        const TrashPut put = trash_put(path, time(nullptr), &cache);
        if (put.error_kind == TrashError::None) {
            // Known again by its identity in the Trash (a rename changes no birth time).
            FopMade m;
            if (fop_identify(put.entry.files_path(), m)) {
                m.from = path;
                m.to = put.entry.files_path();
                m.entry = put.entry;
                r.made.push_back(std::move(m));
            }
            fop_item_done(r, sel.dir, name);
            name.clear();
            r.files_done++;
            continue;
        }
        if (put.error_kind == TrashError::Failed) {
            if (fop_ask_continue(r, "Move to Trash", "Unable to move '%s' to the Trash\n%s\n",
                                 fop_disp(r, path).c_str(), strerror(put.error)) < 0)
                return -1;
            name.clear();
            r.files_done++;
            continue;
        }
        if (!delete_rest) {
            const std::string why = put.error_kind == TrashError::InTrash
                                        ? "it is in the Trash already"
                                        : "its file system has no Trash that can be written (" +
                                              std::string(strerror(put.error)) + ")";
            const int a = fop_alert(r, "Move to Trash", "&Delete|Delete A&ll|@&Skip|#a&Bort",
                                    "'%s' cannot be moved to the Trash:\n%s.\n"
                                    "Do you want to delete it permanently?\n",
                                    fop_disp(r, path).c_str(), why.c_str());
            if (a == 4)
                return -1;
            if (a == 3) {
                name.clear();
                r.files_done++;
                continue;
            }
            delete_rest = a == 2;
        }
        any_to_delete = true;  // the name stays for the delete below
    }
    if (!any_to_delete)
        return 0;
    // The user has said yes to each of these: a delete of them without the usual
    // confirmation, but with the questions about read-only files its settings ask.
    r.kind = FOP_DELETE;
    const int rc = fop_build_filelist(r) == 0 ? fop_delete_files(r, true) : -1;
    r.kind = FOP_TRASH;  // what did go to the Trash can still be undone
    return rc;
}

int fop_restore_files(FopRequest& r)
{
    fop_update_info(r, "Restoring", kFopKeep, kFopKeep, kFopKeep, kFopKeep, kFopPercentZero, kFopTimeKeep);
    FopGroup& sel = r.groups[0];
    for (std::size_t i = 0; i < sel.names.size(); i++) {
        if (fop_pause_trap(r) || r.cancel.load())
            return -1;
        if (sel.names[i].empty())
            continue;
        const TrashEntry& e = r.restore[i];
        std::string to = e.original;
        fop_update_info(r, "Restoring", "From: ", e.files_path(), "  To: ", to, percent_of(r),
                        fop_calc_time_left(r, r.files_done, r.total_files));
        if (!e.refused.empty()) {
            if (fop_ask_continue(r, "Restore", "Unable to restore '%s'\n%s\n", fop_disp(r, to).c_str(),
                                 e.refused.c_str()) < 0)
                return -1;
            r.files_done++;
            continue;
        }
        // Whoever could write on the disk of a top-directory Trash chose where its
        // items go back: a place off that disk is the user's to allow. Asked before
        // anything is made there, or when the rename finds it elsewhere after all.
        const bool from_top = e.trash_dir != trash_home();
        bool asked = false;
        auto allow = [&] {
            asked = true;
            return fop_alert(r, "Restore", "&Restore|@&Skip|#a&Bort",
                             "'%s' is in the Trash of another file system.\nRestore it to '%s'?\n",
                             fop_disp(r, e.files_path()).c_str(), fop_disp(r, to).c_str());
        };
        if (from_top && trash_on_other_fs(e, to)) {
            const int a = allow();
            if (a == 3)
                return -1;
            if (a == 2) {
                r.files_done++;
                continue;
            }
        }
        int rc = trash_restore(e, to);
        int err = rc ? errno : 0;
        if (rc != 0 && err == EXDEV) {
            const int a = from_top && !asked ? allow() : 1;
            if (a == 3)
                return -1;
            const bool moved = a == 1 && move_back_across(r, e, to);
            if (r.cancel.load())
                return -1;
            if (moved)
                fop_item_done(r, es_dir_of(to), es_name_of(to));
            r.files_done++;  // a failure was asked about by the move itself
            continue;
        }
        if (rc != 0 && err == EEXIST) {
            const int a = fop_alert(r, "Restore", "&Skip|&Keep Both|a&Bort",
                                    "'%s' exists.\nWhat do you want to do ?\n", fop_disp(r, to).c_str());
            if (a == 3)
                return -1;
            if (a == 1) {
                r.files_done++;
                continue;
            }
            to = trash_free_name(to);
            rc = to.empty() ? -1 : trash_restore(e, to);
            err = to.empty() ? EEXIST : rc ? errno : 0;
        }
        if (rc != 0) {
            if (fop_ask_continue(r, "Restore", "Unable to restore '%s'\n%s\n", fop_disp(r, to).c_str(),
                                 strerror(err)) < 0)
                return -1;
        } else {
            fop_item_done(r, es_dir_of(to), es_name_of(to));
        }
        r.files_done++;
    }
    return 0;
}
