#include "undo.h"

#include "fop.h"
#include "fop_engine.h"
#include "fop_info.h"
#include "dirmodel/es_path.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <ftw.h>
#include <mutex>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace {
std::mutex sMutex;
UndoStep sLast;  // no items: nothing to undo

int64_t nanos(const statx_timestamp& t)
{
    return int64_t(t.tv_sec) * 1'000'000'000 + t.tv_nsec;
}

// nftw gives its callback no argument of ours: the walk's sum is the thread's.
thread_local FopMade::Content tContent;

int add_content(const char*, const struct stat* st, int type, FTW*)
{
    if (type == FTW_NS || type == FTW_DNR)
        return 1;  // unreadable: not known, so an undo asks
    tContent.bytes += st->st_size;
    tContent.entries++;
    // A change anywhere in the tree moves some entry's change time (a file's
    // own, or its directory's for one added, removed or renamed).
    tContent.changed = std::max(tContent.changed, int64_t(st->st_ctim.tv_sec) * 1'000'000'000 + st->st_ctim.tv_nsec);
    return 0;
}

// A copy or a new item is taken back by moving it to the Trash: that is where
// what it holds now must not go unasked.
bool content_checked(UndoKind kind)
{
    return kind == UndoKind::Copy || kind == UndoKind::Create;
}
}  // namespace

FopMade::Content fop_content_of(const std::string& path)
{
    tContent = {};
    constexpr int kOpenDirs = 16;
    const bool read = nftw(path.c_str(), add_content, kOpenDirs, FTW_PHYS) == 0;
    FopMade::Content c = tContent;
    c.known = read;
    return c;
}

bool fop_identify(const std::string& path, FopMade& m)
{
    struct statx sx;
    if (statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_INO | STATX_BTIME | STATX_CTIME, &sx) != 0)
        return false;
    m.dev = makedev(sx.stx_dev_major, sx.stx_dev_minor);
    m.ino = sx.stx_ino;
    m.stamp = (sx.stx_mask & STATX_BTIME) ? nanos(sx.stx_btime) : nanos(sx.stx_ctime);
    return true;
}

void undo_note(UndoStep step)
{
    if (step.items.empty())
        return;
    std::lock_guard lock(sMutex);
    sLast = std::move(step);
}

void undo_note_item(UndoKind kind, const std::string& from, const std::string& to)
{
    FopMade made;
    if (!fop_identify(to, made))
        return;
    made.from = from;
    made.to = to;
    if (content_checked(kind))
        made.content = fop_content_of(to);
    undo_note({kind, {std::move(made)}});
}

void undo_note_request(const FopRequest& r)
{
    if (!r.undoable || r.made.empty())
        return;
    UndoStep step;
    switch (r.kind) {
    case FOP_COPY: step.kind = UndoKind::Copy; break;
    case FOP_MOVE: step.kind = UndoKind::Move; break;
    case FOP_TRASH: step.kind = UndoKind::Trash; break;
    default: return;
    }
    step.items = r.made;
    // Now that every copy is whole: a directory's contents came after its note.
    if (content_checked(step.kind))
        for (FopMade& m : step.items)
            m.content = fop_content_of(m.to);
    undo_note(std::move(step));
}

bool undo_available()
{
    std::lock_guard lock(sMutex);
    return !sLast.items.empty();
}

std::string undo_label()
{
    std::lock_guard lock(sMutex);
    if (sLast.items.empty())
        return "&Undo";
    switch (sLast.kind) {
    case UndoKind::Rename: return "&Undo Rename";
    case UndoKind::Move: return "&Undo Move";
    case UndoKind::Copy: return "&Undo Copy";
    case UndoKind::Create: return "&Undo New";
    case UndoKind::Trash: return "&Undo Move to Trash";
    }
    return "&Undo";
}

bool undo_take(UndoStep& step)
{
    std::lock_guard lock(sMutex);
    if (sLast.items.empty())
        return false;
    step = std::move(sLast);
    sLast = UndoStep{};
    return true;
}

void undo_clear()
{
    std::lock_guard lock(sMutex);
    sLast = UndoStep{};
}

std::unique_ptr<FopRequest> undo_request(const UndoStep& step)
{
    if (step.items.empty())
        return nullptr;
    const FopMade& first = step.items.front();
    std::vector<std::string> names;
    std::vector<FopExpect> expect;
    for (const FopMade& m : step.items) {
        names.push_back(step.kind == UndoKind::Trash ? m.entry.name : es_name_of(m.to));
        FopExpect& made = expect.emplace_back();
        made.path = m.to;
        made.dev = m.dev;
        made.ino = m.ino;
        made.stamp = m.stamp;
        if (content_checked(step.kind)) {
            made.content = m.content;
            made.made_as = step.kind == UndoKind::Copy ? "copied" : "made";
            made.item = names.size() - 1;
        } else {
            // Nothing may be where it goes back.
            expect.emplace_back().path = step.kind == UndoKind::Trash ? m.entry.original : m.from;
        }
    }
    std::unique_ptr<FopRequest> r;
    switch (step.kind) {
    case UndoKind::Rename:
    case UndoKind::Move:
        // One item goes back under its old name; several into their old directory.
        // Links move as links, whatever the settings say.
        r = fop_make(FOP_MOVE, es_dir_of(first.to), names,
                     step.items.size() == 1 ? first.from : es_dir_of(first.from), FOPF_SYM_LINKS);
        break;
    case UndoKind::Copy:
    case UndoKind::Create:
        r = fop_make(FOP_TRASH, es_dir_of(first.to), names, "", 0);
        break;
    case UndoKind::Trash:
        r = fop_make(FOP_RESTORE, first.entry.trash_dir + "/files", names, "", 0);
        if (r)
            for (const FopMade& m : step.items)
                r->restore.push_back(m.entry);
        break;
    }
    if (r) {
        r->expect = std::move(expect);
        r->undoable = false;
    }
    return r;
}

bool fop_expectations_hold(const FopRequest& r, std::string& why)
{
    for (const FopExpect& e : r.expect) {
        FopMade now;
        errno = 0;
        const bool there = fop_identify(e.path, now);
        const int err = errno;
        const bool in_the_way = e.ino == 0 && (there || err != ENOENT);
        if (in_the_way ||
            (e.ino != 0 && (!there || now.dev != e.dev || now.ino != e.ino || (e.stamp && now.stamp != e.stamp)))) {
            why = "Cannot undo: '" + (r.ui ? r.ui->display(e.path) : e.path) +
                  (in_the_way ? "' is in the way.\n" : "' was changed or removed since.\n");
            return false;
        }
    }
    return true;
}

bool fop_confirm_changed(FopRequest& r)
{
    for (const FopExpect& e : r.expect) {
        if (!e.made_as || r.groups.empty() || e.item >= r.groups[0].names.size())
            continue;
        const FopMade::Content now = fop_content_of(e.path);
        if (e.content.known && now == e.content)
            continue;
        const int a = fop_alert(r, "Undo", "&Skip|&Trash It|#&Cancel",
                                "'%s' was changed after it was %s.\nMove it to the Trash anyway?\n",
                                fop_disp(r, e.path).c_str(), e.made_as);
        if (a == 1)
            r.groups[0].names[e.item].clear();
        else if (a != 2)
            return false;
    }
    return true;
}
