#include "shell/base.h"

#include <algorithm>

#include <QApplication>
#include <QCloseEvent>
#include <QComboBox>
#include <QLabel>
#include <QScreen>
#include <QSplitter>
#include <QTimer>
#include <QToolButton>
#include "filelist/fl_view.h"
#include <QTreeWidget>

#include "clipboard/clip.h"
#include "fileops/slot_window.h"
#include "filelist/fl_panel.h"
#include "filelist/tb_path.h"
#include "hotlist/tree.h"
#include "shell/commands.h"
#include "shell/kit/globals.h"
#include "shell/kit/init_config.h"
#include "shell/kit/w_utils.h"
#include "ui_base.h"

namespace {
BaseWindow* base_window()
{
    return static_cast<BaseWindow*>(gBase);
}

// A window of the default size with the default columns (a first start) grows, as
// far as the screen allows, until every column of the list and the names of the
// first directory show whole. Only once shown are the widths of its parts known.
void base_fit_first_window(BaseWindow* w)
{
    ConfigRecord defaults;
    init_config_defaults(defaults);
    if (!fl_auto_widths() || gConfig->window_width() != defaults.window_width() ||
        gConfig->window_height() != defaults.window_height())
        return;
    const int more = fl_missing_width();
    if (more <= 0 || !w->screen())
        return;
    const QRect avail = w->screen()->availableGeometry();
    const int frame = std::max(0, w->frameGeometry().width() - w->width());
    const int width = std::min(w->width() + more, avail.width() - frame);
    if (width <= w->width())
        return;
    w->resize(width, w->height());
    if (w->frameGeometry().left() + width + frame > avail.right() + 1)
        w->move(std::max(avail.left(), avail.right() + 1 - width - frame), w->y());
}
}  // namespace

int (*gRunningOperations)() = slot_running;

BaseWindow::BaseWindow(QWidget* parent) : QMainWindow(parent), ui(new Ui::base)
{
    ui->setupUi(this);
    auto* ftimer = new QTimer(this);
    ftimer->setObjectName("ftimer");
    ftimer->setSingleShot(true);
    // Keeps the hotlist pane's width when the window is resized.
    ui->workspace->setStretchFactor(0, 0);
    ui->workspace->setStretchFactor(1, 1);
    connect(ui->tb_hotlist, &QToolButton::clicked, this, [] { vm_hotlist_toggle(); });
    connect(ui->hl_close, &QToolButton::clicked, this, [] { vm_hotlist_toggle(); });
}

BaseWindow::~BaseWindow()
{
    if (gBase == this)
        gBase = nullptr;
    delete ui;
}

void BaseWindow::closeEvent(QCloseEvent* e)
{
    base_closing();
    e->accept();
    // With operations still running the process lives on until the last one ends.
    if (gRunningOperations() == 0)
        QCoreApplication::exit(0);
}

BaseWindow* base_open(const FwOptions& fw)
{
    auto* w = new BaseWindow;
    gBase = w;
    base_setup(w, 1);
    base_opening();
    if (fw.width || fw.height)
        w->resize(fw.width.value_or(w->width()), fw.height.value_or(w->height()));
    if (fw.x || fw.y)
        w->move(fw.x.value_or(w->x()), fw.y.value_or(w->y()));
    if (fw.state == 'i')
        w->showMinimized();
    else if (fw.state == 'm')
        w->showMaximized();
    else
        w->show();
    base_setup(w, 2);
    if (fw.state != 'i' && fw.state != 'm' && !fw.width)
        base_fit_first_window(w);
    return w;
}

void base_setup(BaseWindow* w, int phase)
{
    Ui::base* ui = w->ui;
    if (phase == 1) {
        tb_setup(w);
        cl_apply(gCboxes.fspec, ui->tb_filespec);
        ui->tb_filespec->setEditText(QStringLiteral("*"));
        fl_setspec("*");
        ui->hotlist_panel->setMinimumSize(96, 100);
        ui->filelist_panel->setMinimumSize(120, 100);
        tree_setup(ui->tree);
        tree_load(gConfigPath, "hotlist.001");
        cl_apply(gCboxes.path, ui->tb_curpath);
        fl_setup(ui->filelist);
        clip_setup(ui->filelist);
        cmd_setup(w);
        // The last operation to end after the window closed ends the session here.
        slot_set_exit_fn([] {
            if (gBase)
                fm_exit();
            else
                QCoreApplication::exit(0);
        });
        fl_set_notify_cb([](FlView*) { base_update(); });
        base_set_divider_metrics(*gConfig);
    } else {
        // The first directory is read with redrawing held, so it appears at once.
        w->setUpdatesEnabled(false);
        fl_setpath(gStartPath.c_str());
        // The X server may have mapped and exposed the window while the read pumped
        // events; those exposes were dropped with redrawing held, and the update that
        // releasing posts does not make up for them, so paint it all now. A read that
        // showed the names early released it then, and painted it all.
        if (!w->updatesEnabled()) {
            w->setUpdatesEnabled(true);
            w->repaint();
        }
    }
    show_sort_method(fl_sort_header());
}

void base_opening()
{
    base_set_window_metrics(*gConfig);
}

void base_set_window_metrics(const ConfigRecord& rec)
{
    BaseWindow* w = base_window();
    w->resize(rec.window_width(), rec.window_height());
    const int pane = rec.hotlist_width();
    w->ui->workspace->setSizes({pane, std::max(0, rec.window_width() - pane)});
}

void base_get_window_metrics(ConfigRecord& rec)
{
    BaseWindow* w = base_window();
    rec.set_i32(cfg::kWindowWidth, w->width());
    rec.set_i32(cfg::kWindowHeight, w->height());
    rec.set_i32(cfg::kHotlistWidth, w->ui->hotlist_panel->width());
}

void base_set_divider_metrics(const ConfigRecord& rec)
{
    ConfigRecord defaults;
    init_config_defaults(defaults);
    bool untouched = true;
    for (int c = 1; c <= cfg::kSavedColumns; ++c)
        untouched = untouched && rec.column_width(c) == defaults.column_width(c);
    for (int c = 1; c <= cfg::kSavedColumns; ++c)
        fl_set_column_width(c, rec.column_width(c));
    // The default widths were drawn for a narrower font than this desktop's: until
    // the user sets widths, the list fits them to its font and its width.
    fl_set_auto_widths(untouched);
    if (!rec.hotlist_shown()) {
        BaseWindow* w = base_window();
        w->ui->tb_hotlist->setChecked(false);
        w->ui->hotlist_panel->hide();
    }
}

void base_get_divider_metrics(ConfigRecord& rec)
{
    for (int c = 1; c <= cfg::kSavedColumns; ++c)
        rec.set_column_width(c, fl_get_column_width(c));
}

void base_update()
{
    BaseWindow* w = base_window();
    if (!w)
        return;
    status_bar_update();
    tb_update();
    // A read for another program's change is of the same directory: the path bar
    // may hold what the user is typing, and the focus is where the user put it.
    if (fl_refresh_is_quiet())
        return;
    tb_curpath_set_text(gDir.path.c_str());
    misc_give_focus(w->ui->filelist);
}

void base_closing()
{
    BaseWindow* w = base_window();
    if (!w || w->session_saved)
        return;
    w->session_saved = true;
    base_window_closed = 1;
    if (gConfigPath.empty())
        return;
    if (gConfig->save_at_exit()) {
        base_get_window_metrics(*gConfig);
        base_get_divider_metrics(*gConfig);
        init_save_config(*gConfig, gConfigPath);
    }
    init_save_cboxs(gCboxes, gConfigPath.c_str());
    init_destroy_cboxs(gCboxes);
    tree_save(gConfigPath, "hotlist.001");
}

int fm_exit()
{
    BaseWindow* w = base_window();
    if (!w)
        return 0;
    if (gRunningOperations() == 0) {
        w->close();
        QCoreApplication::exit(0);
        return 0;
    }
    base_closing();
    w->hide();
    base_window_closed = 1;
    return 0;
}

int vm_hotlist_toggle()
{
    BaseWindow* w = base_window();
    const bool show = w->ui->hotlist_panel->isHidden();
    w->ui->hotlist_panel->setVisible(show);
    gConfig->set_hotlist_shown(show);
    w->ui->tb_hotlist->setChecked(show);
    return 0;
}
