#include "filelist/fl_keys.h"

#include <QKeyEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QTimer>
#include "filelist/fl_view.h"

#include "assoc/as_launch.h"
#include "assoc/as_run.h"
#include "filelist/fl_find.h"
#include "filelist/fl_model.h"
#include "filelist/fl_nav.h"
#include "filelist/fl_panel.h"
#include "filelist/fl_select.h"
#include "shell/kit/interp.h"

namespace {
InterpState sInterp;
int sLastInputEntry = -2;
void (*sContextMenu)(FlView*, QPoint) = nullptr;
int (*sOpen)() = nullptr;

class ListAdapter : public InterpList {
public:
    void unselect_all() override { fl_unselect_all(); }
    int find(const char* name, int flags) override { return x_find(gDir, name, 0, flags); }
    // Nothing found (-2) leaves no current entry, so a Return after it opens nothing.
    void select_current(int index) override { fl_goto_index(index); }
    void open_current() override { fl_open(gDir.current); }
    void run_command(const char* line) override { misc_run(0, 1, line); }
};

QLabel* status1(FlView* list)
{
    return list->window()->findChild<QLabel*>("status1");
}

uint32_t key_cap(const QKeyEvent& e)
{
    const int k = e.key();
    if (k >= Qt::Key_A && k <= Qt::Key_Z)
        return static_cast<uint32_t>('a' + (k - Qt::Key_A));
    if (k >= Qt::Key_Space && k <= Qt::Key_AsciiTilde)
        return static_cast<uint32_t>(k);
    switch (k) {
    case Qt::Key_Backspace: return KEYCAP_BACKSPACE;
    case Qt::Key_Tab: return KEYCAP_TAB;
    case Qt::Key_Return: return KEYCAP_RETURN;
    case Qt::Key_Enter: return KEYCAP_KP_ENTER;
    case Qt::Key_Escape: return KEYCAP_ESCAPE;
    case Qt::Key_Home: return KEYCAP_HOME;
    case Qt::Key_Left: return KEYCAP_LEFT;
    case Qt::Key_Up: return KEYCAP_UP;
    case Qt::Key_Right: return KEYCAP_RIGHT;
    case Qt::Key_Down: return KEYCAP_DOWN;
    case Qt::Key_PageUp: return KEYCAP_PG_UP;
    case Qt::Key_PageDown: return KEYCAP_PG_DOWN;
    case Qt::Key_End: return KEYCAP_END;
    case Qt::Key_Insert: return KEYCAP_INSERT;
    case Qt::Key_Menu: return KEYCAP_MENU;
    case Qt::Key_Delete: return KEYCAP_DELETE;
    default: break;
    }
    if (k >= Qt::Key_F1 && k <= Qt::Key_F12)
        return KEYCAP_F1 + static_cast<uint32_t>(k - Qt::Key_F1);
    return static_cast<uint32_t>(k);
}

class ListFilter : public QObject {
public:
    using QObject::QObject;
    FlView* list = nullptr;

protected:
    bool eventFilter(QObject* obj, QEvent* ev) override
    {
        if (ev->type() == QEvent::KeyPress && obj == list)
            return key(static_cast<QKeyEvent*>(ev));
        // While a search or a command line is being typed, its keys (Backspace
        // among them) belong to it, not to the window's hotkeys; F-keys still work.
        if (ev->type() == QEvent::ShortcutOverride && obj == list && sInterp.mode != 0) {
            auto* k = static_cast<QKeyEvent*>(ev);
            const bool types = k->key() == Qt::Key_Backspace || (!k->text().isEmpty() && k->text()[0].isPrint());
            if (!(k->modifiers() & (Qt::ControlModifier | Qt::AltModifier)) && types) {
                ev->accept();
                return true;
            }
        }
        if (ev->type() == QEvent::MouseButtonPress && obj == list->viewport()) {
            auto* me = static_cast<QMouseEvent*>(ev);
            const QModelIndex at = list->indexAt(me->position().toPoint());
            sLastInputEntry = at.isValid() ? fl_model()->index_of(at.row()) : -2;
            if (me->button() == Qt::RightButton) {
                right_press(at);
                return true;
            }
        }
        return false;
    }

private:
    bool key(QKeyEvent* e)
    {
        // The keyboard's way to the context menu: for the selection as it stands,
        // under the current row.
        if (e->key() == Qt::Key_Menu || (e->key() == Qt::Key_F10 && e->modifiers() == Qt::ShiftModifier)) {
            const QRect row = list->visualRect(list->currentIndex());
            const QPoint at = row.isValid() ? row.bottomLeft() + QPoint(row.height(), 0) : QPoint(0, 0);
            if (sContextMenu)
                sContextMenu(list, list->viewport()->mapToGlobal(at));
            return true;
        }
        const int r = interp_key(sInterp, adapter_, fl_key_event(*e));
        if (r == 0) {
            if ((e->key() == Qt::Key_Return || e->key() == Qt::Key_Enter) &&
                !(e->modifiers() & (Qt::ControlModifier | Qt::ShiftModifier | Qt::AltModifier))) {
                if (sOpen)
                    sOpen();
                else
                    fl_open(gDir.current);
                return true;
            }
            return false;
        }
        if (r == -1) {
            if (auto* t = list->window()->findChild<QTimer*>("ftimer"))
                t->stop();
            if (QLabel* s = status1(list))
                s->clear();
        } else {
            fl_timer_set();
            if (QLabel* s = status1(list))
                s->setText(QString::fromUtf8(interp_echo(sInterp).c_str()));
        }
        return true;
    }

    void right_press(const QModelIndex& at)
    {
        if (at.isValid()) {
            const int i = fl_model()->index_of(at.row());
            const bool was_selected = i >= 0 && (gDir[i].flags & DIR_F_SELECTED);
            if (!was_selected)
                fl_unselect_all();
            if (i >= 0 && i != gDir.current) {
                if (gDir.current >= 0 && gDir.current < gDir.count)
                    gDir[gDir.current].flags &= ~DIR_F_CURRENT;
                if (i > 0)
                    gDir[i].flags |= DIR_F_CURRENT;
                gDir.current = i;
            }
            list->selectionModel()->setCurrentIndex(at, QItemSelectionModel::NoUpdate);
            fl_select_index(i);
            fl_notify();
        } else {
            fl_unselect_all();
        }
        if (sContextMenu)
            sContextMenu(list, QCursor::pos());
    }

    ListAdapter adapter_;
};
}  // namespace

KeyEvent fl_key_event(const QKeyEvent& e)
{
    KeyEvent k;
    if (e.type() == QEvent::KeyPress)
        k.flags |= KEY_F_DOWN;
    if (e.isAutoRepeat())
        k.flags |= KEY_F_REPEAT;
    if (e.key() != 0 && e.key() != Qt::Key_unknown)
        k.flags |= KEY_F_SYM_VALID | KEY_F_CAP_VALID;
    const Qt::KeyboardModifiers m = e.modifiers();
    if (m & Qt::ShiftModifier)
        k.modifiers |= KB_MOD_SHIFT;
    if (m & Qt::ControlModifier)
        k.modifiers |= KB_MOD_CTRL;
    if (m & Qt::AltModifier)
        k.modifiers |= KB_MOD_ALT;
    k.key_cap = key_cap(e);
    const QString text = e.text();
    k.key_sym = (!text.isEmpty() && text.at(0).isPrint()) ? text.at(0).unicode() : k.key_cap;
    k.text = text.toStdString();
    return k;
}

void fl_keys_install(FlView* list)
{
    auto* f = new ListFilter(list);
    f->list = list;
    list->installEventFilter(f);
    list->viewport()->installEventFilter(f);
}

void fl_typeahead_reset()
{
    interp_reset(sInterp);
}

int fl_last_input_entry()
{
    return sLastInputEntry;
}

void fl_set_context_menu_cb(void (*fn)(FlView* list, QPoint global))
{
    sContextMenu = fn;
}

void fl_set_open_cb(int (*fn)())
{
    sOpen = fn;
}
