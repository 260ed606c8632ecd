#include "filelist/fl_view.h"

#include <QEvent>
#include <QPaintEvent>
#include <QHeaderView>
#include <QPainter>
#include <QScrollBar>
#include <QStyleOptionFocusRect>
#include <QStyledItemDelegate>
#include <algorithm>

namespace {
// Cells draw no focus of their own: the row has it.
class RowFocusDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override
    {
        QStyledItemDelegate::initStyleOption(option, index);
        option->state &= ~QStyle::State_HasFocus;
    }
};
}  // namespace

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
    setItemDelegate(new RowFocusDelegate(this));
    fit_rows();
}

void FlView::paintEvent(QPaintEvent* e)
{
    QTableView::paintEvent(e);
    const QModelIndex cur = currentIndex();
    if (!cur.isValid() || !hasFocus())
        return;
    QStyleOptionFocusRect o;
    o.initFrom(this);
    o.rect = QRect(0, rowViewportPosition(cur.row()), viewport()->width(), rowHeight(cur.row()));
    if (!o.rect.intersects(e->rect()))
        return;
    const bool selected = selectionModel() && selectionModel()->isRowSelected(cur.row(), rootIndex());
    o.backgroundColor = palette().color(selected ? QPalette::Highlight : QPalette::Base);
    o.state |= QStyle::State_KeyboardFocusChange | QStyle::State_HasFocus;
    QPainter p(viewport());
    style()->drawPrimitive(QStyle::PE_FrameFocusRect, &o, &p, this);
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

void FlView::currentChanged(const QModelIndex& current, const QModelIndex& previous)
{
    QTableView::currentChanged(current, previous);
    for (const QModelIndex& i : {previous, current})
        if (i.isValid())
            viewport()->update(QRect(0, rowViewportPosition(i.row()), viewport()->width(), rowHeight(i.row())));
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
