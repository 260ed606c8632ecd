// The item model of Find Files' results: the file list's columns and its texts,
// then the folder each entry was found in. Batches from the search are appended as
// they come (a deque: a million rows are never moved to make room); while sorted,
// rows are shown through an order of their indices, into which each batch is
// merged. GUI thread only.
#pragma once
#include <QAbstractTableModel>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "filelist/fl_model.h"
#include "dirmodel/find_walk.h"

inline constexpr int FIND_COL_FOLDER = FL_COLUMNS;
inline constexpr int FIND_COLUMNS = FL_COLUMNS + 1;

class FindModel : public QAbstractTableModel {
    Q_OBJECT
public:
    explicit FindModel(QObject* parent = nullptr);

    void clear();
    // Adds a batch: its new folders first, then its hits; both are taken out of it.
    void add(FindBatch& b);
    // Removes the rows (any order).
    void remove_rows(std::vector<int> rows);

    bool sorted() const { return sort_column_ >= 0; }
    const FindHit& hit(int row) const { return hits_[at(row)]; }
    const std::string& folder_of(int row) const { return folders_[hit(row).folder]; }
    std::string path_of(int row) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation o, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    void sort(int column, Qt::SortOrder order) override;

private:
    bool less(const FindHit& a, const FindHit& b) const;
    bool less_at(uint32_t a, uint32_t b) const { return less(hits_[a], hits_[b]); }
    std::size_t at(int row) const { return sort_column_ < 0 ? std::size_t(row) : order_[std::size_t(row)]; }
    // The persistent indices (current row, selection) of old row r move to moved(r).
    void move_persistent(const std::function<int(int)>& moved);
    QIcon icon_of(const FindHit& h) const;

    std::deque<FindHit> hits_;     // in the order they were found
    std::vector<uint32_t> order_;  // while sorted: hits_'s indices in row order
    std::vector<std::string> folders_;
    int sort_column_ = -1;  // -1: in the order they were found
    bool ascending_ = true;
    FlModel texts_{nullptr};  // the file list's texts and images of a record
};
