// The item model of `filelist`: one row per record of the listing, the parent row
// ".." first when shown. Rows are formatted when the view asks for them, so a
// rebuild costs a reset and not a pass over every field. GUI thread only.
#pragma once
#include <QAbstractTableModel>
#include <QHash>
#include <QIcon>
#include <functional>
#include <string>

#include "dirmodel/dir_patch.h"
#include "dirmodel/dir_types.h"

inline constexpr int FL_COLUMNS = 7;

// The images of the list, in the order of their indices.
enum FlImage {
    FL_IMG_FOLDER = 0,
    FL_IMG_FILE,
    FL_IMG_EXEC,
    FL_IMG_LINKED_FOLDER,
    FL_IMG_LINKED_FILE,
    FL_IMG_LINKED_EXEC,
    FL_IMG_PARENT,
    FL_IMG_BROKEN_LINK,
    FL_IMG_FILE_CUT,
    FL_IMG_DIR_CUT,
    FL_IMG_COUNT
};

// The user data of a row: the record's index, -1 for the parent row.
inline constexpr int FlIndexRole = Qt::UserRole + 1;
// The image index of a row (FlImage).
inline constexpr int FlImageRole = Qt::UserRole + 2;

class FlModel : public QAbstractTableModel {
    Q_OBJECT
public:
    explicit FlModel(DirListing* listing, QObject* parent = nullptr);

    // Rebuilds the rows: a reset, then the records' row fields point at their rows.
    void rebuild(bool parent_row);
    bool has_parent_row() const { return parent_row_; }
    // Tells the view what a patch of the listing did, row by row.
    void apply_patch(const DirPatchResult& patch);
    // Row of a record index (-1: the parent row), -1 when there is no such row.
    int row_of(int index) const;
    // Record index of a row; -1 for the parent row; -2 outside the rows.
    int index_of(int row) const;

    // Which records are marked as cut (the clipboard's business); null: none.
    void set_cut_query(std::function<bool(const FileRecord&)> query) { cut_ = std::move(query); }
    // The row drawn as the target of a drag over the list; -1: none.
    void set_drop_row(int row);
    int drop_row() const { return drop_row_; }
    // The header that shows the sort image (0-based) and its direction.
    void set_sort_marker(int column, bool ascending);
    int sort_marker_column() const { return sort_column_; }
    bool sort_marker_ascending() const { return sort_ascending_; }

    static const QIcon& image(int which);
    int image_of(const FileRecord& r) const;
    // Record i's icon as a plain file: its type's from the shared MIME database by
    // name, else, for a regular file whose name says nothing, by its contents once
    // the sniffing thread has looked; the icon from the theme, cached per type, else
    // the program's own.
    QIcon file_icon(int i) const;
    // A plain file's icon by its name's type alone; null when the name says nothing.
    static QIcon icon_by_name(const QString& name);
    // The text of column `column` (0-based) of a record, as the row format gives it.
    QString cell_text(const FileRecord& r, int column) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    // The base class's asks rowCount and columnCount each time: the view asks for
    // every row's index whenever rows come or go, a million times over.
    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation o, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

private:
    DirListing* dir_;
    bool parent_row_ = false;
    int count_ = 0;  // the listing's count at the last rebuild
    int sort_column_ = 0;
    bool sort_ascending_ = true;
    std::function<bool(const FileRecord&)> cut_;
    int drop_row_ = -1;
    // Types found by content for the directory sniff_dir_ ("": asked, not yet in).
    mutable QHash<QByteArray, QString> sniffed_;
    mutable std::string sniff_dir_;
};
