// The Find Files window: builds a FindQuery from its fields, runs a FindSearch and
// takes its batches on a timer, so the GUI thread only ever adds rows; the results'
// actions reuse the file list's opening, the clipboard, the engine and the shell's
// dialogs.
#include "shell/find_dlg.h"

#include <QAction>
#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QDateEdit>
#include <QDrag>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenu>
#include <QPushButton>
#include <QSpinBox>
#include <QTableView>
#include <QTimer>
#include <QVBoxLayout>
#include <cerrno>
#include <deque>
#include <cstring>
#include <map>
#include <memory>
#include <sys/stat.h>

#include "clipboard/clip.h"
#include "dirmodel/es_path.h"
#include "dirmodel/find_walk.h"
#include "dirmodel/fname.h"
#include "fileops/fop_gui.h"
#include "filelist/fl_find.h"
#include "filelist/fl_nav.h"
#include "filelist/fl_panel.h"
#include "filelist/fl_select.h"
#include "filelist/tb_path.h"
#include "shell/find_model.h"
#include "shell/kit/cl_history.h"
#include "shell/kit/globals.h"
#include "shell/kit/w_utils.h"

namespace {

FindShell sShell;
// Batches are taken this often: a million hits come in a few dozen model
// updates, and the first within a frame or three of Start.
constexpr int kTakeMs = 60;
// Rows go to the model a piece per tick, the rest waits for the next: appended
// rows cost the view a little each, sorted ones a few dozen comparisons to merge
// (each a likely cache miss among a million rows) and a new layout of the rows.
constexpr std::size_t kFeedAppend = 65536;
constexpr std::size_t kFeedSorted = 8192;

QString shown(const std::string& bytes)
{
    return QString::fromUtf8(fname_decode(bytes.c_str()));
}

// "10", "10K", "1.5M", "2G": bytes; -1 for an empty field, -2 for anything else.
int64_t parse_size(const QString& text)
{
    QString t = text.trimmed().toUpper();
    if (t.isEmpty())
        return -1;
    double unit = 1;
    if (t.endsWith(u'B'))
        t.chop(1);
    if (t.endsWith(u'K'))
        unit = 1024.0;
    else if (t.endsWith(u'M'))
        unit = 1024.0 * 1024;
    else if (t.endsWith(u'G'))
        unit = 1024.0 * 1024 * 1024;
    if (unit != 1)
        t.chop(1);
    bool ok = false;
    const double v = t.trimmed().toDouble(&ok);
    return ok && v >= 0 ? int64_t(v * unit) : -2;
}

class FindView : public QTableView {
public:
    using QTableView::QTableView;
    std::function<void()> on_return, on_drag;

protected:
    void keyPressEvent(QKeyEvent* e) override
    {
        if ((e->key() == Qt::Key_Return || e->key() == Qt::Key_Enter) && e->modifiers() == Qt::NoModifier) {
            on_return();
            return;
        }
        QTableView::keyPressEvent(e);
    }
    void startDrag(Qt::DropActions) override { on_drag(); }
};

class FindWindow : public QWidget {
public:
    explicit FindWindow(const std::string& dir);

protected:
    void closeEvent(QCloseEvent* e) override;
    void keyPressEvent(QKeyEvent* e) override;

private:
    void start();
    void stop();
    void take();
    void feed();
    void show_status();
    void ended();
    std::vector<int> chosen_rows() const;
    std::vector<FileTransf> chosen_groups() const;
    std::vector<std::string> chosen_paths(bool files_only) const;
    void open_chosen();
    void show_in_folder();
    void copy(bool cut);
    void copy_files() { copy(false); }
    void cut_files() { copy(true); }
    void trash();
    void open_with();
    void properties();
    void context_menu(const QPoint& at);
    void drag();
    QAction* action(const char* name, const QString& label, const QKeySequence& key, void (FindWindow::*fn)());

    QComboBox* look_in_;  // each item's data: the directory's own bytes
    QLineEdit* name_;
    QLineEdit* content_;
    QCheckBox* case_;
    QLineEdit* min_size_;
    QLineEdit* max_size_;
    QComboBox* date_;
    QSpinBox* days_;
    QDateEdit* from_;
    QDateEdit* to_;
    QComboBox* kind_;
    QCheckBox* dot_;
    QCheckBox* one_fs_;
    QCheckBox* follow_;
    QPushButton* start_;
    QPushButton* stop_;
    FindView* view_;
    FindModel* model_;
    QLabel* status_;
    QTimer timer_;
    std::unique_ptr<FindSearch> search_;
    FindBatch batch_;
    FindBatch piece_;
    std::deque<FindHit> pending_;  // taken, not yet rows (a deque: never moved whole)
    std::vector<FindTrouble> troubles_;
    bool stopped_ = false;
};

FindWindow::FindWindow(const std::string& dir) : QWidget(nullptr, Qt::Window)
{
    setObjectName(QStringLiteral("find_dlg"));
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QStringLiteral("Find Files"));
    auto* form = new QGridLayout;
    int row = 0;
    auto label = [&](const char* text, QWidget* buddy, int col = 0) {
        auto* l = new QLabel(QString::fromUtf8(text), this);
        l->setBuddy(buddy);
        form->addWidget(l, row, col);
        return l;
    };
    auto named = [](QWidget* w, const char* name) {
        w->setObjectName(QString::fromLatin1(name));
        return w;
    };

    look_in_ = new QComboBox(this);
    named(look_in_, "fd_look_in");
    look_in_->setEditable(true);
    look_in_->setInsertPolicy(QComboBox::NoInsert);
    look_in_->addItem(shown(dir), QByteArray::fromStdString(dir));
    for (int n = 1; const char* p = cl_get(gCboxes.path, n); ++n)
        if (p != dir)
            look_in_->addItem(shown(p), QByteArray(p));
    look_in_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    label("&Look in:", look_in_);
    form->addWidget(look_in_, row++, 1, 1, 3);

    name_ = new QLineEdit(QStringLiteral("*"), this);
    named(name_, "fd_name");
    name_->setToolTip(QStringLiteral("Shell wildcards; \"|\" between alternatives; a leading \"^\" for any case"));
    label("&Name:", name_);
    form->addWidget(name_, row++, 1, 1, 3);

    content_ = new QLineEdit(this);
    named(content_, "fd_content");
    case_ = new QCheckBox(QStringLiteral("Match c&ase"), this);
    named(case_, "fd_case");
    case_->setChecked(true);
    label("Con&taining:", content_);
    form->addWidget(content_, row, 1, 1, 2);
    form->addWidget(case_, row++, 3);

    min_size_ = new QLineEdit(this);
    max_size_ = new QLineEdit(this);
    named(min_size_, "fd_min_size");
    named(max_size_, "fd_max_size");
    for (QLineEdit* e : {min_size_, max_size_})
        e->setPlaceholderText(QStringLiteral("e.g. 10K, 5M"));
    label("Si&ze at least:", min_size_);
    form->addWidget(min_size_, row, 1);
    label("at &most:", max_size_, 2)->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    form->addWidget(max_size_, row++, 3);

    date_ = new QComboBox(this);
    named(date_, "fd_date");
    date_->addItems({QStringLiteral("Any time"), QStringLiteral("Within the last (days)"), QStringLiteral("Between")});
    days_ = new QSpinBox(this);
    named(days_, "fd_days");
    days_->setRange(1, 100000);
    days_->setValue(7);
    from_ = new QDateEdit(QDate::currentDate().addMonths(-1), this);
    to_ = new QDateEdit(QDate::currentDate(), this);
    named(from_, "fd_from");
    named(to_, "fd_to");
    for (QDateEdit* d : {from_, to_})
        d->setCalendarPopup(true);
    auto* dates = new QHBoxLayout;
    dates->addWidget(date_);
    dates->addWidget(days_);
    dates->addWidget(from_);
    dates->addWidget(new QLabel(QStringLiteral("and"), this));
    dates->addWidget(to_);
    dates->addStretch();
    label("Mo&dified:", date_);
    form->addLayout(dates, row++, 1, 1, 3);
    auto date_fields = [this] {
        days_->setEnabled(date_->currentIndex() == 1);
        from_->setEnabled(date_->currentIndex() == 2);
        to_->setEnabled(date_->currentIndex() == 2);
    };
    connect(date_, &QComboBox::currentIndexChanged, this, date_fields);
    date_fields();

    kind_ = new QComboBox(this);
    named(kind_, "fd_kind");
    kind_->addItems({QStringLiteral("Any"), QStringLiteral("Files"), QStringLiteral("Folders"), QStringLiteral("Links")});
    dot_ = new QCheckBox(QStringLiteral("Dot f&iles"), this);
    one_fs_ = new QCheckBox(QStringLiteral("Stay on one file s&ystem"), this);
    follow_ = new QCheckBox(QStringLiteral("Follo&w links"), this);
    named(dot_, "fd_dot");
    named(one_fs_, "fd_one_fs");
    named(follow_, "fd_follow");
    auto* opts = new QHBoxLayout;
    opts->addWidget(kind_);
    opts->addWidget(dot_);
    opts->addWidget(one_fs_);
    opts->addWidget(follow_);
    opts->addStretch();
    label("&Kind:", kind_);
    form->addLayout(opts, row++, 1, 1, 3);
    form->setColumnStretch(1, 1);
    form->setColumnStretch(3, 1);

    start_ = new QPushButton(QStringLiteral("&Start"), this);
    stop_ = new QPushButton(QStringLiteral("St&op"), this);
    auto* close = new QPushButton(QStringLiteral("&Close"), this);
    named(start_, "fd_start");
    named(stop_, "fd_stop");
    named(close, "fd_close");
    start_->setDefault(true);
    stop_->setEnabled(false);
    auto* buttons = new QVBoxLayout;
    buttons->addWidget(start_);
    buttons->addWidget(stop_);
    buttons->addWidget(close);
    buttons->addStretch();
    connect(start_, &QPushButton::clicked, this, [this] { start(); });
    connect(stop_, &QPushButton::clicked, this, [this] { stop(); });
    connect(close, &QPushButton::clicked, this, &QWidget::close);
    // Return in a field starts, as the default button of a dialog would.
    for (QLineEdit* e : {name_, content_, min_size_, max_size_, look_in_->lineEdit()})
        connect(e, &QLineEdit::returnPressed, this, [this] { start(); });

    model_ = new FindModel(this);
    view_ = new FindView(this);
    named(view_, "fd_results");
    view_->setModel(model_);
    view_->setSelectionBehavior(QAbstractItemView::SelectRows);
    view_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    view_->setShowGrid(false);
    view_->setWordWrap(false);
    // In the order found until a header is clicked: rows are appended, not merged.
    view_->horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder);
    view_->setSortingEnabled(true);
    view_->horizontalHeader()->setStretchLastSection(true);
    view_->verticalHeader()->hide();
    view_->verticalHeader()->setDefaultSectionSize(view_->fontMetrics().height() + 6);
    view_->setDragEnabled(true);
    view_->setDragDropMode(QAbstractItemView::DragOnly);
    view_->setContextMenuPolicy(Qt::CustomContextMenu);
    // The folder goes beside the name, where it is read with it.
    view_->horizontalHeader()->moveSection(FIND_COL_FOLDER, 1);
    const int widths[FIND_COLUMNS] = {200, 70, 180, 70, 70, 90, 120, 240};
    for (int c = 0; c < FIND_COLUMNS; ++c)
        view_->setColumnWidth(c, widths[c] * view_->fontMetrics().averageCharWidth() / 7);
    view_->on_return = [this] { open_chosen(); };
    view_->on_drag = [this] { drag(); };
    connect(view_, &QTableView::doubleClicked, this, [this] { open_chosen(); });
    connect(view_, &QWidget::customContextMenuRequested, this, [this](const QPoint& p) { context_menu(p); });
    action("fd_copy", QStringLiteral("&Copy"), QKeySequence::Copy, &FindWindow::copy_files);
    action("fd_cut", QStringLiteral("Cu&t"), QKeySequence::Cut, &FindWindow::cut_files);
    action("fd_delete", QStringLiteral("&Delete"), QKeySequence::Delete, &FindWindow::trash);
    action("fd_show", QStringLiteral("Open Containing &Folder"), QKeySequence(QStringLiteral("Ctrl+Return")),
           &FindWindow::show_in_folder);
    action("fd_properties", QStringLiteral("P&roperties"), QKeySequence(QStringLiteral("F9")), &FindWindow::properties);
    action("fd_open_with", QStringLiteral("Open &With..."), QKeySequence(QStringLiteral("Shift+Return")),
           &FindWindow::open_with);

    status_ = new QLabel(QStringLiteral("Ready"), this);
    named(status_, "fd_status");
    status_->setTextInteractionFlags(Qt::TextSelectableByMouse);

    auto* top = new QHBoxLayout;
    top->addLayout(form, 1);
    top->addLayout(buttons);
    auto* all = new QVBoxLayout(this);
    all->addLayout(top);
    auto* results = new QLabel(QStringLiteral("&Results:"), this);
    results->setBuddy(view_);
    all->addWidget(results);
    all->addWidget(view_, 1);
    all->addWidget(status_);
    resize(780, 520);

    timer_.setInterval(kTakeMs);
    connect(&timer_, &QTimer::timeout, this, [this] { take(); });
    name_->setFocus();
    name_->selectAll();
}

QAction* FindWindow::action(const char* name, const QString& label, const QKeySequence& key, void (FindWindow::*fn)())
{
    auto* a = new QAction(label, view_);
    a->setObjectName(QString::fromLatin1(name));
    a->setShortcut(key);
    a->setShortcutContext(Qt::WidgetShortcut);
    connect(a, &QAction::triggered, this, [this, fn] { (this->*fn)(); });
    view_->addAction(a);
    return a;
}

void FindWindow::start()
{
    const QString typed = look_in_->currentText();
    std::string root;
    // A path as shown keeps its own bytes, which the shown text may not give back.
    if (const int i = look_in_->findText(typed, Qt::MatchExactly); i >= 0)
        root = look_in_->itemData(i).toByteArray().toStdString();
    else if (const char* enc = fname_encode(typed.toUtf8().constData()))
        root = enc;
    if (root.empty() || root[0] != '/') {
        wreport(this, "Find Files", "Look in: '%s' is not a full path.", typed.toUtf8().constData());
        return;
    }
    FindQuery q;
    q.root = root;
    const char* pattern = fname_encode(name_->text().toUtf8().constData());
    q.name = pattern && *pattern ? pattern : "*";
    const QByteArray content = content_->text().toUtf8();
    q.content.assign(content.constData(), std::size_t(content.size()));
    q.content_icase = !case_->isChecked();
    q.min_size = parse_size(min_size_->text());
    q.max_size = parse_size(max_size_->text());
    if (q.min_size == -2 || q.max_size == -2) {
        wreport(this, "Find Files", "A size is a number of bytes, or a number followed by K, M or G.");
        return;
    }
    if (date_->currentIndex() == 1) {
        q.newer_than = QDateTime::currentSecsSinceEpoch() - int64_t(days_->value()) * 86400;
    } else if (date_->currentIndex() == 2) {
        q.newer_than = from_->date().startOfDay().toSecsSinceEpoch();
        q.older_than = to_->date().endOfDay().toSecsSinceEpoch();
    }
    static const unsigned kinds[] = {FIND_ANY, FIND_FILES, FIND_DIRS, FIND_LINKS};
    q.kinds = kinds[std::max(0, kind_->currentIndex())];
    q.dot_files = dot_->isChecked();
    q.one_fs = one_fs_->isChecked();
    q.follow_links = follow_->isChecked();

    stop();
    model_->clear();
    pending_.clear();
    troubles_.clear();
    stopped_ = false;
    search_ = std::make_unique<FindSearch>(std::move(q));
    if (search_->start() != 0) {
        const int err = errno;
        search_.reset();
        wreport(this, "Find Files", "Unable to search '%s'\n%s", fname_decode(root.c_str()), strerror(err));
        return;
    }
    start_->setEnabled(false);
    stop_->setEnabled(true);
    status_->setText(QStringLiteral("Searching..."));
    timer_.start();
}

void FindWindow::stop()
{
    if (!search_)
        return;
    search_->stop();
    stopped_ = true;
    take();
}

void FindWindow::take()
{
    if (search_) {
        search_->take(batch_);
        piece_.folders.swap(batch_.folders);
        model_->add(piece_);  // the folders alone: hits name them by index
        std::move(batch_.hits.begin(), batch_.hits.end(), std::back_inserter(pending_));
        batch_.hits.clear();
        troubles_.insert(troubles_.end(), batch_.troubles.begin(), batch_.troubles.end());
        if (batch_.done)
            ended();
    }
    feed();
    show_status();
    if (!search_ && pending_.empty())
        timer_.stop();
}

void FindWindow::feed()
{
    if (pending_.empty())
        return;
    const std::size_t n = std::min(pending_.size(), model_->sorted() ? kFeedSorted : kFeedAppend);
    piece_.hits.clear();
    std::move(pending_.begin(), pending_.begin() + long(n), std::back_inserter(piece_.hits));
    pending_.erase(pending_.begin(), pending_.begin() + long(n));
    model_->add(piece_);
}

void FindWindow::ended()
{
    start_->setEnabled(true);
    stop_->setEnabled(false);
    // The workers end on their own; one stuck in a call holds its share of the state.
    search_.reset();
}

void FindWindow::show_status()
{
    const bool running = search_ != nullptr;
    QString text = QStringLiteral("%1 %2 folders, %3 found")
                       .arg(running ? QStringLiteral("Searching:") : stopped_ ? QStringLiteral("Stopped:") : QStringLiteral("Done:"))
                       .arg(batch_.folders_searched)
                       .arg(batch_.matches);
    QString tip;
    if (!troubles_.empty()) {
        const FindTrouble& t = troubles_.front();
        const QString why = t.timeout ? QStringLiteral("did not answer in time")
                            : t.loop  ? QStringLiteral("is one of its own parents")
                                      : QString::fromLocal8Bit(strerror(t.err));
        text += QStringLiteral("; %1 not searched: %2 %3").arg(troubles_.size()).arg(shown(t.path), why);
        for (std::size_t i = 0; i < troubles_.size() && i < 40; ++i)
            tip += shown(troubles_[i].path) + u'\n';
    }
    status_->setText(text);
    status_->setToolTip(tip.trimmed());
}

void FindWindow::closeEvent(QCloseEvent* e)
{
    if (search_)
        search_->stop();
    search_.reset();
    timer_.stop();
    e->accept();
}

void FindWindow::keyPressEvent(QKeyEvent* e)
{
    if (e->key() == Qt::Key_Escape && e->modifiers() == Qt::NoModifier) {
        if (search_)
            stop();
        else
            close();
        return;
    }
    QWidget::keyPressEvent(e);
}

std::vector<int> FindWindow::chosen_rows() const
{
    std::vector<int> rows;
    for (const QModelIndex& i : view_->selectionModel()->selectedRows())
        rows.push_back(i.row());
    if (rows.empty() && view_->currentIndex().isValid())
        rows.push_back(view_->currentIndex().row());
    std::sort(rows.begin(), rows.end());
    return rows;
}

// The chosen results by folder, in the order of their first row.
std::vector<FileTransf> FindWindow::chosen_groups() const
{
    std::vector<FileTransf> groups;
    std::map<uint32_t, std::size_t> at;
    for (int r : chosen_rows()) {
        const FindHit& h = model_->hit(r);
        auto [it, fresh] = at.emplace(h.folder, groups.size());
        if (fresh)
            groups.push_back(FileTransf{0, model_->folder_of(r), {}});
        FileTransf& g = groups[it->second];
        g.names.emplace_back(h.rec.name.view());
        ++g.count;
    }
    return groups;
}

std::vector<std::string> FindWindow::chosen_paths(bool files_only) const
{
    std::vector<std::string> paths;
    for (int r : chosen_rows())
        if (!files_only || !S_ISDIR(model_->hit(r).rec.status.st_mode))
            paths.push_back(model_->path_of(r));
    return paths;
}

void FindWindow::open_chosen()
{
    // Files first: a folder is shown in the main window, which replaces what it showed.
    const std::vector<int> rows = chosen_rows();
    int dir = -1;
    for (int r : rows) {
        const FindHit& h = model_->hit(r);
        if (S_ISDIR(h.rec.status.st_mode))
            dir = r;
        else
            fl_open_path(model_->folder_of(r), h.rec.name.c_str(), h.rec.status.st_mode);
    }
    if (dir >= 0) {
        fl_open_path(model_->folder_of(dir), model_->hit(dir).rec.name.c_str(), model_->hit(dir).rec.status.st_mode);
        if (gBase) {
            gBase->raise();
            gBase->activateWindow();
        }
    }
}

void FindWindow::show_in_folder()
{
    const QModelIndex cur = view_->currentIndex();
    const std::vector<int> rows = chosen_rows();
    const int r = cur.isValid() && view_->selectionModel()->isRowSelected(cur.row()) ? cur.row() : rows.empty() ? -1 : rows[0];
    if (r >= 0)
        find_show_in_folder(model_->folder_of(r), std::string(model_->hit(r).rec.name.view()));
}

void FindWindow::copy(bool cut)
{
    std::vector<FileTransf> groups = chosen_groups();
    if (!groups.empty())
        clip_put(std::move(groups), cut);
}

void FindWindow::trash()
{
    std::vector<FileTransf> groups = chosen_groups();
    if (groups.empty())
        return;
    // One operation, so that one Undo brings them all back: names relative to the
    // folder the groups share.
    std::string common = groups[0].srcdir;
    for (const FileTransf& g : groups)
        while (common != "/" && !(g.srcdir == common || g.srcdir.starts_with(common == "/" ? common : common + "/")))
            common = es_dir_of(common);
    std::vector<std::string> names;
    for (const FileTransf& g : groups) {
        const std::string rel = g.srcdir == common ? "" : g.srcdir.substr(common == "/" ? 1 : common.size() + 1) + "/";
        for (const std::string& n : g.names)
            names.push_back(rel + n);
    }
    if (fop_start_cmd(FOP_TRASH, common, names, "") == 0)
        model_->remove_rows(chosen_rows());
}

void FindWindow::properties()
{
    std::vector<FileTransf> groups = chosen_groups();
    if (groups.empty() || !sShell.properties)
        return;
    if (groups.size() > 1)
        wreport(this, "Properties", "Properties show entries of one folder at a time: those of '%s'.",
                fname_decode(groups[0].srcdir.c_str()));
    sShell.properties(groups[0].srcdir, groups[0].names);
}

void FindWindow::open_with()
{
    const std::vector<std::string> paths = chosen_paths(true);
    if (!paths.empty() && sShell.open_with)
        sShell.open_with(paths);
}

void FindWindow::context_menu(const QPoint& at)
{
    if (!view_->indexAt(at).isValid() && chosen_rows().empty())
        return;
    QMenu menu(this);
    menu.setObjectName(QStringLiteral("fd_menu"));
    auto add = [&](const char* name) {
        if (QAction* a = view_->findChild<QAction*>(QString::fromLatin1(name)))
            menu.addAction(a);
    };
    QAction* open = menu.addAction(QStringLiteral("&Open"), this, [this] { open_chosen(); });
    open->setObjectName(QStringLiteral("fd_open"));
    const std::vector<std::string> files = chosen_paths(true);
    if (!files.empty() && sShell.add_apps) {
        QMenu* with = menu.addMenu(QStringLiteral("Open &With"));
        with->menuAction()->setObjectName(QStringLiteral("fd_open_with_menu"));
        sShell.add_apps(with, files);
        if (!with->isEmpty())
            with->addSeparator();
        with->addAction(view_->findChild<QAction*>(QStringLiteral("fd_open_with")));
    }
    add("fd_show");
    menu.addSeparator();
    add("fd_cut");
    add("fd_copy");
    add("fd_delete");
    menu.addSeparator();
    add("fd_properties");
    menu.exec(view_->viewport()->mapToGlobal(at));
}

void FindWindow::drag()
{
    std::vector<FileTransf> groups = chosen_groups();
    if (groups.empty())
        return;
    auto* drag = new QDrag(view_);
    drag->setMimeData(clip_mime(std::move(groups), false));
    drag->exec(Qt::CopyAction | Qt::MoveAction | Qt::LinkAction, Qt::CopyAction);
}

}  // namespace

void find_set_shell(FindShell shell)
{
    sShell = std::move(shell);
}

QWidget* find_open(const std::string& dir)
{
    auto* w = new FindWindow(dir);
    if (gBase)
        wcenter(gBase, w);
    w->show();
    w->raise();
    w->activateWindow();
    return w;
}

void find_show_in_folder(const std::string& dir, const std::string& name)
{
    if (fl_newpath(fl_list(), dir.c_str()) != 0)
        return;
    if (fl_goto(name.c_str(), 0, FIND_EXACT) < 0) {
        const std::string n = fname_decode(name.c_str());
        wreport(gBase, "Open Containing Folder", "'%s' is not shown in '%s' (the filter or hidden dot files).",
                n.c_str(), fname_decode(dir.c_str()));
    }
    if (gBase) {
        gBase->raise();
        gBase->activateWindow();
    }
}
