// Drag and drop on `filelist`. A drag starts when the button goes down on a
// selected row and the pointer moves, or when the pointer leaves the list with
// the button held and something selected (inside the list, a press elsewhere and
// a move select rows). Drops are taken on the list, on ".." and on directory rows.
#include <QApplication>
#include <QDrag>
#include <QDropEvent>
#include <QMainWindow>
#include <QMimeData>
#include <QMouseEvent>
#include "filelist/fl_view.h"
#include <chrono>
#include <cstring>
#include <functional>
#include <sys/stat.h>

#include "clipboard/clip.h"
#include "dirmodel/es_path.h"
#include "fileops/fop_gui.h"
#include "filelist/fl_model.h"
#include "filelist/fl_panel.h"
#include "shell/kit/globals.h"
#include "shell/kit/w_utils.h"

int64_t dnd_start_timestamp = 0;
int dnd_active = 0;

namespace {
std::function<void(QDrag*)> sDragExec;

int64_t now_ms()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

// What a drop at `pos` lands on: -1 the ".." row, a directory record's index, or
// -2 the list itself.
int target_at(FlView* list, const QPoint& pos)
{
    const QModelIndex at = list->indexAt(pos);
    if (!at.isValid())
        return -2;
    const int i = fl_model()->index_of(at.row());
    if (i == -1 || (i >= 0 && i < gDir.count && S_ISDIR(gDir[i].status.st_mode)))
        return i;
    return -2;
}

// What a drop does, and so what the cursor shows. A drag of this process moves, or
// copies with Ctrl. Any other drag (another instance's, whose keys were pressed
// over its source and never reach this process, or another program's) takes the
// action its source proposes, Copy unless that is Move; never an action the
// source does not allow (IgnoreAction when it allows neither).
Qt::DropAction action_for(const QDropEvent* e)
{
    Qt::DropAction a = Qt::MoveAction;
    if (e->modifiers() & Qt::ControlModifier)
        a = Qt::CopyAction;
    else if (!e->source() && e->proposedAction() != Qt::MoveAction)
        a = Qt::CopyAction;
    if (!(e->possibleActions() & a))
        a = a == Qt::MoveAction && (e->possibleActions() & Qt::CopyAction) ? Qt::CopyAction
                                                                          : Qt::IgnoreAction;
    return a;
}

class DndFilter : public QObject {
public:
    explicit DndFilter(FlView* list) : QObject(list), list_(list) {}

protected:
    bool eventFilter(QObject*, QEvent* ev) override
    {
        switch (ev->type()) {
        case QEvent::MouseButtonPress:
            return press(static_cast<QMouseEvent*>(ev));
        case QEvent::MouseButtonRelease:
            release();
            return false;
        case QEvent::MouseMove:
            return move(static_cast<QMouseEvent*>(ev));
        case QEvent::DragEnter:
            drag_enter(static_cast<QDragEnterEvent*>(ev));
            return true;
        case QEvent::DragMove:
            drag_move(static_cast<QDragMoveEvent*>(ev));
            return true;
        case QEvent::DragLeave:
            dnd_active = 0;
            fl_model()->set_drop_row(-1);
            return true;
        case QEvent::Drop:
            drop(static_cast<QDropEvent*>(ev));
            return true;
        default:
            return false;
        }
    }

private:
    // A plain press on a selected row may start a drag of it all: the view does not
    // see it until the release shows it was a click, so no drag leaves the view
    // halfway through a gesture of its own.
    bool press(QMouseEvent* me)
    {
        if (replaying_)
            return false;
        armed_ = me->button() == Qt::LeftButton;
        press_ = me->position().toPoint();
        press_global_ = me->globalPosition().toPoint();
        const int i = target_row(press_);
        on_selection_ = armed_ && !(me->modifiers() & (Qt::ShiftModifier | Qt::ControlModifier)) && i >= 0 &&
                        (gDir[i].flags & DIR_F_SELECTED);
        return on_selection_;
    }

    // A click after all: the view gets the press it was kept from.
    void release()
    {
        if (on_selection_) {
            on_selection_ = false;
            replaying_ = true;
            QMouseEvent press(QEvent::MouseButtonPress, press_, press_global_, Qt::LeftButton, Qt::LeftButton,
                              Qt::NoModifier);
            QApplication::sendEvent(list_->viewport(), &press);
            replaying_ = false;
        }
        armed_ = false;
    }

    bool move(QMouseEvent* me)
    {
        const QPoint at = me->position().toPoint();
        if (on_selection_ && (me->buttons() & Qt::LeftButton)) {
            // Kept from the view, whose drag would select rows instead.
            if ((at - press_).manhattanLength() >= QApplication::startDragDistance()) {
                armed_ = on_selection_ = false;
                start_drag(at, me->globalPosition().toPoint(), true);
            }
            return true;
        }
        if (armed_ && (me->buttons() & Qt::LeftButton) && gDir.selected > 0 &&
            !list_->viewport()->rect().contains(at)) {
            armed_ = false;
            start_drag(at, me->globalPosition().toPoint(), false);
            return true;
        }
        return false;
    }

    void drag_enter(QDragEnterEvent* e)
    {
        dnd_active = 1;
        shown_ = action_for(e);
        if ((e->mimeData()->hasFormat(kMimeFiles) || e->mimeData()->hasFormat(kUriList)) &&
            shown_ != Qt::IgnoreAction) {
            e->setDropAction(shown_);
            e->accept();
            list_->setFocus();
        } else {
            e->ignore();
        }
    }

    void drag_move(QDragMoveEvent* e)
    {
        const int t = target_at(list_, e->position().toPoint());
        fl_model()->set_drop_row(t == -2 ? -1 : fl_model()->row_of(t));
        shown_ = action_for(e);
        if (shown_ == Qt::IgnoreAction) {
            e->ignore();
        } else {
            e->setDropAction(shown_);
            e->accept();
        }
    }

    void drop(QDropEvent* e)
    {
        dnd_active = 0;
        fl_model()->set_drop_row(-1);
        // Whatever changed since, a drop never moves where the cursor showed Copy.
        Qt::DropAction a = action_for(e);
        if (a == Qt::MoveAction && shown_ == Qt::CopyAction && (e->possibleActions() & Qt::CopyAction))
            a = Qt::CopyAction;
        const int kind = a == Qt::CopyAction ? FOP_COPY : FOP_MOVE;
        // A drag that left this list and comes straight back is a slip, not a
        // move; one started on the selection means what it does at once.
        if (a != Qt::IgnoreAction && (in_list_drag_ || now_ms() - dnd_start_timestamp > 999) &&
            fl_drop(e->mimeData(), target_at(list_, e->position().toPoint()), kind) == 0) {
            e->setDropAction(a);
            e->accept();
        } else {
            e->ignore();
        }
    }

    // The record index of the row at `pos`; -1 for none and for "..".
    int target_row(const QPoint& pos) const
    {
        const QModelIndex at = list_->indexAt(pos);
        const int i = at.isValid() ? fl_model()->index_of(at.row()) : -1;
        return i < gDir.count ? i : -1;
    }

    // `in_list`: started on the selection inside the list, where the view never
    // saw the gesture as a selection; otherwise it is ended with a release.
    void start_drag(const QPoint& pos, const QPoint& global, bool in_list)
    {
        const FileTransf t = fl_pack_transf();
        if (t.count <= 0)
            return;
        auto* m = new QMimeData;
        const std::string packed = transf_pack(t), uris = transf_uri_list(t);
        m->setData(kMimeFiles, QByteArray(packed.data(), static_cast<qsizetype>(packed.size())));
        m->setData(kUriList, QByteArray(uris.data(), static_cast<qsizetype>(uris.size())));
        auto* drag = new QDrag(list_);
        drag->setMimeData(m);
        dnd_start_timestamp = now_ms();
        in_list_drag_ = in_list;
        if (sDragExec) {
            sDragExec(drag);
            drag->deleteLater();
        } else {
            drag->exec(Qt::CopyAction | Qt::MoveAction, Qt::MoveAction);
        }
        in_list_drag_ = false;
        if (in_list)
            return;
        // The drag took the button's release: end the view's selecting gesture.
        QMouseEvent release(QEvent::MouseButtonRelease, pos, global, Qt::LeftButton, Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(list_->viewport(), &release);
    }

    FlView* list_;
    bool armed_ = false;
    bool on_selection_ = false;  // the left button went down on a selected row
    bool in_list_drag_ = false;  // a drag started on the selection is running
    QPoint press_;
    QPoint press_global_;
    bool replaying_ = false;  // the held-back press goes to the view after all
    Qt::DropAction shown_ = Qt::IgnoreAction;  // the action the cursor last showed
};
}  // namespace

int fl_drop(const QMimeData* data, int target, int kind)
{
    std::vector<FileTransf> groups;
    FileTransf t;
    const QByteArray packed = data->data(kMimeFiles);
    if (!packed.isEmpty() && transf_unpack({packed.constData(), static_cast<std::size_t>(packed.size())}, t)) {
        groups.push_back(std::move(t));
    } else if (data->hasFormat(kUriList)) {
        const QByteArray text = data->data(kUriList);
        std::string bad;
        if (!transf_from_uri_lines({text.constData(), static_cast<std::size_t>(text.size())}, groups, bad)) {
            wreport(gBase, "Drop", "Only files on this computer can be dropped here:\n'%s'", bad.c_str());
            return -1;
        }
    }
    if (groups.empty() || gDir.path.empty() || clip_check(groups, "Drop", "dropped") != 0)
        return -1;
    std::string dest = gDir.path;
    if (target == -1) {
        es_remove_subdirectory(dest.data());
        dest.resize(std::strlen(dest.c_str()));
    } else if (target >= 0 && target < gDir.count) {
        dest = es_join(gDir.path, gDir[target].name.view());
    }
    int started = 0;
    for (const FileTransf& g : groups) {
        if (g.count <= 0)
            continue;
        if (target >= 0 && g.srcdir == gDir.path) {
            const std::string_view row = gDir[target].name.view();
            bool onto_itself = false;
            for (const std::string& n : g.names)
                onto_itself = onto_itself || n == row;
            if (onto_itself)
                continue;
        }
        if (target == -2 && g.srcdir == gDir.path)
            continue;
        if (fop_start_cmd(kind, g.srcdir, g.names, dest) == 0)
            ++started;
    }
    return started ? 0 : -1;
}

void fl_set_drag_exec(std::function<void(QDrag*)> fn)
{
    sDragExec = std::move(fn);
}

void fl_dnd_install(FlView* list)
{
    list->setAcceptDrops(true);
    list->viewport()->setAcceptDrops(true);
    list->viewport()->installEventFilter(new DndFilter(list));
}
