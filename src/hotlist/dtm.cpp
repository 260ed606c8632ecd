#include "hotlist/dtm.h"

#include <QAbstractListModel>
#include <QApplication>
#include <QKeyEvent>
#include <QListView>
#include <QMainWindow>
#include <QMenu>
#include <QPainter>
#include <QPointer>
#include <QScreen>
#include <QScrollBar>
#include <QStyledItemDelegate>
#include <QTimer>
#include <QWidgetAction>
#include <algorithm>
#include <fcntl.h>

#include "dirmodel/es_path.h"
#include "dirmodel/fname.h"
#include "hotlist/dtm_scan.h"
#include "shell/kit/globals.h"
#include "shell/kit/w_msg.h"

namespace {
enum RowState : char { kUnchecked = 0, kPlain = 1, kCascading = 2 };
constexpr int kStateRole = Qt::UserRole;
constexpr int kMaxRows = 32;
// As long as the directory reader waits for a status call.
constexpr int kCheckTimeoutMs = 10000;

// Runs fn on the GUI thread if receiver still exists then. Callable from any thread.
void post_to(const QPointer<QObject>& receiver, std::function<void()> fn)
{
    QMetaObject::invokeMethod(qApp, [receiver, fn = std::move(fn)] {
        if (receiver)
            fn();
    }, Qt::QueuedConnection);
}

QString label_of(const std::string& name)
{
    QString s = QString::fromUtf8(fname_decode(name.c_str()));
    if (!s.endsWith('/'))
        s += '/';
    return s;
}

// The subdirectories of one directory. Labels are made when a row is drawn, so a
// directory of tens of thousands costs the GUI only the rows on screen.
class DirRows : public QAbstractListModel {
public:
    DtmScan::Names names;  // read by the scanning thread too, never changed
    std::vector<char> state;

    const std::string& name(int row) const { return (*names)[std::size_t(row)]; }
    int rowCount(const QModelIndex& parent) const override
    {
        return parent.isValid() ? 0 : int(names->size());
    }
    QVariant data(const QModelIndex& i, int role) const override
    {
        const std::size_t r = std::size_t(i.row());
        if (role == Qt::DisplayRole)
            return label_of((*names)[r]);
        if (role == Qt::ForegroundRole && state[r] == kUnchecked)
            return QColor(QRgb(0x909090));  // not looked into yet
        if (role == kStateRole)
            return int(state[r]);
        return {};
    }
    void reset(const DtmScan::Names& n)
    {
        beginResetModel();
        names = n;
        state.assign(names->size(), kUnchecked);
        endResetModel();
    }
    void set_states(std::size_t first, const std::vector<char>& has_sub)
    {
        const std::size_t n = std::min(has_sub.size(), state.size() - std::min(first, state.size()));
        if (n == 0)
            return;
        for (std::size_t k = 0; k < n; ++k)
            state[first + k] = has_sub[k] ? kCascading : kPlain;
        emit dataChanged(index(int(first)), index(int(first + n - 1)));
    }
};

// Draws the cascading arrow of a row that has subdirectories.
class ArrowDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;
    void paint(QPainter* p, const QStyleOptionViewItem& o, const QModelIndex& i) const override
    {
        QStyledItemDelegate::paint(p, o, i);
        if (i.data(kStateRole).toInt() != kCascading)
            return;
        QStyleOption a;
        a.palette = o.palette;
        a.state = o.state;
        const int h = o.rect.height();
        a.rect = QRect(o.rect.right() - h, o.rect.top() + h / 4, h / 2, h / 2);
        QWidget* w = const_cast<QWidget*>(o.widget);
        (w ? w->style() : QApplication::style())->drawPrimitive(QStyle::PE_IndicatorArrowRight, &a, p, w);
    }
    QSize sizeHint(const QStyleOptionViewItem& o, const QModelIndex& i) const override
    {
        QSize s = QStyledItemDelegate::sizeHint(o, i);
        return {s.width() + s.height(), s.height() + 4};  // room for the arrow, menu-like height
    }
};

void close_all_popups()
{
    for (int guard = 0; guard < 64; ++guard) {
        QWidget* p = QApplication::activePopupWidget();
        if (!p)
            break;
        p->close();
    }
}

// Copies taken first: what they came from may go with the menus.
void choose(DtmHandler handler, std::string path)
{
    close_all_popups();
    if (handler)
        handler(path);
}

// The submenu of one directory: "..." until its scan has listed the
// subdirectories, then a scrolling list of them. Each row cascades in turn into a
// menu of this kind, opened on demand.
class DirMenu : public QMenu {
public:
    DirMenu(QWidget* parent, std::string path, int flags, DtmHandler handler, DirMenu* opener)
        : QMenu(parent), path_(std::move(path)), flags_(flags & ~DTM_CHECK),
          handler_(std::move(handler)), opener_(opener)
    {
        placeholder_ = addAction(QStringLiteral("..."));
        placeholder_->setEnabled(false);
        connect(this, &QMenu::aboutToShow, this, &DirMenu::start);
        hover_.setSingleShot(true);
        hover_.setInterval(style()->styleHint(QStyle::SH_Menu_SubMenuPopupDelay, nullptr, this));
        connect(&hover_, &QTimer::timeout, this, [this] { open_row(hover_row_, false); });
    }
    ~DirMenu() override
    {
        // Its thread ends at the next directory entry; steps it still sends find
        // this menu gone and are dropped.
        if (scan_)
            scan_->stop = true;
    }

    QAction* entry = nullptr;  // the plain menu's item that cascades into this one
    int opener_row = -1;

    void choose_self() { choose(handler_, path_); }

protected:
    void hideEvent(QHideEvent* e) override
    {
        hover_.stop();
        if (child_)
            child_->hide();
        // A closed menu needs no scan: it ends now and starts again when shown.
        if (scan_ && !scan_->finished) {
            scan_->stop = true;
            scan_.reset();
            connect(this, &QMenu::aboutToShow, this, &DirMenu::start, Qt::UniqueConnection);
        }
        QMenu::hideEvent(e);
    }
    void keyPressEvent(QKeyEvent* e) override
    {
        if (opener_ && (e->key() == Qt::Key_Left || e->key() == Qt::Key_Escape)) {
            back_to_opener();
            return;
        }
        QMenu::keyPressEvent(e);
    }
    // A menu opened from a row is no submenu to the toolkit, so the pointer's
    // moves and presses over the menus it came from are handed to them here.
    void mouseMoveEvent(QMouseEvent* e) override
    {
        if (!(opener_ && !rect().contains(e->position().toPoint()) && forward(e)))
            QMenu::mouseMoveEvent(e);
    }
    void mousePressEvent(QMouseEvent* e) override
    {
        if (!(opener_ && !rect().contains(e->position().toPoint()) && forward(e)))
            QMenu::mousePressEvent(e);
    }
    void mouseDoubleClickEvent(QMouseEvent* e) override
    {
        if (!(opener_ && !rect().contains(e->position().toPoint()) && forward(e)))
            QMenu::mouseDoubleClickEvent(e);
    }
    bool eventFilter(QObject* o, QEvent* e) override
    {
        if (o == view_ && e->type() == QEvent::KeyPress) {
            auto* k = static_cast<QKeyEvent*>(e);
            const int row = view_->currentIndex().row();
            switch (k->key()) {
            case Qt::Key_Right:
                open_row(row, true);
                return true;
            case Qt::Key_Return:
            case Qt::Key_Enter:
                choose_row(row);
                return true;
            case Qt::Key_Left:
            case Qt::Key_Escape:
                if (opener_)
                    back_to_opener();
                else
                    hide();
                return true;
            default:
                break;
            }
        }
        return QMenu::eventFilter(o, e);
    }

private:
    void start()
    {
        disconnect(this, &QMenu::aboutToShow, this, &DirMenu::start);
        auto scan = std::make_shared<DtmScan>();
        scan->path = path_;
        scan->flags = flags_;
        // Each step reaches this menu on the GUI thread, or nothing if it is gone
        // or has started another scan since.
        auto post = [me = QPointer<DirMenu>(this), raw = scan.get()](auto step) {
            QMetaObject::invokeMethod(qApp, [me, raw, step = std::move(step)]() mutable {
                if (me && me->scan_.get() == raw)
                    step(*me);
            }, Qt::QueuedConnection);
        };
        scan->on_listed = [post](DtmScan::Names names) {
            post([names](DirMenu& m) { m.listed(names); });
        };
        scan->on_checked = [post](std::size_t first, std::vector<char>&& has) {
            post([first, h = std::move(has)](DirMenu& m) { m.checked(first, h); });
        };
        scan->on_notice = [post](const char* title, const char* text) {
            post([t = std::string(title), x = std::string(text)](DirMenu&) { dtm_errinfo(t.c_str(), x.c_str()); });
        };
        scan_ = scan;
        if (dtm_start_scan(scan) != 0) {
            scan_.reset();
            dtm_errinfo("Directory Scanning", "Unable to start scanning procedure!");
        }
    }

    void listed(const DtmScan::Names& names)
    {
        if (names->empty()) {
            become_plain();
            return;
        }
        if (rows_) {  // scanned again after a stop: the rows start over
            close_child();
            rows_->reset(names);
            size_view();
            return;
        }
        rows_ = new DirRows;
        rows_->setParent(this);
        rows_->reset(names);
        view_ = new QListView;
        view_->setObjectName(QStringLiteral("dtm_list"));
        view_->setModel(rows_);
        view_->setItemDelegate(new ArrowDelegate(view_));
        view_->setUniformItemSizes(true);
        view_->setMouseTracking(true);
        view_->setFrameShape(QFrame::NoFrame);
        view_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        view_->setEditTriggers(QAbstractItemView::NoEditTriggers);
        view_->setSelectionMode(QAbstractItemView::SingleSelection);
        view_->viewport()->setAutoFillBackground(false);
        view_->setStyleSheet(QStringLiteral("QListView { background: transparent; }"));
        view_->installEventFilter(this);
        connect(view_, &QListView::entered, this, [this](const QModelIndex& i) { hover(i.row()); });
        connect(view_, &QListView::clicked, this, [this](const QModelIndex& i) { choose_row(i.row()); });
        size_view();
        auto* holder = new QWidgetAction(this);
        holder->setDefaultWidget(view_);
        const QPoint at = pos();
        const bool shown = isVisible();
        removeAction(placeholder_);
        delete placeholder_;
        placeholder_ = nullptr;
        addAction(holder);
        if (shown) {
            // Keep it where it opened, inside the screen, with the list focused.
            adjustSize();
            const QRect s = screen()->availableGeometry();
            move(std::clamp(at.x(), s.left(), std::max(s.left(), s.right() - width())),
                 std::clamp(at.y(), s.top(), std::max(s.top(), s.bottom() - height())));
            setActiveAction(holder);
            view_->setFocus();
            view_->setCurrentIndex(rows_->index(0));
        }
    }

    // Width from the longest names only: measuring every label of a huge
    // directory would cost the GUI more than the scan.
    void size_view()
    {
        std::vector<std::size_t> idx(rows_->names->size());
        for (std::size_t i = 0; i < idx.size(); ++i)
            idx[i] = i;
        const std::size_t k = std::min<std::size_t>(idx.size(), 24);
        std::partial_sort(idx.begin(), idx.begin() + k, idx.end(), [this](std::size_t a, std::size_t b) {
            return rows_->name(int(a)).size() > rows_->name(int(b)).size();
        });
        const QFontMetrics fm(view_->font());
        int w = 0;
        for (std::size_t i = 0; i < k; ++i)
            w = std::max(w, fm.horizontalAdvance(label_of(rows_->name(int(idx[i])))));
        const int row_h = view_->sizeHintForRow(0);
        const int rows = std::min<int>(int(rows_->names->size()), kMaxRows);
        const int bar = int(rows_->names->size()) > rows ? view_->verticalScrollBar()->sizeHint().width() : 0;
        const int max_w = screen() ? screen()->availableGeometry().width() / 2 : 800;
        view_->setFixedSize(std::min(w + row_h + 16 + bar, max_w), rows * row_h + 2);
    }

    void checked(std::size_t first, const std::vector<char>& has)
    {
        if (rows_)
            rows_->set_states(first, has);
    }

    // No subdirectories: the entry acts directly from now on.
    void become_plain()
    {
        if (entry) {
            entry->setMenu(nullptr);
            hide();
            deleteLater();
        } else if (opener_) {
            opener_->set_plain(opener_row);
            back_to_opener();
        }
    }

    void set_plain(int row)
    {
        if (rows_ && row >= 0 && std::size_t(row) < rows_->state.size())
            rows_->set_states(std::size_t(row), {0});
    }

    void close_child()
    {
        delete child_;  // its scan is told to stop
    }

    void back_to_opener()
    {
        hide();
        if (opener_ && opener_->view_) {
            opener_->activateWindow();
            opener_->view_->setFocus();
        }
    }

    void hover(int row)
    {
        view_->setCurrentIndex(rows_->index(row));
        hover_row_ = row;
        if (child_ && child_->opener_row == row)
            hover_.stop();
        else
            hover_.start();
    }

    // A row is chosen whether or not it cascades: its submenu opens on hover or Right.
    void choose_row(int row)
    {
        if (row >= 0 && rows_ && std::size_t(row) < rows_->names->size())
            choose(handler_, es_join(path_, rows_->name(row)));
    }

    void open_row(int row, bool focus)
    {
        if (!rows_ || row < 0 || std::size_t(row) >= rows_->names->size())
            return;
        if (child_ && child_->opener_row == row) {
            if (focus && child_->view_)
                child_->view_->setFocus();
            return;
        }
        close_child();
        if (rows_->state[std::size_t(row)] != kCascading)
            return;
        child_ = new DirMenu(this, es_join(path_, rows_->name(row)), flags_, handler_, this);
        child_->opener_row = row;
        // Beside this menu (right of its scroll bar), level with the row.
        const QRect r = view_->visualRect(rows_->index(row));
        child_->popup(QPoint(mapToGlobal(rect().topRight()).x(), view_->viewport()->mapToGlobal(r.topLeft()).y()));
        if (!focus)
            view_->setFocus();
    }

    // Gives a pointer event outside this menu to the directory menu under it, or
    // to the plain menu this chain hangs from.
    bool forward(QMouseEvent* e)
    {
        const QPoint g = e->globalPosition().toPoint();
        for (DirMenu* d = opener_; d; d = d->opener_) {
            if (d->geometry().contains(g) && d->view_) {
                const QModelIndex i = d->view_->indexAt(d->view_->viewport()->mapFromGlobal(g));
                if (!i.isValid())
                    return true;
                if (e->type() == QEvent::MouseMove) {
                    d->hover(i.row());
                } else {
                    d->view_->setCurrentIndex(i);
                    d->choose_row(i.row());
                }
                return true;
            }
            if (!d->opener_) {
                QMouseEvent m(e->type(), d->mapFromGlobal(g), g, e->button(), e->buttons(), e->modifiers());
                QCoreApplication::sendEvent(d, &m);
                return true;
            }
        }
        return false;
    }

    std::string path_;
    int flags_;
    DtmHandler handler_;
    DirMenu* opener_;
    QAction* placeholder_ = nullptr;
    std::shared_ptr<DtmScan> scan_;
    DirRows* rows_ = nullptr;
    QListView* view_ = nullptr;
    QPointer<DirMenu> child_;
    QTimer hover_;
    int hover_row_ = -1;
};

// An entry that cascades is chosen like a plain one, by a click or Return, where
// the menu would open its submenu; hovering and Right still open that.
class CascadeChooser : public QObject {
public:
    explicit CascadeChooser(QMenu* menu) : QObject(menu), menu_(menu) {}
    bool eventFilter(QObject* o, QEvent* e) override
    {
        switch (e->type()) {
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonDblClick: {
            if (o != menu_)
                return false;
            auto* m = static_cast<QMouseEvent*>(e);
            pressed_ = m->button() == Qt::LeftButton ? dir_menu(menu_->actionAt(m->position().toPoint())) : nullptr;
            // Under a real pointer the release goes to the submenu on top, which
            // hands it on to no one: it is caught on its way, wherever it goes.
            if (pressed_)
                qApp->installEventFilter(this);
            return pressed_ != nullptr;
        }
        case QEvent::MouseButtonRelease: {
            if (!pressed_)
                return false;
            qApp->removeEventFilter(this);
            const QPoint g = static_cast<QMouseEvent*>(e)->globalPosition().toPoint();
            DirMenu* d = dir_menu(menu_->actionAt(menu_->mapFromGlobal(g)));
            const bool same = d && d == pressed_;
            pressed_ = nullptr;
            if (same)
                d->choose_self();
            return same;
        }
        case QEvent::KeyPress: {
            if (o != menu_)
                return false;
            const int key = static_cast<QKeyEvent*>(e)->key();
            DirMenu* d = dir_menu(menu_->activeAction());
            if (!d || (key != Qt::Key_Return && key != Qt::Key_Enter))
                return false;
            d->choose_self();
            return true;
        }
        default:
            return false;
        }
    }

private:
    static DirMenu* dir_menu(QAction* a) { return a ? dynamic_cast<DirMenu*>(a->menu()) : nullptr; }
    QMenu* menu_;
    QPointer<DirMenu> pressed_;
};
}  // namespace

void dtm_errinfo(const char* title, const char* text)
{
    w_message(w_make_message(gBase, QString::fromUtf8(title), QString::fromUtf8(text), "&Close"));
}

QAction* dtm_add_item(QMenu* parent, const std::string& path, const QString& label, int flags,
                      DtmHandler handler)
{
    if (!parent)
        return nullptr;
    // A name is shown as it is: its "&" is no mnemonic.
    QString text = QString(label).replace('&', QLatin1String("&&"));
    if (!text.endsWith('/'))
        text += '/';
    auto* a = parent->addAction(text);
    QObject::connect(a, &QAction::triggered, a, [a, path, handler] {
        if (!a->menu())  // an entry that cascades is chosen in its submenu
            choose(handler, path);
    });
    if (!(flags & DTM_CHECK))
        return a;
    QPointer<QMenu> menu(parent);
    dtm_check_later(a, path, flags & DTM_HIDE_DOT, [a, menu, path, flags, handler](int has) {
        if (has <= 0 || a->menu() || !menu)
            return;
        auto* sub = new DirMenu(menu, path, flags, handler, nullptr);
        sub->entry = a;
        a->setMenu(sub);
        if (!menu->property("dtm_chooser").toBool()) {
            menu->installEventFilter(new CascadeChooser(menu));
            menu->setProperty("dtm_chooser", true);
        }
    });
    return a;
}

void dtm_work_later(QObject* receiver, std::function<void()> work, std::function<void()> done,
                    std::function<void()> timed_out)
{
    auto answered = std::make_shared<bool>(false);  // GUI thread only
    const bool started = dtm_run([me = QPointer<QObject>(receiver), work = std::move(work),
                                  done = std::move(done), answered] {
        work();
        post_to(me, [done, answered] {
            *answered = true;
            done();
        });
    }) == 0;
    if (timed_out)
        QTimer::singleShot(started ? kCheckTimeoutMs : 0, receiver, [answered, timed_out = std::move(timed_out)] {
            if (!*answered)
                timed_out();
        });
}

void dtm_check_later(QObject* receiver, const std::string& path, int how, std::function<void(int)> answer)
{
    auto result = std::make_shared<int>(-1);  // written by the worker before its answer is posted
    auto give = std::make_shared<std::function<void(int)>>(std::move(answer));
    dtm_work_later(
        receiver, [result, path, how] { *result = dtm_has_subdir(AT_FDCWD, path.c_str(), how); },
        [result, give] { (*give)(*result); }, [give] { (*give)(DTM_TIMED_OUT); });
}
