#include "fileops/slot_window.h"

#include <QAbstractButton>
#include <QApplication>
#include <QPointer>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QTimer>
#include <algorithm>
#include <cerrno>
#include <climits>
#include <vector>

#include "fileops/fop_request.h"
#include "fileops/slot_refresh.h"
#include "shell/kit/globals.h"
#include "shell/kit/w_msg.h"
#include "ui_pict_db.h"
#include "ui_slots_holder_window.h"

namespace {
constexpr int kMaxWidth = 1200;
constexpr const char* kRequestProperty = "vell_fop_request";

QWidget* sWindow = nullptr;  // slots_holder_window
Ui::slots_holder_window* sWindowUi = nullptr;
QScrollArea* sHolder = nullptr;
std::vector<SlotPanel*> sSlots;  // entry 0 is the newest
int sSlotWidth = 0;
int sSlotHeight = 0;
QSize sMaxDim(kMaxWidth, INT_MAX);
std::function<void()> sExitFn;
std::function<void()> sRefreshFn;
// Questions of the window on screen: each runs an event loop of its own, inside
// which the timer must not delete their parent nor the panel they are about.
int sAsking = 0;

// The main window hands in its own ending (it saves the session first); without
// one the application just quits.
void run_exit()
{
    if (sExitFn)
        sExitFn();
    else
        QCoreApplication::exit(0);
}

void run_refresh()
{
    if (sRefreshFn)
        sRefreshFn();
    else
        slot_refresh_instances();
}

void open_window()
{
    sWindow = new QWidget(nullptr);
    sWindowUi = new Ui::slots_holder_window;
    sWindowUi->setupUi(sWindow);
    sWindow->setAttribute(Qt::WA_DeleteOnClose, false);
    sHolder = sWindowUi->slots_holder;
    sMaxDim = QSize(kMaxWidth, INT_MAX);
    if (const QScreen* screen = QGuiApplication::primaryScreen()) {
        const QRect area = screen->availableGeometry();
        sMaxDim.setHeight(std::max(1, area.height() - 50));
    }
    sHolder->setMaximumSize(sMaxDim);
    auto* timer = new QTimer(sWindow);
    timer->setObjectName(QStringLiteral("slot_delete_timer"));
    QObject::connect(timer, &QTimer::timeout, [] { slot_timer(); });
    timer->start(100);
    sWindow->show();
}

void close_window()
{
    // Deferred: the last panel may be going away from inside one of its own
    // callbacks, or from the window's own timer.
    sWindow->hide();
    sWindow->deleteLater();
    delete sWindowUi;
    sWindow = nullptr;
    sWindowUi = nullptr;
    sHolder = nullptr;
}

void show_pause_state(const FopRequest* r)
{
    for (SlotPanel* p : sSlots)
        if (p->request() == r)
            p->show_header();
}

void place_slots()
{
    for (int i = static_cast<int>(sSlots.size()) - 1; i >= 0; --i)
        sSlots[static_cast<std::size_t>(i)]->move(0, i * sSlotHeight);
}
}  // namespace

SlotPanel::SlotPanel(QWidget* parent) : QWidget(parent), ui(new Ui::pict_db)
{
    ui->setupUi(this);
    header_ = ui->slot_header_text->text();
    connect(ui->slot_pause, &QAbstractButton::clicked, this, [this] { slot_pause_cb(ui->slot_pause); });
    connect(ui->cancel_button, &QAbstractButton::clicked, this,
            [this] { slot_cancel_cb(ui->cancel_button); });
}

SlotPanel::~SlotPanel()
{
    delete ui;
}

void SlotPanel::set_header(const QString& text)
{
    header_ = text;
    show_header();
}

void SlotPanel::show_header()
{
    const bool paused = request_ && request_->pause.load();
    ui->slot_header_text->setText(paused ? QStringLiteral("Paused") : header_);
}

SlotPanel* slot_add()
{
    if (!sWindow)
        open_window();
    else if (sWindow->isHidden())
        sWindow->show();
    if (static_cast<int>(sSlots.size()) >= kMaxSlots) {
        errno = ENOMEM;
        return nullptr;
    }
    auto* p = new SlotPanel(sHolder->widget());
    if (sSlotHeight == 0) {
        const QSize s = p->sizeHint().expandedTo(p->size());
        sSlotWidth = std::min(s.width(), kMaxWidth);
        sSlotHeight = std::max(1, s.height());
    }
    p->setFixedSize(sSlotWidth, sSlotHeight);
    // Whole slots only, so the last visible one is never cut in half.
    if (sMaxDim.height() != INT_MAX)
        sMaxDim.setHeight(std::max(sSlotHeight, sMaxDim.height() / sSlotHeight * sSlotHeight));
    sHolder->verticalScrollBar()->setSingleStep(sSlotHeight);
    sSlots.insert(sSlots.begin(), p);
    place_slots();
    p->show();
    resize_base();
    return p;
}

void resize_base()
{
    if (!sHolder)
        return;
    const int n = static_cast<int>(sSlots.size());
    const int content_h = n * sSlotHeight;
    sHolder->widget()->setFixedSize(sSlotWidth, content_h);
    int w = sSlotWidth;
    if (content_h > sMaxDim.height())
        w += std::max(15, sHolder->verticalScrollBar()->sizeHint().width());
    sHolder->setFixedSize(w, std::min(content_h, sMaxDim.height()));
}

int slot_remove(SlotPanel* panel)
{
    const auto it = std::find(sSlots.begin(), sSlots.end(), panel);
    if (it == sSlots.end())
        return -1;
    sSlots.erase(it);
    panel->hide();
    panel->deleteLater();
    if (sSlots.empty()) {
        close_window();
        return 0;
    }
    place_slots();
    resize_base();
    return 0;
}

void slot_mark_removed(void* panel)
{
    if (panel)
        static_cast<SlotPanel*>(panel)->removed.store(1);
}

int slot_timer()
{
    if (sAsking > 0)
        return 0;
    bool any = false;
    for (std::size_t i = 0; i < sSlots.size();) {
        SlotPanel* p = sSlots[i];
        if (p->removed.exchange(0)) {
            slot_remove(p);
            any = true;
        } else {
            ++i;
        }
    }
    if (any)
        run_refresh();
    if (base_window_closed && slot_running() == 0)
        run_exit();
    return 0;
}

int slot_terminate_all()
{
    if (slot_running() == 0) {
        run_exit();
        return 0;
    }
    for (SlotPanel* p : sSlots)
        if (FopRequest* r = p->request())
            r->cancel.store(1);
    base_window_closed = 1;
    return 0;
}

int slot_count()
{
    return static_cast<int>(sSlots.size());
}

int slot_running()
{
    return static_cast<int>(std::count_if(sSlots.begin(), sSlots.end(),
                                          [](const SlotPanel* p) { return p->request(); }));
}

SlotPanel* slot_at(int i)
{
    if (i < 0 || i >= slot_count())
        return nullptr;
    return sSlots[static_cast<std::size_t>(i)];
}

SlotPanel* slot_find(const void* handle)
{
    for (SlotPanel* p : sSlots)
        if (p == handle)
            return p;
    return nullptr;
}

QWidget* slot_window()
{
    return sWindow;
}

void slot_set_request(SlotPanel* panel, FopRequest* r)
{
    panel->request_ = r;
    panel->show_header();
    const QVariant v = r ? QVariant::fromValue(static_cast<void*>(r)) : QVariant();
    panel->ui->slot_pause->setProperty(kRequestProperty, v);
    panel->ui->cancel_button->setProperty(kRequestProperty, v);
}

FopRequest* slot_button_request(const QAbstractButton* button)
{
    if (!button)
        return nullptr;
    return static_cast<FopRequest*>(button->property(kRequestProperty).value<void*>());
}

int slot_pause_cb(QAbstractButton* button)
{
    FopRequest* r = slot_button_request(button);
    if (!r)
        return 0;
    r->pause.store(button->isChecked() ? 1 : 0);
    show_pause_state(r);
    return 0;
}

int slot_cancel_cb(QAbstractButton* button)
{
    FopRequest* r = slot_button_request(button);
    if (!r)
        return 0;
    // The worker stops at its next pause point while the question is up.
    const int saved_pause = r->pause.load();
    r->pause.store(1);
    QPointer<QAbstractButton> guard(button);
    ++sAsking;
    const int answer = w_message(w_make_message(button->window(), QStringLiteral("File Operation"),
                                                QStringLiteral("Do you want to terminate this operation ? "),
                                                "@&Yes|#&No"));
    --sAsking;
    // The operation may have ended while the question was up: its request is
    // then unbound from the button (or the panel is gone) and must not be touched.
    if (!guard || slot_button_request(guard) != r)
        return 0;
    r->pause.store(saved_pause);
    show_pause_state(r);
    if (answer != 2)
        r->cancel.store(1);
    return 0;
}

std::function<void()> slot_set_exit_fn(std::function<void()> fn)
{
    std::function<void()> old = std::move(sExitFn);
    sExitFn = std::move(fn);
    return old;
}

std::function<void()> slot_set_refresh_fn(std::function<void()> fn)
{
    std::function<void()> old = std::move(sRefreshFn);
    sRefreshFn = std::move(fn);
    return old;
}
