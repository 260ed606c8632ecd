#include "shell/trash_dlg.h"

#include <QCoreApplication>
#include <QDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMainWindow>
#include <QPointer>
#include <QPushButton>
#include <QShortcut>
#include <QSocketNotifier>
#include <QTimer>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <functional>
#include <memory>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "dirmodel/dir_watch.h"
#include "dirmodel/es_path.h"
#include "dirmodel/fname.h"
#include "fileops/fop.h"
#include "fileops/fop_gui.h"
#include "fileops/slot_window.h"
#include "fileops/trash.h"
#include "shell/kit/globals.h"
#include "shell/kit/w_msg.h"
#include "shell/kit/w_utils.h"

namespace {
enum Column { kName, kOriginal, kDeleted };

QString shown(const std::string& bytes)
{
    return QString::fromUtf8(fname_decode(bytes.c_str()));
}

class TrashView : public QDialog {
public:
    explicit TrashView(QWidget* parent);
    void reread();

private:
    // The answers of a reading: the home Trash with the mount table, then the
    // Trashes at each top. Answers of an older reading are dropped.
    void home_read(int reading, std::vector<TrashEntry> entries, const std::vector<std::string>& tops);
    void top_read(int reading, std::vector<TrashEntry> entries);
    void finish(bool incomplete);
    void show_entries(std::vector<TrashEntry> entries);
    void update_buttons();
    // A restore (FOP_RESTORE) or a delete for good (FOP_DELETE) of these rows: one
    // operation per Trash directory.
    void start_per_trash(const QList<QTreeWidgetItem*>& rows, int kind);
    void restore();
    void empty();
    // Something came to or left a Trash being shown: read again shortly after.
    void trash_changed();

    QTreeWidget* list_;
    QLabel* status_;
    QPushButton* restore_;
    QPushButton* empty_;
    std::vector<TrashEntry> entries_;  // the rows point into it by index
    bool reading_ = false;
    bool again_ = false;  // a reading was asked for while one was under way
    int reading_no_ = 0;
    int tops_waited_ = 0;
    bool tops_skipped_ = false;  // an earlier look at one of them is still out
    std::vector<TrashEntry> incoming_;
    // What this view started and is still under way ("Restoring…"): an empty
    // list is not an empty Trash while a restore waits on its question.
    QString working_;
    // The Trashes shown, watched while the view is open (added on the threads
    // that look at them: a top may be a dead mount).
    std::shared_ptr<DirWatchSet> watch_ = std::make_shared<DirWatchSet>(32);
    QTimer* later_;
};

QPointer<TrashView> sView;
// Tops whose look has not come back, for every reading of the process: a dead
// mount holds one thread, not one per reading. GUI thread only.
std::set<std::string> sTopsOut;
constexpr int kTopsTimeoutMs = 10000;

// Runs fn on the GUI thread later, from a worker.
void post(std::function<void()> fn)
{
    if (QCoreApplication* app = QCoreApplication::instance())
        QMetaObject::invokeMethod(app, std::move(fn), Qt::QueuedConnection);
}

TrashView::TrashView(QWidget* parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("trash_dlg"));
    setWindowTitle(QStringLiteral("Trash"));
    list_ = new QTreeWidget(this);
    list_->setObjectName(QStringLiteral("trash_list"));
    list_->setHeaderLabels({QStringLiteral("Name"), QStringLiteral("Original Location"), QStringLiteral("Deleted")});
    list_->setRootIsDecorated(false);
    list_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    list_->setSortingEnabled(true);
    list_->sortByColumn(kDeleted, Qt::DescendingOrder);
    // Where an item came from is what tells two of the same name apart: it gets the room.
    QHeaderView* header = list_->header();
    header->setStretchLastSection(false);
    header->setSectionResizeMode(kOriginal, QHeaderView::Stretch);
    header->setSectionResizeMode(kDeleted, QHeaderView::ResizeToContents);
    status_ = new QLabel(this);
    status_->setObjectName(QStringLiteral("trash_status"));
    restore_ = new QPushButton(QStringLiteral("&Restore"), this);
    restore_->setObjectName(QStringLiteral("trash_restore"));
    restore_->setDefault(true);
    empty_ = new QPushButton(QStringLiteral("&Empty Trash"), this);
    empty_->setObjectName(QStringLiteral("trash_empty"));
    empty_->setAutoDefault(false);
    auto* close = new QPushButton(QStringLiteral("&Close"), this);
    close->setObjectName(QStringLiteral("trash_close"));
    close->setAutoDefault(false);

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(restore_);
    buttons->addWidget(empty_);
    buttons->addStretch(1);
    buttons->addWidget(close);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(list_);
    layout->addWidget(status_);
    layout->addLayout(buttons);
    resize(680, 400);

    connect(list_, &QTreeWidget::itemSelectionChanged, this, [this] { update_buttons(); });
    connect(restore_, &QPushButton::clicked, this, [this] { restore(); });
    connect(empty_, &QPushButton::clicked, this, [this] { empty(); });
    connect(close, &QPushButton::clicked, this, &QDialog::reject);
    auto* f5 = new QShortcut(QKeySequence(Qt::Key_F5), this);
    connect(f5, &QShortcut::activated, this, [this] { reread(); });
    later_ = new QTimer(this);
    later_->setSingleShot(true);
    connect(later_, &QTimer::timeout, this, [this] { reread(); });
    if (watch_->fd() >= 0) {
        auto* notifier = new QSocketNotifier(watch_->fd(), QSocketNotifier::Read, this);
        connect(notifier, &QSocketNotifier::activated, this, [this] { trash_changed(); });
    }
    update_buttons();
}

void TrashView::trash_changed()
{
    if (!watch_->read().empty() && isVisible() && !later_->isActive())
        later_->start(150);
}

void TrashView::reread()
{
    if (reading_) {
        again_ = true;
        return;
    }
    reading_ = true;
    const int reading = ++reading_no_;
    status_->setText(QStringLiteral("Reading…"));
    QPointer<TrashView> self(this);
    std::thread([self, reading, watch = watch_] {
        const std::string home_dir = trash_home();
        for (const char* sub : {"", "/info"})
            watch->add(home_dir + sub);
        std::vector<TrashEntry> home = trash_list(home_dir);
        std::vector<std::string> tops = trash_mount_tops();
        post([self, reading, home = std::move(home), tops = std::move(tops)]() mutable {
            if (self)
                self->home_read(reading, std::move(home), tops);
        });
    }).detach();
}

// The home Trash is shown at once; each top is looked at on a thread of its own,
// since any of them may be a dead mount.
void TrashView::home_read(int reading, std::vector<TrashEntry> entries, const std::vector<std::string>& tops)
{
    if (reading != reading_no_)
        return;
    incoming_ = std::move(entries);
    show_entries(incoming_);
    const std::string home = trash_home();
    tops_waited_ = 0;
    tops_skipped_ = false;
    QPointer<TrashView> self(this);
    for (const std::string& top : tops) {
        if (!sTopsOut.insert(top).second) {
            tops_skipped_ = true;
            continue;
        }
        ++tops_waited_;
        std::thread([self, reading, top, home, watch = watch_] {
            std::vector<TrashEntry> found;
            for (const std::string& dir : trash_dirs_at(top)) {
                if (dir == home)
                    continue;
                watch->add(dir + "/info");
                for (TrashEntry& e : trash_list(dir))
                    found.push_back(std::move(e));
            }
            post([self, reading, top, found = std::move(found)]() mutable {
                sTopsOut.erase(top);
                if (self)
                    self->top_read(reading, std::move(found));
            });
        }).detach();
    }
    if (tops_waited_ == 0)
        finish(tops_skipped_);
    else
        QTimer::singleShot(kTopsTimeoutMs, this, [this, reading] {
            if (reading == reading_no_ && reading_)
                finish(true);
        });
}

void TrashView::top_read(int reading, std::vector<TrashEntry> entries)
{
    if (reading != reading_no_ || !reading_)
        return;
    for (TrashEntry& e : entries)
        incoming_.push_back(std::move(e));
    if (--tops_waited_ == 0)
        finish(tops_skipped_);
}

void TrashView::finish(bool incomplete)
{
    reading_ = false;
    show_entries(incoming_);
    if (incomplete)
        status_->setText(status_->text() + QStringLiteral(" (some file systems did not answer)"));
    if (again_) {
        again_ = false;
        reread();
    }
}

void TrashView::show_entries(std::vector<TrashEntry> entries)
{
    entries_ = std::move(entries);
    list_->setSortingEnabled(false);
    list_->clear();
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        const std::string& original = entries_[i].original;
        QString deleted = QString::fromStdString(entries_[i].deleted);
        deleted.replace(u'T', u' ');
        auto* row = new QTreeWidgetItem(list_, {shown(es_name_of(original)), shown(es_dir_of(original)), deleted});
        row->setData(kName, Qt::UserRole, qulonglong(i));
        row->setToolTip(kOriginal, shown(original));
        // Listed, so the user sees it, but marked: Restore refuses it.
        if (!entries_[i].refused.empty()) {
            const QString why = QString::fromStdString(entries_[i].refused);
            for (int c = kName; c <= kDeleted; ++c) {
                row->setForeground(c, list_->palette().brush(QPalette::Disabled, QPalette::Text));
                row->setToolTip(c, why);
            }
            row->setText(kOriginal, shown(es_dir_of(original)) + QStringLiteral("  (cannot be restored)"));
        }
    }
    list_->setSortingEnabled(true);
    list_->resizeColumnToContents(kName);
    // Ready for Restore at once: the newest item, as the list is sorted.
    if (list_->topLevelItemCount() > 0 && list_->selectedItems().isEmpty())
        list_->setCurrentItem(list_->topLevelItem(0));
    update_buttons();
}

void TrashView::update_buttons()
{
    restore_->setEnabled(!list_->selectedItems().isEmpty());
    const int n = list_->topLevelItemCount();
    empty_->setEnabled(n > 0);
    if (!working_.isEmpty() && slot_running() == 0)
        working_.clear();
    if (!working_.isEmpty())
        status_->setText(working_);
    else if (!reading_)
        status_->setText(n == 0 ? QStringLiteral("The Trash is empty.")
                                : n == 1 ? QStringLiteral("1 item") : QStringLiteral("%1 items").arg(n));
}

void TrashView::start_per_trash(const QList<QTreeWidgetItem*>& rows, int kind)
{
    std::map<std::string, std::vector<TrashEntry>> by_dir;
    for (const QTreeWidgetItem* row : rows) {
        const std::size_t i = row->data(kName, Qt::UserRole).toULongLong();
        if (i < entries_.size())
            by_dir[entries_[i].trash_dir].push_back(entries_[i]);
    }
    for (auto& [dir, entries] : by_dir) {
        std::vector<std::string> names;
        for (const TrashEntry& e : entries)
            names.push_back(e.name);
        auto r = fop_make(kind, dir + "/files", names, "", kind == FOP_DELETE ? FOPF_DELETE_ALL : 0);
        if (!r)
            continue;
        if (kind == FOP_RESTORE)
            r->restore = std::move(entries);
        else
            r->trash_dir = dir;  // the info files go with their items
        fop_start_request(std::move(r));
    }
}

// The rows an operation took leave the view at once, so a second click cannot
// ask for them again; the reading after the operation shows what is really left.
// A reading under way is from before, so another one follows it.
void TrashView::restore()
{
    const QList<QTreeWidgetItem*> rows = list_->selectedItems();
    again_ = reading_;
    start_per_trash(rows, FOP_RESTORE);
    if (!rows.isEmpty())
        working_ = QStringLiteral("Restoring…");
    qDeleteAll(rows);
    update_buttons();
}

void TrashView::empty()
{
    QList<QTreeWidgetItem*> rows;
    for (int i = 0; i < list_->topLevelItemCount(); ++i)
        rows << list_->topLevelItem(i);
    if (rows.isEmpty())
        return;
    const QString text = QStringLiteral("Delete the %1 items in the Trash for good?\n").arg(rows.size());
    if (w_message(w_make_message(this, QStringLiteral("Empty Trash"), text, "&Empty Trash|#&Cancel")) != 1)
        return;
    again_ = reading_;
    start_per_trash(rows, FOP_DELETE);
    working_ = QStringLiteral("Emptying the Trash…");
    list_->clear();
    update_buttons();
}
}  // namespace

int trash_dlg_open()
{
    if (!sView) {
        sView = new TrashView(gBase);
        wcenter(gBase, sView);
    }
    sView->show();
    sView->raise();
    sView->activateWindow();
    sView->reread();
    return 0;
}

void trash_dlg_refresh()
{
    if (sView && sView->isVisible())
        sView->reread();
}

QDialog* trash_dlg()
{
    return sView;
}
