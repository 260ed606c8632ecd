#include "filelist/fl_view.h"

#include <QEvent>
#include <QHeaderView>
#include <QScrollBar>
#include <algorithm>

FlView::FlView(QWidget* parent) : QTableView(parent)
{
    setShowGrid(false);
    setWordWrap(false);
    setTabKeyNavigation(false);
    setCornerButtonEnabled(false);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    verticalHeader()->hide();
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    verticalHeader()->setMinimumSectionSize(1);
    horizontalHeader()->setHighlightSections(false);
    horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    fit_rows();
}

void FlView::fit_rows()
{
    const int h = std::max(fontMetrics().height(), iconSize().isValid() ? iconSize().height() : 16) + 2;
    verticalHeader()->setDefaultSectionSize(h);
}

void FlView::changeEvent(QEvent* e)
{
    QTableView::changeEvent(e);
    if (e->type() == QEvent::FontChange || e->type() == QEvent::StyleChange)
        fit_rows();
}

QModelIndex FlView::moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers)
{
    QAbstractItemModel* m = model();
    if (!m)
        return {};
    const QModelIndex cur = currentIndex();
    switch (action) {
    case MoveHome:
        return m->index(0, 0);
    case MoveEnd:
        return m->index(m->rowCount() - 1, 0);
    case MoveLeft:
    case MoveRight:
        horizontalScrollBar()->triggerAction(action == MoveLeft ? QAbstractSlider::SliderSingleStepSub
                                                                : QAbstractSlider::SliderSingleStepAdd);
        return cur;
    case MoveNext:
    case MovePrevious:
        return cur;
    default: {
        const QModelIndex to = QTableView::moveCursor(action, modifiers);
        return to.isValid() ? to.sibling(to.row(), 0) : to;
    }
    }
}
