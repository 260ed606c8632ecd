// The item model of Find Files' results: the file list's columns and its texts,
// then the folder each entry was found in. Batches from the search are added as
// they come; while sorted, each is merged in at its places. GUI thread only.
#pragma once
#include <QAbstractTableModel>
#include <string>
#include <vector>

#include "filelist/fl_model.h"
#include "find/find_walk.h"

inline constexpr int FIND_COL_FOLDER = FL_COLUMNS;
inline constexpr int FIND_COLUMNS = FL_COLUMNS + 1;

class FindModel : public QAbstractTableModel {
    Q_OBJECT
public:
    explicit FindModel(QObject* parent = nullptr);

    void clear();
    // Adds a batch: its new folders first, then its hits.
    void add(FindBatch& b);
    // Removes the rows (any order).
    void remove_rows(std::vector<int> rows);

    const FindHit& hit(int row) const { return rows_[std::size_t(row)]; }
    const std::string& folder_of(int row) const { return folders_[rows_[std::size_t(row)].folder]; }
    std::string path_of(int row) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation o, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    void sort(int column, Qt::SortOrder order) override;

private:
    bool less(const FindHit& a, const FindHit& b) const;
    QIcon icon_of(const FindHit& h) const;

    std::vector<FindHit> rows_;
    std::vector<std::string> folders_;
    int sort_column_ = -1;  // -1: in the order they were found
    bool ascending_ = true;
    FlModel texts_{nullptr};  // the file list's texts and images of a record
};
