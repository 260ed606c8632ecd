#include "filelist/fl_select.h"

#include <QItemSelectionModel>
#include "filelist/fl_view.h"

#include "filelist/fl_find.h"
#include "filelist/fl_model.h"
#include "filelist/fl_nav.h"
#include "filelist/fl_panel.h"

namespace {
// Set while this module changes the widget's selection itself, so the widget's
// signals are not taken for user input.
int sSync = 0;
// While a batch runs, the status bar is written once at its end.
int sBatch = 0;
bool sStatusPending = false;

using SyncGuard = FlSelectionHold;

struct Batch {
    Batch() { ++sBatch; }
    ~Batch()
    {
        if (--sBatch == 0 && sStatusPending) {
            sStatusPending = false;
            status_bar_update();
        }
    }
};

void status_changed()
{
    if (sBatch)
        sStatusPending = true;
    else
        status_bar_update();
}

QItemSelectionModel* selection()
{
    FlView* l = fl_list();
    return l ? l->selectionModel() : nullptr;
}

QModelIndex row_index(int index)
{
    FlModel* m = fl_model();
    if (!m)
        return {};
    const int row = m->row_of(index);
    return row < 0 ? QModelIndex() : m->index(row, 0);
}

void widget_select(int index, bool on)
{
    QItemSelectionModel* sm = selection();
    const QModelIndex mi = row_index(index);
    if (!sm || !mi.isValid())
        return;
    SyncGuard g;
    sm->select(mi, (on ? QItemSelectionModel::Select : QItemSelectionModel::Deselect) |
                       QItemSelectionModel::Rows);
}

void count_in(const FileRecord& r, int delta)
{
    gDir.selected += delta;
    if (S_ISDIR(r.status.st_mode))
        gDir.selected_dirs += delta;
}

// The widget's current row becomes the current record.
void take_current(int index)
{
    if (index == gDir.current)
        return;
    if (gDir.current >= 0 && gDir.current < gDir.count)
        gDir[gDir.current].flags &= ~DIR_F_CURRENT;
    if (index >= 0 && index < gDir.count) {
        if (index > 0)
            gDir[index].flags |= DIR_F_CURRENT;
        gDir.current = index;
    } else if (index == -1) {
        gDir.current = -1;
    }
}
}  // namespace

int fl_select_index(int index)
{
    if (index < 0 || index >= gDir.count || (gDir[index].flags & DIR_F_SELECTED))
        return index;
    fl_select_index(gDir, index);
    widget_select(index, true);
    status_changed();
    return index;
}

int fl_unselect_index(int index)
{
    if (index < 0 || index >= gDir.count || !(gDir[index].flags & DIR_F_SELECTED))
        return index;
    fl_unselect_index(gDir, index);
    widget_select(index, false);
    status_changed();
    return index;
}

int fl_invert_index(int index)
{
    if (index >= 0 && index < gDir.count && (gDir[index].flags & DIR_F_SELECTED))
        return fl_unselect_index(index);
    return fl_select_index(index);
}

void fl_invert_all()
{
    fl_invert_all(gDir);
    fl_selection_from_records();
    status_changed();
}

void fl_select_all()
{
    fl_select_all(gDir);
    fl_selection_from_records();
    status_changed();
}

void fl_unselect_all(FlView*)
{
    fl_unselect_all(gDir);
    if (QItemSelectionModel* sm = selection()) {
        SyncGuard g;
        sm->clearSelection();
    }
    status_changed();
}

int fl_select(const char* name, int flags)
{
    Batch b;
    return x_find(gDir, name, 0, flags, [](int i) { fl_select_index(i); });
}

int fl_unselect(const char* name, int flags)
{
    Batch b;
    return x_find(gDir, name, 0, flags, [](int i) { fl_unselect_index(i); });
}

int fl_goto(const char* name, int, int flags)
{
    return fl_goto_index(x_find(gDir, name, 0, flags));
}

int fl_goto_index(int index)
{
    if (index >= gDir.count)
        index = gDir.count - 1;
    fl_unselect_all();
    FlView* list = fl_list();
    QItemSelectionModel* sm = selection();
    FlModel* m = fl_model();
    // Without a parent row the top row is a record: it becomes current, but a
    // record the user never chose must not count as selected (Delete would take it).
    bool select = true;
    if (index == -1 && m && !m->has_parent_row() && gDir.count > 0) {
        index = 0;
        select = false;
    }
    if (index == -1 && list && sm && m && m->rowCount() > 0) {
        const QModelIndex first = m->index(0, 0);
        SyncGuard g;
        sm->setCurrentIndex(first, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
        list->scrollTo(first);
    }
    if (index != gDir.current) {
        if (gDir.current >= 0 && gDir.current < gDir.count)
            gDir[gDir.current].flags &= ~DIR_F_CURRENT;
        if (index >= gDir.count)
            return index;
        if (index > 0)
            gDir[index].flags |= DIR_F_CURRENT;
        gDir.current = index;
    }
    if (index >= 0 && list && sm) {
        const QModelIndex mi = row_index(index);
        {
            SyncGuard g;
            sm->setCurrentIndex(mi, select ? QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows
                                           : QItemSelectionModel::NoUpdate);
        }
        list->scrollTo(mi);
        if (select) {
            gDir[index].flags |= DIR_F_SELECTED;
            count_in(gDir[index], 1);
            status_changed();
        }
    }
    return index;
}

void fl_selection_cb()
{
    QItemSelectionModel* sm = selection();
    if (!sm)
        return;
    fl_timer_disable();
    for (int i = 0; i < gDir.count; ++i)
        gDir[i].flags &= ~DIR_F_SELECTED;
    gDir.selected = gDir.selected_dirs = 0;
    FlModel* m = fl_model();
    for (const QItemSelectionRange& r : sm->selection()) {
        for (int row = r.top(); row <= r.bottom(); ++row) {
            const int i = m->index_of(row);
            if (i >= 0 && i < gDir.count && !(gDir[i].flags & DIR_F_SELECTED)) {
                gDir[i].flags |= DIR_F_SELECTED;
                count_in(gDir[i], 1);
            }
        }
    }
    status_changed();
    const QModelIndex cur = sm->currentIndex();
    if (cur.isValid())
        take_current(m->index_of(cur.row()));
}

void fl_select_connect(FlView* list)
{
    QItemSelectionModel* sm = list->selectionModel();
    QObject::connect(sm, &QItemSelectionModel::selectionChanged, list, [] {
        if (!sSync)
            fl_selection_cb();
    });
    QObject::connect(sm, &QItemSelectionModel::currentChanged, list,
                     [](const QModelIndex& cur) {
                         if (!sSync && cur.isValid())
                             take_current(fl_model()->index_of(cur.row()));
                     });
    QObject::connect(list, &QAbstractItemView::doubleClicked, list, [](const QModelIndex& mi) {
        const int i = fl_model()->index_of(mi.row());
        take_current(i);
        fl_open(i);
    });
}

FlSelectionHold::FlSelectionHold()
{
    ++sSync;
}

FlSelectionHold::~FlSelectionHold()
{
    --sSync;
}

void fl_selection_from_records()
{
    QItemSelectionModel* sm = selection();
    FlModel* m = fl_model();
    if (!sm || !m)
        return;
    // Runs of selected records become one range each, so selecting 100,000 rows
    // is one change of the selection model.
    QItemSelection sel;
    const int last = FL_COLUMNS - 1;
    for (int i = 0; gDir.selected > 0 && i < gDir.count;) {
        if (!(gDir[i].flags & DIR_F_SELECTED)) {
            ++i;
            continue;
        }
        int j = i;
        while (j + 1 < gDir.count && (gDir[j + 1].flags & DIR_F_SELECTED))
            ++j;
        sel.select(m->index(m->row_of(i), 0), m->index(m->row_of(j), last));
        i = j + 1;
    }
    SyncGuard g;
    sm->select(sel, QItemSelectionModel::ClearAndSelect);
    const QModelIndex cur = row_index(gDir.current);
    if (cur.isValid())
        sm->setCurrentIndex(cur, QItemSelectionModel::NoUpdate);
}
