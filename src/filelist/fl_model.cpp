#include "filelist/fl_model.h"

#include "filelist/fl_panel.h"

#include <QApplication>
#include <QHash>
#include <QMimeDatabase>
#include <QPointer>
#include <QThreadPool>
#include <QPalette>
#include <array>
#include <cstdio>
#include <ctime>

#include "dirmodel/dir_sort.h"
#include "dirmodel/es_format.h"
#include "dirmodel/fname.h"

namespace {
const char* const kImageNames[FL_IMG_COUNT] = {
    "closed_folder", "file",   "exec",   "linked_folder", "linked_file",
    "linked_exec",   "parent", "image_broken_link", "image_file_cut", "image_dir_cut"};

const char* const kHeaderTexts[FL_COLUMNS] = {"Name",  "Size",        "Date", "Owner",
                                             "Group", "Permissions", "Link"};

QString decoded(const char* bytes)
{
    return QString::fromUtf8(fname_decode(bytes));
}
}  // namespace

FlModel::FlModel(DirListing* listing, QObject* parent) : QAbstractTableModel(parent), dir_(listing)
{
}

const QIcon& FlModel::image(int which)
{
    static std::array<QIcon, FL_IMG_COUNT> icons = [] {
        std::array<QIcon, FL_IMG_COUNT> a;
        for (int i = 0; i < FL_IMG_COUNT; ++i)
            a[i] = QIcon(QStringLiteral(":/images/%1.svg").arg(QLatin1String(kImageNames[i])));
        return a;
    }();
    return icons[which];
}

void FlModel::rebuild(bool parent_row)
{
    beginResetModel();
    parent_row_ = parent_row;
    count_ = dir_->count;
    const int off = parent_row_ ? 1 : 0;
    for (int i = 0; i < count_; ++i)
        (*dir_)[i].row = i + off;
    endResetModel();
}

void FlModel::apply_patch(const DirPatchResult& p)
{
    const int off = parent_row_ ? 1 : 0;
    // Removals last first, so that the earlier rows keep their numbers; then the
    // insertions first first, each landing where the patched listing has it.
    for (std::size_t end = p.removed.size(); end > 0;) {
        std::size_t begin = end - 1;
        while (begin > 0 && p.removed[begin - 1] == p.removed[begin] - 1)
            --begin;
        beginRemoveRows({}, p.removed[begin] + off, p.removed[end - 1] + off);
        count_ -= int(end - begin);
        endRemoveRows();
        end = begin;
    }
    for (std::size_t begin = 0; begin < p.inserted.size();) {
        std::size_t end = begin + 1;
        while (end < p.inserted.size() && p.inserted[end] == p.inserted[end - 1] + 1)
            ++end;
        beginInsertRows({}, p.inserted[begin] + off, p.inserted[end - 1] + off);
        count_ += int(end - begin);
        endInsertRows();
        begin = end;
    }
    for (int i : p.updated)
        emit dataChanged(index(i + off, 0), index(i + off, FL_COLUMNS - 1));
}

int FlModel::row_of(int index) const
{
    if (index == -1)
        return parent_row_ ? 0 : -1;
    if (index < 0 || index >= count_)
        return -1;
    return index + (parent_row_ ? 1 : 0);
}

int FlModel::index_of(int row) const
{
    const int off = parent_row_ ? 1 : 0;
    if (row < 0 || row >= count_ + off)
        return -2;
    return row - off;
}

void FlModel::set_drop_row(int row)
{
    if (row == drop_row_)
        return;
    const int old = drop_row_;
    drop_row_ = row;
    for (int r : {old, row})
        if (r >= 0 && r < rowCount())
            emit dataChanged(index(r, 0), index(r, FL_COLUMNS - 1), {Qt::BackgroundRole});
}

void FlModel::set_sort_marker(int column, bool ascending)
{
    sort_column_ = column;
    sort_ascending_ = ascending;
    emit headerDataChanged(Qt::Horizontal, 0, FL_COLUMNS - 1);
}

namespace {
const QMimeDatabase& mime_db()
{
    static const QMimeDatabase db;
    return db;
}

QIcon icon_of_type(const QMimeType& type)
{
    static QHash<QString, QIcon> cache;
    if (!type.isValid() || type.isDefault())
        return FlModel::image(FL_IMG_FILE);
    auto it = cache.constFind(type.name());
    if (it == cache.constEnd())
        it = cache.insert(type.name(),
                          QIcon::fromTheme(type.iconName(), QIcon::fromTheme(type.genericIconName(), FlModel::image(FL_IMG_FILE))));
    return *it;
}

// One thread for looking into files: one that hangs on a dead mount holds the
// looks behind it, never the window.
QThreadPool& sniffers()
{
    static QThreadPool* pool = [] {
        auto* p = new QThreadPool;
        p->setMaxThreadCount(1);
        return p;
    }();
    return *pool;
}
}  // namespace

QIcon FlModel::icon_by_name(const QString& name)
{
    // The database's answer costs 80-90 us a name (it tries every glob), and the
    // rows in sight are drawn again and again while a read fills them: the answers
    // for the last names asked are kept. GUI thread only.
    static QHash<QString, QIcon> known;
    if (auto it = known.constFind(name); it != known.constEnd())
        return *it;
    if (known.size() >= 4096)
        known.clear();
    const QMimeType by_name = mime_db().mimeTypeForFile(name, QMimeDatabase::MatchExtension);
    const QIcon icon = by_name.isValid() && !by_name.isDefault() ? icon_of_type(by_name) : QIcon();
    known.insert(name, icon);
    return icon;
}

QIcon FlModel::file_icon(int i) const
{
    const FileRecord& r = (*dir_)[i];
    const QString name = decoded(r.name.c_str());
    if (QIcon icon = icon_by_name(name); !icon.isNull())
        return icon;
    // A name that says nothing: a regular file with something in it is looked into
    // on the sniffing thread, and its row shown again when the answer comes.
    if (!S_ISREG(r.status.st_mode) || r.status.st_size == 0 || (r.flags & DIR_F_UNREADABLE))
        return image(FL_IMG_FILE);
    if (sniff_dir_ != dir_->path) {
        sniffed_.clear();
        sniff_dir_ = dir_->path;
    }
    const QByteArray key(r.name.data(), qsizetype(r.name.size()));
    if (auto it = sniffed_.constFind(key); it != sniffed_.constEnd())
        return it->isEmpty() ? image(FL_IMG_FILE) : icon_of_type(mime_db().mimeTypeForName(*it));
    sniffed_.insert(key, QString());  // asked once
    const QString path = QString::fromStdString(dir_->path + "/" + std::string(r.name.view()));
    QPointer<FlModel> self(const_cast<FlModel*>(this));
    const std::string dir = dir_->path;
    sniffers().start([self, path, key, dir, i] {
        const QString type = mime_db().mimeTypeForFile(path, QMimeDatabase::MatchContent).name();
        QMetaObject::invokeMethod(qApp, [self, key, dir, type, i] {
            if (!self || self->sniff_dir_ != dir || !self->sniffed_.contains(key))
                return;
            self->sniffed_.insert(key, type);
            const int row = self->row_of(i);
            if (row >= 0 && (*self->dir_)[i].name.view() == std::string_view(key.constData(), std::size_t(key.size())))
                emit self->dataChanged(self->index(row, 0), self->index(row, 0), {Qt::DecorationRole});
        }, Qt::QueuedConnection);
    });
    return image(FL_IMG_FILE);
}

int FlModel::image_of(const FileRecord& r) const
{
    const bool dir = S_ISDIR(r.status.st_mode);
    if (cut_ && cut_(r))
        return dir ? FL_IMG_DIR_CUT : FL_IMG_FILE_CUT;
    const bool exec = (r.status.st_mode & 0100) != 0;
    if (r.flags & DIR_F_LINK) {
        if (r.flags & DIR_F_UNREADABLE)
            return FL_IMG_BROKEN_LINK;
        if (dir)
            return FL_IMG_LINKED_FOLDER;
        return exec ? FL_IMG_LINKED_EXEC : FL_IMG_LINKED_FILE;
    }
    if (dir)
        return FL_IMG_FOLDER;
    return exec ? FL_IMG_EXEC : FL_IMG_FILE;
}

QString FlModel::cell_text(const FileRecord& r, int column) const
{
    char buf[128];
    if (column != 0 && (r.flags & DIR_F_PENDING))
        return {};  // its status is on the way
    switch (column) {
    case 0:
        return decoded(r.name.c_str());
    case 1:
        return QString::fromLatin1(cvt2c(static_cast<uint64_t>(r.status.st_size)));
    case 2: {
        es_generate_time_string(buf, r.status.st_mtim.tv_sec, 2);
        return QString::fromUtf8(buf);
    }
    case 3:
        dir_get_username(r.status.st_uid, buf);
        return QString::fromUtf8(buf);
    case 4:
        dir_get_groupname(r.status.st_gid, buf);
        return QString::fromUtf8(buf);
    case 5: {
        char t[3][4] = {};
        for (int w = 0; w < 3; ++w)
            dir_get_permissions(r.status.st_mode, t[w], w + 1);
        std::snprintf(buf, sizeof buf, "%3.3s %3.3s %3.3s", t[0], t[1], t[2]);
        return QString::fromLatin1(buf);
    }
    case 6:
        return (r.flags & DIR_F_LINK) ? decoded(r.link_text()) : QString();
    default:
        return {};
    }
}

int FlModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : count_ + (parent_row_ ? 1 : 0);
}

QModelIndex FlModel::index(int row, int column, const QModelIndex& parent) const
{
    if (parent.isValid() || row < 0 || column < 0 || column >= FL_COLUMNS || row >= count_ + (parent_row_ ? 1 : 0))
        return {};
    return createIndex(row, column);
}

int FlModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : FL_COLUMNS;
}

QVariant FlModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid())
        return {};
    const int i = index_of(index.row());
    if (i == -2 || i >= dir_->count)
        return {};
    const int col = index.column();
    switch (role) {
    case Qt::DisplayRole:
        if (i == -1)
            return col == 0 ? QVariant(QStringLiteral("..")) : QVariant();
        return cell_text((*dir_)[i], col);
    case Qt::DecorationRole:
        if (col != 0)
            return {};
        if (i == -1)
            return image(FL_IMG_PARENT);
        if (const int which = image_of((*dir_)[i]); which != FL_IMG_FILE)
            return image(which);  // folders, links, executables and cut marks keep their own
        return file_icon(i);
    case Qt::BackgroundRole:
        if (index.row() == drop_row_)
            return QApplication::palette().highlight().color().lighter(160);
        return {};
    case Qt::TextAlignmentRole:
        if (col == 1)
            return QVariant(Qt::AlignRight | Qt::AlignVCenter);
        return {};
    case FlIndexRole:
        return i;
    case FlImageRole:
        return i == -1 ? int(FL_IMG_PARENT) : image_of((*dir_)[i]);
    default:
        return {};
    }
}

QVariant FlModel::headerData(int section, Qt::Orientation o, int role) const
{
    if (o != Qt::Horizontal || section < 0 || section >= FL_COLUMNS)
        return {};
    if (role == Qt::DisplayRole)
        return QString::fromLatin1(kHeaderTexts[section]);
    // A header section is no widget: its name (fh_filename ...) is what the
    // accessibility tree reports for it.
    if (role == Qt::AccessibleTextRole)
        return QString::fromLatin1(kFlHeaderNames[section]);
    if (role == Qt::DecorationRole && section == sort_column_) {
        static const QIcon up(QStringLiteral(":/images/image_sort_up.svg"));
        static const QIcon down(QStringLiteral(":/images/image_sort_down.svg"));
        return sort_ascending_ ? up : down;
    }
    if (role == FlImageRole && section == sort_column_)
        return QString::fromLatin1(sort_ascending_ ? "image_sort_up" : "image_sort_down");
    if (role == Qt::TextAlignmentRole && section == 1)
        return QVariant(Qt::AlignRight | Qt::AlignVCenter);
    return {};
}

Qt::ItemFlags FlModel::flags(const QModelIndex& index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
}
