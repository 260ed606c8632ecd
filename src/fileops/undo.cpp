#include "undo.h"

#include "fop.h"
#include "fop_engine.h"
#include "dirmodel/es_path.h"

#include <cerrno>
#include <fcntl.h>
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
}  // namespace

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
        expect.push_back({m.to, m.dev, m.ino, m.stamp});
        if (step.kind != UndoKind::Copy && step.kind != UndoKind::Create)
            expect.push_back({step.kind == UndoKind::Trash ? m.entry.original : m.from, 0, 0});
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
