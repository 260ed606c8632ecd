#include "shell/find_model.h"

#include <algorithm>

#include "dirmodel/dir_sort.h"
#include "dirmodel/es_path.h"
#include "dirmodel/fname.h"

namespace {
const DirCmpFn kCmp[FL_COLUMNS] = {dir_cmp_name,  dir_cmp_size,        dir_cmp_date, dir_cmp_user,
                                   dir_cmp_group, dir_cmp_permissions, dir_cmp_link};
}  // namespace

FindModel::FindModel(QObject* parent) : QAbstractTableModel(parent) {}

void FindModel::clear()
{
    beginResetModel();
    hits_.clear();
    order_.clear();
    folders_.clear();
    endResetModel();
}

std::string FindModel::path_of(int row) const
{
    return es_join(folder_of(row), hit(row).rec.name.view());
}

bool FindModel::less(const FindHit& a, const FindHit& b) const
{
    int c = 0;
    if (sort_column_ == FIND_COL_FOLDER)
        c = folders_[a.folder].compare(folders_[b.folder]);
    else if (sort_column_ >= 0)
        c = kCmp[sort_column_](&a.rec, &b.rec);
    if (c == 0)
        c = dir_cmp_name(&a.rec, &b.rec);
    return ascending_ ? c < 0 : c > 0;
}

void FindModel::move_persistent(const std::function<int(int)>& moved)
{
    const QModelIndexList from = persistentIndexList();
    QModelIndexList to;
    to.reserve(from.size());
    for (const QModelIndex& x : from)
        to.push_back(index(moved(x.row()), x.column()));
    changePersistentIndexList(from, to);
}

void FindModel::add(FindBatch& b)
{
    std::move(b.folders.begin(), b.folders.end(), std::back_inserter(folders_));
    b.folders.clear();
    if (b.hits.empty())
        return;
    struct Consumed {
        FindBatch& b;
        ~Consumed() { b.hits.clear(); }
    } consumed{b};
    const std::size_t n = hits_.size(), k = b.hits.size();
    if (sort_column_ < 0) {
        beginInsertRows({}, int(n), int(n + k - 1));
        std::move(b.hits.begin(), b.hits.end(), std::back_inserter(hits_));
        endInsertRows();
        return;
    }
    // Sorted: the batch's indices are sorted and each finds its place in the order
    // by a binary search from the previous one's, so a batch costs k log n
    // comparisons and one copy of the indices, not a pass over every row's text.
    std::move(b.hits.begin(), b.hits.end(), std::back_inserter(hits_));
    std::vector<uint32_t> fresh(k);
    for (std::size_t i = 0; i < k; ++i)
        fresh[i] = uint32_t(n + i);
    auto by = [this](uint32_t x, uint32_t y) { return less_at(x, y); };
    std::stable_sort(fresh.begin(), fresh.end(), by);
    std::vector<std::size_t> places(k);  // rows of order_ each goes before
    auto from = order_.begin();
    for (std::size_t i = 0; i < k; ++i) {
        from = std::upper_bound(from, order_.end(), fresh[i], by);
        places[i] = std::size_t(from - order_.begin());
    }
    emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    std::vector<uint32_t> merged;
    merged.reserve(order_.size() + k);
    std::size_t copied = 0;
    for (std::size_t i = 0; i < k; ++i) {
        merged.insert(merged.end(), order_.begin() + long(copied), order_.begin() + long(places[i]));
        copied = places[i];
        merged.push_back(fresh[i]);
    }
    merged.insert(merged.end(), order_.begin() + long(copied), order_.end());
    order_.swap(merged);
    move_persistent([&](int r) {
        return r + int(std::upper_bound(places.begin(), places.end(), std::size_t(r)) - places.begin());
    });
    emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
}

void FindModel::remove_rows(std::vector<int> rows)
{
    std::sort(rows.begin(), rows.end());
    rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
    std::vector<bool> dead(hits_.size());
    for (std::size_t end = rows.size(); end > 0;) {
        std::size_t begin = end - 1;
        while (begin > 0 && rows[begin - 1] == rows[begin] - 1)
            --begin;
        const int first = rows[begin], last = rows[end - 1];
        beginRemoveRows({}, first, last);
        if (sort_column_ < 0) {
            hits_.erase(hits_.begin() + first, hits_.begin() + last + 1);
        } else {
            for (int r = first; r <= last; ++r)
                dead[order_[std::size_t(r)]] = true;
            order_.erase(order_.begin() + first, order_.begin() + last + 1);
        }
        endRemoveRows();
        end = begin;
    }
    if (sort_column_ < 0)
        return;
    // The dead are no row any more: out of the deque, and the order renumbered.
    std::vector<uint32_t> renumbered(hits_.size());
    std::deque<FindHit> kept;
    for (std::size_t i = 0; i < hits_.size(); ++i)
        if (!dead[i]) {
            renumbered[i] = uint32_t(kept.size());
            kept.push_back(std::move(hits_[i]));
        }
    hits_.swap(kept);
    for (uint32_t& i : order_)
        i = renumbered[i];
}

void FindModel::sort(int column, Qt::SortOrder order)
{
    if (column < 0 || column >= FIND_COLUMNS)
        return;
    emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    std::vector<uint32_t> before;
    before.swap(order_);
    if (sort_column_ < 0) {
        before.resize(hits_.size());
        for (std::size_t i = 0; i < before.size(); ++i)
            before[i] = uint32_t(i);
    }
    sort_column_ = column;
    ascending_ = order == Qt::AscendingOrder;
    order_ = before;
    std::stable_sort(order_.begin(), order_.end(), [this](uint32_t a, uint32_t b) { return less_at(a, b); });
    std::vector<int> row_of(hits_.size());
    for (std::size_t r = 0; r < order_.size(); ++r)
        row_of[order_[r]] = int(r);
    move_persistent([&](int r) { return row_of[before[std::size_t(r)]]; });
    emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
}

QIcon FindModel::icon_of(const FindHit& h) const
{
    if (const int which = texts_.image_of(h.rec); which != FL_IMG_FILE)
        return FlModel::image(which);
    // Plain files by their type's icon from the name, as the list gives them.
    const QIcon icon = FlModel::icon_by_name(QString::fromUtf8(fname_decode(h.rec.name.c_str())));
    return icon.isNull() ? FlModel::image(FL_IMG_FILE) : icon;
}

int FindModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(hits_.size());
}

int FindModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : FIND_COLUMNS;
}

QVariant FindModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= int(hits_.size()))
        return {};
    const FindHit& h = hit(index.row());
    const int col = index.column();
    switch (role) {
    case Qt::DisplayRole:
        if (col == FIND_COL_FOLDER)
            return QString::fromUtf8(fname_decode(folders_[h.folder].c_str()));
        return texts_.cell_text(h.rec, col);
    case Qt::ToolTipRole:
        return col == 0 ? QString::fromUtf8(fname_decode(path_of(index.row()).c_str())) : QVariant();
    case Qt::DecorationRole:
        return col == 0 ? QVariant(icon_of(h)) : QVariant();
    case Qt::TextAlignmentRole:
        return col == 1 ? QVariant(Qt::AlignRight | Qt::AlignVCenter) : QVariant();
    default:
        return {};
    }
}

QVariant FindModel::headerData(int section, Qt::Orientation o, int role) const
{
    if (o != Qt::Horizontal || role != Qt::DisplayRole || section < 0 || section >= FIND_COLUMNS)
        return {};
    if (section == FIND_COL_FOLDER)
        return QStringLiteral("Folder");
    return texts_.headerData(section, o, role);
}

Qt::ItemFlags FindModel::flags(const QModelIndex& index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled | Qt::ItemNeverHasChildren;
}
