// The operation's worker thread and its phases: rename pass, copy loop and
// delete. fop() and fop_flags_from_options() run on the GUI thread; the rest on
// the worker, which owns the request and frees it at its end.
#include "fop.h"
#include "fop_engine.h"
#include "fop_info.h"
#include "shell/kit/init_config.h"
#include "shell/kit/io_util.h"
#include "undo.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <new>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#ifndef VELL_FOP_STACK_SIZE
#define VELL_FOP_STACK_SIZE 65536
#endif

namespace {
constexpr std::size_t kDefaultBuffer = 32768;
std::atomic<int> sDoneDelayMs{1000};

std::size_t buffer_size(uint32_t flags)
{
    std::size_t units = (flags & FOPF_BUFSIZE_MASK) >> 4;
    return units ? units * 4096 : kDefaultBuffer;
}

void sleep_ms(int ms)
{
    timespec ts{ms / 1000, long(ms % 1000) * 1'000'000};
    while (nanosleep(&ts, &ts) != 0 && errno == EINTR) {
    }
}

void* fop_thread(void* arg)
{
    auto* r = static_cast<FopRequest*>(arg);
    fop_run(*r);
    r->ui->finished(*r);
    delete r;
    return nullptr;
}

// The copy phase. Returns where it stopped: {groups.size(), 0} when it ran
// through.
std::pair<std::size_t, std::size_t> copy_all(FopRequest& r)
{
    for (std::size_t g = 0; g < r.groups.size(); g++) {
        // Both ends of the group stay open while its items are copied. The target
        // directory was made with the parent group's items; where either cannot
        // be opened, whole paths serve.
        FopGroupDirs dirs;
        dirs.dst_path = fop_dest_path(r, r.groups[g].dir);
        UniqueFd src_dir(fop_open_dir(r.groups[g].dir)), dst_dir(fop_open_dir(dirs.dst_path));
        dirs.src = src_dir.get();
        dirs.dst = dst_dir.get();
        for (std::size_t i = 0; i < r.groups[g].names.size(); i++) {
            if (fop_pause_trap(r) || r.cancel.load())
                return {g, i};
            const std::string& name = r.groups[g].names[i];
            if (name.empty()) {
                r.files_done++;
                continue;
            }
            unsigned char dtype = i < r.groups[g].types.size() ? r.groups[g].types[i] : 0;
            int rc = fop_copy_file(r, r.groups[g].dir, &name, r.destination, &dirs, dtype);
            if (rc == 0) {
                if (g == 0) {
                    const std::string src = fop_path(r.groups[0].dir, name);
                    fop_note_made(r, src, fop_dest_path(r, src));
                }
                fop_item_done(r, r.groups[g].dir, name);
                r.files_done++;
            } else if (rc == 1) {
                r.groups[g].names[i].clear();
                r.files_done++;
            } else {
                r.groups[g].names[i].clear();
                fop_pause_trap(r);
                return {g, i};
            }
        }
        if (fop_pause_trap(r) || r.cancel.load())
            return {g + 1, 0};
        // The directory's own mode, times and owner now that its contents are in.
        if (g > 0 && fop_copy_file(r, r.groups[g].dir, nullptr, r.destination) < 0)
            return {g + 1, 0};
    }
    return {r.groups.size(), 0};
}
}  // namespace

void fop_set_done_delay_ms(int ms)
{
    sDoneDelayMs.store(ms);
}

namespace {
// The operation's first identity check of what lies where: what an undo reverses
// must still be what the operation made.
bool expectations_hold(FopRequest& r)
{
    std::string why;
    if (!fop_expectations_hold(r, why)) {
        fop_errinfo(r, "Undo", "%s", why.c_str());
        return false;
    }
    return fop_confirm_changed(r);
}
}  // namespace

int fop_run_phases(FopRequest& r)
{
    if (fop_check_dst(r) < 0)
        return -1;
    if (r.kind == FOP_MOVE && fop_move_files(r) < 0)
        return -1;
    if (fop_build_filelist(r) != 0)
        return 0;
    if (r.kind == FOP_DELETE) {
        fop_delete_files(r, true);
        return 0;
    }
    // The delete at the end of a move never asks.
    r.flags |= FOPF_DELETE_ALL;
    fop_update_info(r, r.kind == FOP_COPY ? "Copying" : "Moving", kFopKeep, kFopKeep, kFopKeep, kFopKeep,
                    kFopPercentZero, kFopTimeKeep);
    auto [sg, si] = copy_all(r);
    fop_restore_kept_dirs(r);
    if (r.kind == FOP_MOVE) {
        // Only what was copied completely goes at the source.
        for (std::size_t g = sg; g < r.groups.size(); g++)
            for (std::size_t i = (g == sg ? si : 0); i < r.groups[g].names.size(); i++)
                r.groups[g].names[i].clear();
        fop_delete_files(r, false);
    }
    return 0;
}

void fop_run(FopRequest& r)
{
    struct NoteUndo {
        FopRequest& r;
        ~NoteUndo() { undo_note_request(r); }
    } note{r};
    try {
        if (r.buffer.empty())
            r.buffer.assign(buffer_size(r.flags), 0);
        if (!expectations_hold(r))
            return;
        fop_update_info(r, "Scanning", "", "", "", "", kFopPercentZero, 0);
        // A trash or a restore that was aborted still shows "Done" for what it did.
        if (r.kind == FOP_TRASH)
            fop_trash_files(r);
        else if (r.kind == FOP_RESTORE)
            fop_restore_files(r);
        else if (fop_run_phases(r) < 0)
            return;
        fop_update_info(r, kFopKeep, "Done", "", "", "", 100, 0);
        sleep_ms(sDoneDelayMs.load());
    } catch (const std::bad_alloc&) {
        fop_ENOMEM(r);
    }
}

int fop_move_files(FopRequest& r)
{
    for (std::size_t g = 0; g < r.groups.size(); g++) {
        for (std::size_t i = 0; i < r.groups[g].names.size(); i++) {
            const std::string& name = r.groups[g].names[i];
            if (name.empty())
                continue;
            std::string src = fop_path(r.groups[g].dir, name);
            std::string tgt = fop_dest_path(r, src);
            if (src == tgt) {
                fop_errinfo(r, "File Scan", "Can't move file(s) into itself.");
                return -1;
            }
            struct stat st;
            bool skip = false;
            if (!(r.flags & FOPF_OVERWRITE_ALL) && stat(tgt.c_str(), &st) == 0) {
                // The panel shows the item asked about, not the scan before it.
                fop_update_info(r, "Moving", "From: ", src, "  To: ", tgt, kFopPercentKeep, kFopTimeKeep);
                int a = fop_alert(r, "Move", "&Skip|&Overwrite|Overwrite &All|a&Bort",
                                  "The '%s' file exists.\nWhat do you want to do ?\n", fop_disp(r, tgt).c_str());
                if (a == 4)
                    return -1;
                skip = a == 1;
                if (a == 3)
                    r.flags |= FOPF_OVERWRITE_ALL;
            }
            if (!skip) {
                // A failed rename (another file system, most often) is left to
                // the copy-and-delete path, without a word.
                if (rename(src.c_str(), tgt.c_str()) != 0)
                    continue;
                fop_note_made(r, src, tgt);
                fop_item_done(r, r.groups[g].dir, name);
            }
            // A skip or an "&Overwrite" answers for this item alone: the next
            // conflict is asked about again, as a copy does.
            r.groups[g].names[i].clear();
        }
    }
    return 0;
}

int fop_delete_files(FopRequest& r, bool interactive)
{
    for (std::size_t g = r.groups.size(); g-- > 0;) {
        // Each item by its name under the open directory, not by its whole path.
        UniqueFd dirfd(fop_open_dir(r.groups[g].dir));
        for (std::size_t i = r.groups[g].names.size(); i-- > 0;) {
            if (interactive && (fop_pause_trap(r) || r.cancel.load()))
                return -1;
            const std::string& name = r.groups[g].names[i];
            if (name.empty())
                continue;
            const std::string& dir = r.groups[g].dir;
            if (interactive) {
                int pct = r.total_files > 0 ? int(int64_t(r.files_done) * 100 / r.total_files) : 0;
                fop_update_info(r, "Deleting", " Dir: ", dir, "File: ", name, pct,
                                fop_calc_time_left(r, r.files_done, r.total_files));
            }
            unsigned char dtype = i < r.groups[g].types.size() ? r.groups[g].types[i] : 0;
            if (fop_delete_file(r, dir, name, dtype, dirfd.get()) < 0)
                return -1;
            // Emptying the Trash: an item gone takes its description with it.
            if (g == 0 && !r.trash_dir.empty()) {
                TrashEntry e;
                e.trash_dir = r.trash_dir;
                e.name = name;
                struct stat st;
                if (lstat(e.files_path().c_str(), &st) != 0 && errno == ENOENT)
                    trash_forget(e);
            }
            if (interactive)
                r.files_done++;
        }
    }
    return 0;
}

int fop_delete_file(FopRequest& r, const std::string& dir, const std::string& name, unsigned char dtype,
                    int dirfd)
{
    std::string path = fop_path(dir, name);
    FopAt at = fop_at(path, dirfd, dir);
    struct stat st;
    bool have = false;
    bool is_dir;
    // Deleting without questions needs only the type, which the scan may know.
    if ((r.flags & FOPF_DELETE_ALL) && dtype != 0) {
        is_dir = dtype == 4 /* DT_DIR */;
    } else {
        have = fstatat(at.dirfd, at.path, &st, AT_SYMLINK_NOFOLLOW) == 0;
        is_dir = have && S_ISDIR(st.st_mode);
    }
    if (have && !(r.flags & FOPF_DELETE_ALL) && (!(st.st_mode & S_IWUSR) || (r.flags & FOPF_ASK_EVERY_DELETE))) {
        const char* fmt = (st.st_mode & S_IWUSR) ? "File '%s'\n" : "Unwriteable file '%s'\n";
        int a = fop_alert(r, "Delete", "@&Skip|&Delete|de&Lete all|#&Abort", fmt, fop_disp(r, path).c_str());
        if (a == 1)
            return 0;
        if (a == 3)
            r.flags |= FOPF_DELETE_ALL;
        else if (a != 2)
            return -1;
    }
    if (unlinkat(at.dirfd, at.path, is_dir ? AT_REMOVEDIR : 0) != 0) {
        int e = errno;
        if (fop_ask_continue(r, "Delete", "Unable to delete '%s'\n%s\n", fop_disp(r, path).c_str(), strerror(e)) < 0)
            return -1;
    }
    fop_item_done(r, dir, name);
    return 0;
}

void fop_note_made(FopRequest& r, const std::string& from, const std::string& to)
{
    FopMade m;
    if (r.undoable && fop_identify(to, m)) {
        m.from = from;
        m.to = to;
        r.made.push_back(std::move(m));
    }
}

uint32_t fop_flags_from_options(uint32_t opt, int kind, bool single_non_directory)
{
    uint32_t f = 0;
    if (opt & cfg::OPT_OVERWRITE)
        f |= FOPF_OVERWRITE_ALL;
    if (opt & cfg::OPT_SYM_SYMLINKS)
        f |= FOPF_SYM_LINKS;
    if (opt & cfg::OPT_SYM_FILES)
        f |= FOPF_SYM_FILES;
    if (opt & cfg::OPT_CHOWN_ASSUME_IGNORE)
        f |= FOPF_OWNER_IGNORE;
    // A trash deletes for good what cannot be trashed, as a delete would.
    if (kind == FOP_DELETE || kind == FOP_TRASH) {
        if (single_non_directory) {
            if (opt & cfg::OPT_RM1_NO_PROMPT)
                f |= FOPF_DELETE_ALL;
        } else if (opt & cfg::OPT_RM_I_PROMPT) {
            f |= FOPF_ASK_EVERY_DELETE;
        } else if (opt & cfg::OPT_RM_I_NO_PROMPT) {
            f |= FOPF_DELETE_ALL;
        }
    }
    return f;
}

std::unique_ptr<FopRequest> fop_make(int kind, const std::string& srcdir, const std::vector<std::string>& names,
                                     const std::string& dest, uint32_t flags)
{
    const bool has_dest = kind == FOP_COPY || kind == FOP_MOVE;
    if (kind < FOP_COPY || kind > FOP_RESTORE || names.empty() || srcdir.empty() || (has_dest && dest.empty())) {
        errno = EINVAL;
        return nullptr;
    }
    try {
        auto r = std::make_unique<FopRequest>();
        r->kind = kind;
        r->flags = flags;
        r->destination = has_dest ? dest : std::string();
        r->buffer.assign(buffer_size(flags), 0);
        r->prefix_len = srcdir.size();
        r->groups.push_back(FopGroup{srcdir, names, {}});
        r->total_files = int(names.size());
        return r;
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        return nullptr;
    }
}

FopRequest* fop_launch(std::unique_ptr<FopRequest> r, void* slot,
                       std::function<void(const std::string&, const std::string&)> item_cb, FopUi* ui)
{
    if (!r || !ui || (r->kind == FOP_RESTORE && r->restore.size() != r->groups[0].names.size())) {
        errno = EINVAL;
        return nullptr;
    }
    r->ui = ui;
    r->slot = slot;
    r->item_cb = std::move(item_cb);
    if (const int rc = start_detached(fop_thread, r.get(), VELL_FOP_STACK_SIZE); rc != 0) {
        errno = rc;
        return nullptr;
    }
    return r.release();
}

FopRequest* fop(int kind, const std::string& srcdir, const std::vector<std::string>& names, const std::string& dest,
                uint32_t flags, void* slot, std::function<void(const std::string&, const std::string&)> item_cb,
                FopUi* ui)
{
    if (!ui) {
        errno = EINVAL;
        return nullptr;
    }
    auto r = fop_make(kind, srcdir, names, dest, flags);
    return r ? fop_launch(std::move(r), slot, std::move(item_cb), ui) : nullptr;
}
