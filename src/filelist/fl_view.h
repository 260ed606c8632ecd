// The widget of `filelist`: a flat table of rows. A table keeps no item per row, so
// a row that comes or goes in a million costs a shift of the rows after it, not a
// new layout of them all, and a row costs a few bytes of the view instead of forty.
// It moves as a list does: Home and End go to the first and last row, Left and
// Right scroll the columns, Tab leaves the list.
#pragma once
#include <QTableView>

class QHeaderView;

class FlView : public QTableView {
    Q_OBJECT
public:
    explicit FlView(QWidget* parent = nullptr);

    // The column headers.
    QHeaderView* header() const { return horizontalHeader(); }

protected:
    QModelIndex moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) override;
    void changeEvent(QEvent* e) override;
    // The focus is drawn around the current row, not one of its cells.
    void paintEvent(QPaintEvent* e) override;
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;

private:
    // Rows as high as the font and the icons need, as a list's are.
    void fit_rows();
};
