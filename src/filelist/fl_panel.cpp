#include "filelist/fl_panel.h"

// Before Qt: the reader's pool has a member named like a Qt keyword.
#include "dirmodel/dir_read.h"
#include "dirmodel/dir_patch.h"

#include <QMainWindow>

#include <QApplication>
#include <QElapsedTimer>
#include <QFontMetrics>
#include <QHeaderView>
#include <QLabel>
#include <QLoggingCategory>
#include <QPointer>
#include <QScrollBar>
#include <QStyle>
#include <QTimer>
#include "filelist/fl_view.h"
#include <algorithm>
#include <chrono>
#include <unordered_set>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <dirent.h>

#include "dirmodel/dir_sort.h"
#include "dirmodel/es_format.h"
#include "dirmodel/es_path.h"
#include "dirmodel/fname.h"
#include "dirmodel/fs_query.h"
#include "dirmodel/x_cache.h"
#include "filelist/fl_find.h"
#include "filelist/fl_keys.h"
#include "filelist/fl_model.h"
#include "filelist/fl_nav.h"
#include "filelist/fl_select.h"
#include "filelist/fl_watch.h"
#include "shell/kit/globals.h"
#include "shell/kit/init_config.h"
#include "shell/kit/w_font.h"
#include "shell/kit/w_utils.h"

DirListing gDir;

const char* const kFlHeaderNames[7] = {"fh_filename", "fh_size",        "fh_date", "fh_owner",
                                       "fh_group",    "fh_permissions", "fh_link"};

namespace {
// Guarded: a test may close one main window and open another.
QPointer<FlView> sList;
QPointer<FlModel> sModel;
QPointer<QLabel> sStatus1;
QPointer<QLabel> sStatus2;
QPointer<QTimer> sTimer;
FlNotifyFn sNotify_f = nullptr;
void (*sUpdateHook)() = nullptr;

const DirCmpFn kSortFunctions[7] = {dir_cmp_name,  dir_cmp_size,        dir_cmp_date, dir_cmp_user,
                                    dir_cmp_group, dir_cmp_permissions, dir_cmp_link};
DirCmpFn sSortFunction = dir_cmp_name;
int sSortOrder = 1;
std::string sRememberedPath;
bool sKeepSelection = false;

// What a read for another program's change keeps of the view: every selected name
// and the current row, else its neighbour when it went.
struct KeptView {
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view s) const { return std::hash<std::string_view>{}(s); }
    };
    std::unordered_set<std::string, Hash, std::equal_to<>> selected;
    std::string current[2];

    static KeptView take()
    {
        KeptView v;
        for (int i = 0; i < gDir.count; ++i)
            if (gDir[i].flags & DIR_F_SELECTED)
                v.selected.emplace(gDir[i].name.view());
        if (gDir.current >= 0 && gDir.current < gDir.count) {
            v.current[0] = gDir[gDir.current].name.view();
            const int next = gDir.current + 1 < gDir.count ? gDir.current + 1 : gDir.current - 1;
            if (next >= 0)
                v.current[1] = gDir[next].name.view();
        }
        return v;
    }

    // Into the records of the new read. False when there was a selection and none
    // of it is there now: the caller then does as after a delete.
    bool restore() const
    {
        int found[2] = {-1, -1};
        for (int i = 0; i < gDir.count; ++i) {
            FileRecord& r = gDir[i];
            r.flags &= ~(DIR_F_SELECTED | DIR_F_CURRENT);
            if (!selected.empty() && selected.find(r.name.view()) != selected.end()) {
                r.flags |= DIR_F_SELECTED;
                gDir.selected++;
                if (S_ISDIR(r.status.st_mode))
                    gDir.selected_dirs++;
            }
            for (int k = 0; k < 2; ++k)
                if (!current[k].empty() && r.name == current[k])
                    found[k] = i;
        }
        gDir.current = found[0] >= 0 ? found[0] : found[1];
        if (gDir.current >= 0)
            gDir[gDir.current].flags |= DIR_F_CURRENT;
        return gDir.selected > 0 || selected.empty();
    }
};

// dir_read pumps events: a refresh asked for from one of them waits for the
// running one and then runs once more.
bool sRefreshing = false;
bool sRefreshAgain = false;

// Until the user sets column widths the list fits them itself; the widths given
// (those kept in the settings) stay the floor.
bool sAutoWidths = false;
bool sFitting = false;  // the resizes are the list's own, not the user's
int sGiven[7] = {};

void set_status(QLabel* l, const QString& text)
{
    if (l)
        l->setText(text);
}

void progress_tick(QWidget* w, void*)
{
    if (auto* l = qobject_cast<QLabel*>(w))
        l->setText(QString::fromStdString(x_print_progress(gDir)));
}

bool folders_first()
{
    return gConfig && gConfig->folders_first() != 0;
}

int sort_column()
{
    for (int c = 0; c < 7; ++c)
        if (kSortFunctions[c] == sSortFunction)
            return c;
    return 0;
}

// The width the widest name shown needs, over the rows the view's own measure
// looks at (those in sight and the next ones, a thousand in all), without asking
// each of them for its icon: the icon's type lookup by name was most of the
// measure, 60 ms of the window's opening. The icons are all of one size, so only
// the row whose text is widest is measured whole.
int name_text_width()
{
    const QAbstractItemModel* m = sList->model();
    const int rows = m ? m->rowCount() : 0;
    if (rows == 0)
        return 0;
    const int limit = std::max(1, sList->horizontalHeader()->resizeContentsPrecision());
    int start = std::max(0, sList->verticalHeader()->visualIndexAt(0));
    const int end = std::min(rows, start + limit);
    start = std::max(0, end - limit);
    const QFontMetrics fm = sList->fontMetrics();
    int widest = -1, widest_row = start;
    for (int r = start; r < end; ++r) {
        const int w = fm.horizontalAdvance(m->index(r, 0).data(Qt::DisplayRole).toString());
        if (w > widest) {
            widest = w;
            widest_row = r;
        }
    }
    const int hint = sList->sizeHintForIndex(m->index(widest_row, 0)).width();
    return sList->showGrid() ? hint + 1 : hint;
}

// What the Link column keeps when Name takes the rest.
int link_room()
{
    return sList->header()->defaultSectionSize();
}

// Size and Date get room for their widest text, Name what the list has left, so
// names are cut only when the list is too narrow for every column.
void fit_columns()
{
    if (!sList || !sAutoWidths)
        return;
    QHeaderView* h = sList->header();
    sFitting = true;
    int others = 0;
    for (int c = 2; c <= 6; ++c) {
        const int w = std::max(sGiven[c - 1], fl_text_width(c));
        if (h->sectionSize(c - 1) != w)
            h->resizeSection(c - 1, w);
        others += w;
    }
    const int name = std::max(sGiven[0], sList->viewport()->width() - others - link_room());
    if (h->sectionSize(0) != name)
        h->resizeSection(0, name);
    sFitting = false;
}

Q_LOGGING_CATEGORY(lcLayout, "vell.layout", QtWarningMsg)

// Where each column's header is in the window, for reports and for driving the real
// program from outside: QT_LOGGING_RULES="vell.layout.info=true".
void log_columns()
{
    if (!sList || !lcLayout().isInfoEnabled())
        return;
    QHeaderView* h = sList->header();
    QStringList out;
    for (int c = 0; c < h->count(); ++c) {
        const QPoint at = h->mapTo(sList->window(), QPoint(h->sectionViewportPosition(c), h->height() / 2));
        out << QStringLiteral("%1 %2 %3 %4").arg(QString::fromLatin1(kFlHeaderNames[c]), QString::number(at.x()),
                                                  QString::number(at.y()), QString::number(h->sectionSize(c)));
    }
    qCInfo(lcLayout).noquote() << "columns:" << out.join(u'|');
}

class FitOnResize : public QObject {
public:
    using QObject::QObject;

protected:
    bool eventFilter(QObject*, QEvent* ev) override
    {
        if (ev->type() == QEvent::Resize)
            fit_columns();
        return false;
    }
};
}  // namespace

int fl_header_column(const char* name)
{
    if (!name)
        return 0;
    for (int c = 0; c < 7; ++c)
        if (std::strcmp(name, kFlHeaderNames[c]) == 0)
            return c + 1;
    return 0;
}

FlView* fl_list()
{
    return sList;
}

FlModel* fl_model()
{
    return sModel;
}

void fl_setup(FlView* list)
{
    sList = list;
    QWidget* top = list->window();
    sStatus1 = top->findChild<QLabel*>("status1");
    sStatus2 = top->findChild<QLabel*>("status2");
    sTimer = top->findChild<QTimer*>("ftimer");
    if (!sTimer) {
        sTimer = new QTimer(list);
        sTimer->setObjectName("ftimer");
    }
    sTimer->setSingleShot(true);
    QObject::connect(sTimer, &QTimer::timeout, list, [] { fl_timer_cb(); });

    sModel = new FlModel(&gDir, list);
    QAbstractItemModel* old = list->model();
    list->setModel(sModel);
    if (old && old != sModel && old->parent() == list)
        delete old;
    list->setIconSize(QSize(16, 16));
    QHeaderView* h = list->header();
    h->setSectionsClickable(true);
    h->setSortIndicatorShown(false);
    h->setStretchLastSection(true);
    QObject::connect(h, &QHeaderView::sectionClicked, list, [](int section) {
        if (section >= 0 && section < 7)
            fl_sort_cb(kFlHeaderNames[section]);
    });
    // The last section follows the list's width by itself; any other resize not
    // made here is the user's.
    QObject::connect(h, &QHeaderView::sectionResized, list, [](int section, int, int) {
        if (!sFitting && section < 6)
            sAutoWidths = false;
        log_columns();
    });
    list->viewport()->installEventFilter(new FitOnResize(list));
    sAutoWidths = false;
    if (gConfig)
        list->setFont(w_font(QString::fromUtf8(gConfig->filelist_font())));
    fl_select_connect(list);
    fl_keys_install(list);
    fl_watch_setup();
}

void fl_set_notify_cb(FlNotifyFn fn)
{
    sNotify_f = fn;
}

void fl_notify()
{
    if (sNotify_f)
        sNotify_f(sList);
}

void fl_set_update_hook(void (*fn)())
{
    sUpdateHook = fn;
}

void fl_update()
{
    if (!sList || !sModel)
        return;
    if (sUpdateHook)
        sUpdateHook();
    const int top = sList->verticalScrollBar()->value();
    set_status(sStatus1, QStringLiteral("Displaying Directory"));
    const bool parent_row = (gOptions & FL_OPT_PARENT_ROW) && !gDir.path.empty() && gDir.path != "/";
    sModel->rebuild(parent_row);
    fl_selection_from_records();
    if (top)
        sList->verticalScrollBar()->setValue(top);
    fl_notify();
}

namespace {
// Whether a row in sight still waits for its status: the records fill from the
// top, so the first screen is soon whole, and drawing it again every tick after
// that (half the GUI thread's share of a read) would change nothing.
bool rows_in_sight_pending()
{
    const int top = std::max(0, sList->rowAt(0));
    int bottom = sList->rowAt(sList->viewport()->height() - 1);
    if (bottom < 0)
        bottom = sModel->rowCount() - 1;
    for (int row = top; row <= bottom; ++row) {
        const int i = sModel->index_of(row);
        if (i >= 0 && i < gDir.count && (gDir[i].flags & DIR_F_PENDING))
            return true;
    }
    return false;
}
}  // namespace

void fl_refresh()
{
    if (sRefreshing) {
        sRefreshAgain = true;
        return;
    }
    sRefreshing = true;
    do {
        sRefreshAgain = false;
        std::vector<std::string> reselect;
        if (!gDir.path.empty()) {
            if (gDir.path != sRememberedPath)
                sRememberedPath = gDir.path;
            else if (gDir.selected > 0)
                reselect = fl_reselect_names(gDir);
        } else {
            sRememberedPath.clear();
        }
        const bool keeping = sKeepSelection;
        const KeptView kept_view = keeping ? KeptView::take() : KeptView{};
        // A read for another program's change neither blocks the window nor shows the
        // busy cursor: what the user types meanwhile waits in the queue, not lost.
        // Nor does it end a type-ahead search being typed: its time-out waits.
        int search_left = -1;
        if (!keeping) {
            wblock(gBase, 1);
            fl_timer_disable();
        } else if (sTimer && sTimer->isActive()) {
            search_left = sTimer->remainingTime();
            sTimer->stop();
        }
        fl_watch_read_starting(gDir.path);
        const auto started = std::chrono::steady_clock::now();

        DirReadEnv env;
        env.hide_dot = DirReadEnv::hide_dot_from_options(gOptions);
        env.folders_first = folders_first();
        env.show_status = [keeping](const char* text) {
            if (!keeping)
                set_status(sStatus1, QString::fromUtf8(text));
        };
        // A read in name order shows the names as soon as they are in order, then
        // fills the other columns as their status calls come back.
        bool shown = false;
        QElapsedTimer since_paint;
        // Drawn again while rows in sight wait for their status, and once after.
        bool drawn_pending = true;
        env.pump_events = [keeping, &shown, &since_paint, &drawn_pending] {
            if (shown && since_paint.hasExpired(100)) {
                const bool pending = rows_in_sight_pending();
                if (pending || drawn_pending)
                    sList->viewport()->repaint();
                drawn_pending = pending;
                since_paint.restart();
            }
            QApplication::processEvents(keeping ? QEventLoop::ExcludeUserInputEvents : QEventLoop::AllEvents);
            // What was drawn goes to the display only when the event loop would
            // block, which it does not while the read goes on.
            QGuiApplication::sync();
        };
        if (!keeping) {
            env.listed = [&shown, &since_paint] {
                const bool parent_row =
                    (gOptions & FL_OPT_PARENT_ROW) && !gDir.path.empty() && gDir.path != "/";
                sModel->rebuild(parent_row);
                sList->scrollToTop();
                // The first directory is read with the window's drawing held.
                if (QWidget* w = sList->window(); !w->updatesEnabled())
                    w->setUpdatesEnabled(true);
                shown = true;
                since_paint.start();
                QApplication::processEvents(QEventLoop::AllEvents);
                sList->window()->repaint();
                QGuiApplication::sync();
            };
        }
        env.opened = fl_watch_read_opened;
        env.timer_attach = [](int ms) {
            if (sStatus2)
                wtimer_attach(sStatus2, ms, progress_tick, nullptr);
        };
        env.timer_trigger = [] {
            if (sStatus2)
                wtimer_trigger(sStatus2);
        };
        env.timer_detach = [] {
            if (sStatus2)
                wtimer_detach(sStatus2);
        };
        dir_read(gDir, sSortFunction, sSortOrder, env);
        fl_watch_read_done(std::chrono::duration_cast<std::chrono::milliseconds>(
                               std::chrono::steady_clock::now() - started).count());
        gDir.selected = 0;
        gDir.selected_dirs = 0;
        // A selection that all went (deleted by another program, or by an operation
        // whose own refresh comes later) gives way to the entry after it, as a delete does.
        const bool kept = keeping && (kept_view.restore() || reselect.empty());
        fl_update();

        if (!kept) {
            int found = -2;
            for (const std::string& name : reselect)
                if ((found = x_find(gDir, name.c_str(), 0, FIND_EXACT)) >= 0)
                    break;
            fl_goto_index(found >= 0 ? found : -1);
        }
        if (!keeping) {
            wblock(gBase, 0);
            set_status(sStatus1, QString());
        } else {
            if (search_left >= 0 && sTimer)
                sTimer->start(search_left);  // the status line echoes the search meanwhile
            else
                status_bar_update();
        }
    } while (sRefreshAgain);
    sRefreshing = false;
}

void fl_refresh_keeping_selection()
{
    sKeepSelection = true;
    fl_refresh();
    sKeepSelection = false;
}

bool fl_refresh_is_quiet()
{
    return sKeepSelection;
}

namespace {
// Where the record at `index` went in a patch: less the removed rows before it,
// plus the inserted rows that now come before it.
int index_after_patch(int index, const DirPatchResult& p)
{
    int at = index - int(std::lower_bound(p.removed.begin(), p.removed.end(), index) - p.removed.begin());
    for (int i : p.inserted) {
        if (i > at)
            break;
        ++at;
    }
    return at;
}
}  // namespace

bool fl_patch(const std::vector<DirChange>& changes)
{
    if (sRefreshing)
        return false;
    if (!sList || !sModel || gDir.path.empty())
        return true;
    // Quiet from start to end: what follows the patch (the window's own update
    // included) must leave the focus and a path being typed where the user has them.
    struct Quiet {
        Quiet() { sKeepSelection = true; }
        ~Quiet() { sKeepSelection = false; }
    } quiet;
    sRefreshing = true;
    const int had_selected = gDir.selected;
    QScrollBar* bar = sList->verticalScrollBar();
    const int top_row = bar->value() > 0 ? sList->indexAt(QPoint(1, 1)).row() : -1;

    DirReadEnv env;
    env.hide_dot = DirReadEnv::hide_dot_from_options(gOptions);
    env.folders_first = folders_first();
    env.pump_events = [] { QApplication::processEvents(QEventLoop::ExcludeUserInputEvents); };
    DirPatchResult patch;
    const int rc = dir_patch(gDir, changes, sSortFunction, sSortOrder, env, patch);
    sRefreshing = false;
    if (rc != 0 || sRefreshAgain) {
        fl_refresh();
        return true;
    }
    if (patch.empty())
        return true;

    // Many rows at once are one reset; a few are told row by row.
    if (patch.removed.size() + patch.inserted.size() > 256) {
        fl_update();
    } else {
        if (sUpdateHook)
            sUpdateHook();
        {
            FlSelectionHold hold;
            sModel->apply_patch(patch);
        }
        fl_selection_from_records();
        fl_notify();
    }
    // The rows in view stay in view, unless the list was at its top.
    const int off = sModel->has_parent_row() ? 1 : 0;
    if (top_row >= off) {
        const int row = index_after_patch(top_row - off, patch) + off;
        if (row < sModel->rowCount())
            sList->scrollTo(sModel->index(row, 0), QAbstractItemView::PositionAtTop);
    } else if (top_row < 0) {
        bar->setValue(0);
    }
    // A selection that all went gives way to the entry after it, as a delete does.
    if (had_selected > 0 && gDir.selected == 0)
        fl_goto_index(gDir.current);
    else
        status_bar_update();
    return true;
}

bool x_check_path(const char* path, std::string& out)
{
    if (!path)
        return false;
    std::string copy(path);
    es_strip_pathname(copy.data());
    copy.resize(std::strlen(copy.c_str()));
    if (copy == gDir.path)
        return false;
    const char* shown = fname_decode(copy.c_str());
    const int d = fs_path_is_directory(copy.c_str());
    if (d < 0 && (errno == ENOENT || errno == ENOTDIR)) {
        wreport(gBase, "Error", "Directory '%s', not found", shown);
    } else if (d == 0) {
        wreport(gBase, "Error", "Path '%s' not found", shown);
    } else if (DIR* dir = d > 0 ? ::opendir(copy.c_str()) : nullptr) {
        ::closedir(dir);
        out = std::move(copy);
        return true;
    } else {
        // A directory that exists but may not be read (or looked into) says why.
        wreport(gBase, "Error", "Cannot access directory '%s': %s", shown, std::strerror(errno));
    }
    return false;
}

int fl_setpath(const char* path)
{
    std::string checked;
    if (!x_check_path(path, checked))
        return -1;
    gDir.path = std::move(checked);
    fl_refresh();
    return 0;
}

int fl_newpath(FlView*, const char* path)
{
    const std::string previous = gDir.path;
    if (fl_setpath(path) == -1)
        return -1;
    fl_history_changed_to(previous);
    return 0;
}

int fl_setspec(const char* pattern)
{
    const std::string filter = pattern && *pattern ? pattern : "*";
    if (filter == gDir.filespec)
        return -1;
    gDir.filespec = filter;
    fl_refresh();
    return 0;
}

void fl_get_fullpath(int index, std::string& out)
{
    out = es_join(gDir.path, index >= 0 && index < gDir.count ? gDir[index].name.view() : std::string_view());
}

int fl_get_column_width(int column)
{
    if (!sList || column < 1 || column > 7)
        return -1;
    if (sAutoWidths && column < 7)
        return sGiven[column - 1];
    return sList->header()->sectionSize(column - 1);
}

void fl_set_column_width(int column, int width)
{
    if (!sList || column < 1 || column > 7)
        return;
    sGiven[column - 1] = width;
    if (sAutoWidths) {
        fit_columns();
        return;
    }
    sFitting = true;
    sList->header()->resizeSection(column - 1, width);
    sFitting = false;
}

void fl_set_auto_widths(bool on)
{
    sAutoWidths = on;
    fit_columns();
}

bool fl_auto_widths()
{
    return sAutoWidths;
}

int fl_missing_width()
{
    if (!sList)
        return 0;
    int need = link_room();
    for (int c = 0; c < 6; ++c)
        need += c == 0 && sAutoWidths ? std::max(sGiven[0], name_text_width())
                                      : sList->header()->sectionSize(c);
    // The first directory may well bring the scroll bar.
    if (!sList->verticalScrollBar()->isVisible())
        need += sList->style()->pixelMetric(QStyle::PM_ScrollBarExtent, nullptr, sList);
    return std::max(0, need - sList->viewport()->width());
}

int fl_text_width(int column)
{
    if (!sList || (column != 2 && column != 3))
        return 0;
    char text[100];
    if (column == 2) {
        std::snprintf(text, sizeof text, "%s", cvt2c(99999999999));
    } else {
        // 12/28 .. 12:58 PM: the widest digits of every field.
        struct tm t = {};
        t.tm_year = 126, t.tm_mon = 11, t.tm_mday = 28, t.tm_hour = 12, t.tm_min = 58, t.tm_isdst = -1;
        es_generate_time_string(text, mktime(&t), 2);
    }
    const QStyle* st = sList->style();
    const int margins = 2 * (st->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, sList) + 1) + 8;
    return sList->fontMetrics().horizontalAdvance(QString::fromUtf8(text)) + margins;
}

void fl_sort_cb(const char* header)
{
    const int column = fl_header_column(header);
    if (column == 0)
        return;
    const DirCmpFn fn = kSortFunctions[column - 1];
    if (fn == sSortFunction)
        sSortOrder = !sSortOrder;
    else
        sSortFunction = fn;
    show_sort_method(header);
    dir_sort(gDir, sSortFunction, sSortOrder, folders_first());
    fl_update();
    if (sList)
        misc_give_focus(sList);
}

void show_sort_method(const char* header)
{
    const int column = fl_header_column(header);
    if (column == 0 || !sModel)
        return;
    sModel->set_sort_marker(column - 1, sSortOrder != 0);
}

const char* fl_sort_header()
{
    return kFlHeaderNames[sort_column()];
}

int fl_sort_order()
{
    return sSortOrder;
}

void status_bar_update()
{
    char buf[128];
    if (gDir.selected > 0) {
        int64_t sum = 0;
        for (int i = 0; i < gDir.count; ++i)
            if (gDir[i].flags & DIR_F_SELECTED)
                sum += gDir[i].status.st_size;
        std::snprintf(buf, sizeof buf, "%d selected item%s, %s", gDir.selected,
                      gDir.selected > 1 ? "s" : "", ll2str(sum));
        set_status(sStatus1, QString::fromUtf8(buf));
    } else {
        set_status(sStatus1, QString());
        std::snprintf(buf, sizeof buf, "%d item%s, %s", gDir.count, gDir.count < 2 ? "" : "s",
                      ll2str(static_cast<int64_t>(gDir.total_size)));
        set_status(sStatus2, QString::fromUtf8(buf));
    }
}

void fl_timer_set()
{
    if (sTimer)
        sTimer->start(gConfig ? gConfig->key_timeout() : 1500);
}

void fl_timer_disable()
{
    if (sTimer)
        sTimer->stop();
    fl_typeahead_reset();
}

void fl_timer_cb()
{
    fl_timer_disable();
    status_bar_update();
}
