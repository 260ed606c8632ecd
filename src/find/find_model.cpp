#include "find/find_model.h"

#include <QHash>
#include <QMimeDatabase>
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
    rows_.clear();
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

void FindModel::add(FindBatch& b)
{
    std::move(b.folders.begin(), b.folders.end(), std::back_inserter(folders_));
    if (b.hits.empty())
        return;
    const int n = int(rows_.size()), k = int(b.hits.size());
    if (sort_column_ < 0) {
        beginInsertRows({}, n, n + k - 1);
        std::move(b.hits.begin(), b.hits.end(), std::back_inserter(rows_));
        endInsertRows();
        return;
    }
    // Sorted: the batch is merged in, and the rows the view holds on to (current,
    // selection) are told where theirs went.
    auto by = [this](const FindHit& x, const FindHit& y) { return less(x, y); };
    std::stable_sort(b.hits.begin(), b.hits.end(), by);
    emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    std::vector<FindHit> merged;
    merged.reserve(std::size_t(n + k));
    std::vector<int> moved(static_cast<std::size_t>(n));
    std::size_t i = 0, j = 0;
    while (i < rows_.size() || j < b.hits.size()) {
        if (j == b.hits.size() || (i < rows_.size() && !by(b.hits[j], rows_[i]))) {
            moved[i] = int(merged.size());
            merged.push_back(std::move(rows_[i++]));
        } else {
            merged.push_back(std::move(b.hits[j++]));
        }
    }
    rows_.swap(merged);
    const QModelIndexList from = persistentIndexList();
    QModelIndexList to;
    to.reserve(from.size());
    for (const QModelIndex& x : from)
        to.push_back(index(moved[std::size_t(x.row())], x.column()));
    changePersistentIndexList(from, to);
    emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
}

void FindModel::remove_rows(std::vector<int> rows)
{
    std::sort(rows.begin(), rows.end());
    rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
    for (std::size_t end = rows.size(); end > 0;) {
        std::size_t begin = end - 1;
        while (begin > 0 && rows[begin - 1] == rows[begin] - 1)
            --begin;
        beginRemoveRows({}, rows[begin], rows[end - 1]);
        rows_.erase(rows_.begin() + rows[begin], rows_.begin() + rows[end - 1] + 1);
        endRemoveRows();
        end = begin;
    }
}

void FindModel::sort(int column, Qt::SortOrder order)
{
    if (column < 0 || column >= FIND_COLUMNS)
        return;
    sort_column_ = column;
    ascending_ = order == Qt::AscendingOrder;
    emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    std::vector<int> perm(rows_.size());
    for (std::size_t i = 0; i < perm.size(); ++i)
        perm[i] = int(i);
    std::stable_sort(perm.begin(), perm.end(), [this](int a, int b) { return less(rows_[std::size_t(a)], rows_[std::size_t(b)]); });
    std::vector<FindHit> sorted;
    sorted.reserve(rows_.size());
    std::vector<int> moved(rows_.size());
    for (std::size_t i = 0; i < perm.size(); ++i) {
        moved[std::size_t(perm[i])] = int(i);
        sorted.push_back(std::move(rows_[std::size_t(perm[i])]));
    }
    rows_.swap(sorted);
    const QModelIndexList from = persistentIndexList();
    QModelIndexList to;
    to.reserve(from.size());
    for (const QModelIndex& x : from)
        to.push_back(index(moved[std::size_t(x.row())], x.column()));
    changePersistentIndexList(from, to);
    emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
}

QIcon FindModel::icon_of(const FindHit& h) const
{
    if (const int which = texts_.image_of(h.rec); which != FL_IMG_FILE)
        return FlModel::image(which);
    // Plain files by their type's icon from the name, as the list gives them.
    static const QMimeDatabase db;
    static QHash<QString, QIcon> cache;
    const QMimeType type =
        db.mimeTypeForFile(QString::fromUtf8(fname_decode(h.rec.name.c_str())), QMimeDatabase::MatchExtension);
    if (!type.isValid() || type.isDefault())
        return FlModel::image(FL_IMG_FILE);
    auto it = cache.constFind(type.name());
    if (it == cache.constEnd())
        it = cache.insert(type.name(), QIcon::fromTheme(type.iconName(),
                                                        QIcon::fromTheme(type.genericIconName(), FlModel::image(FL_IMG_FILE))));
    return *it;
}

int FindModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(rows_.size());
}

int FindModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : FIND_COLUMNS;
}

QVariant FindModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= int(rows_.size()))
        return {};
    const FindHit& h = rows_[std::size_t(index.row())];
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
