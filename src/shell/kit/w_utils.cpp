#include "shell/kit/w_utils.h"

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QGroupBox>
#include <QHash>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QPointer>
#include <QShortcut>
#include <QScreen>
#include <QTimer>
#include <QTimerEvent>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "shell/kit/globals.h"
#include "shell/kit/init_config.h"
#include "shell/kit/w_geom.h"
#include "dirmodel/es_format.h"
#include "shell/kit/w_msg.h"

namespace {
constexpr int kTextMax = 256;  // texts are cut to 255 characters

QString vformat(const char* fmt, va_list ap, int* formatted = nullptr)
{
    return QString::fromStdString(es_vformat(kTextMax - 1, fmt, ap, formatted));
}

int show(QWidget* parent, const char* title, const QString& text, const char* buttons)
{
    return w_message(w_make_message(parent, QString::fromUtf8(title), text, buttons));
}

// The per-widget record: a timer or a work procedure, never both. It lives as a
// child object of the widget, so it goes when the widget goes.
class WUserData : public QObject {
public:
    explicit WUserData(QWidget* w) : QObject(w), widget_(w) { setObjectName("vell_wuserdata"); }

    static WUserData* of(QWidget* w, bool create)
    {
        auto* d = w->findChild<WUserData*>(QStringLiteral("vell_wuserdata"), Qt::FindDirectChildrenOnly);
        return d || !create ? d : new WUserData(w);
    }

    // Timer record: function, data, period.
    WTimerFn fn = nullptr;
    void* data = nullptr;
    int period = 0;
    bool is_timer = false;

    // Work-procedure record.
    int proc_id = 0;
    WProcFn proc = nullptr;
    void* proc_data = nullptr;
    QTimer* idle = nullptr;

    void arm(int ms)
    {
        if (pending_)
            killTimer(pending_);
        pending_ = startTimer(std::max(ms, 0));
    }

    void run_proc()
    {
        QPointer<WUserData> self(this);
        if (proc && proc(widget_, proc_data) && self && idle)
            idle->stop();
    }

protected:
    void timerEvent(QTimerEvent* e) override
    {
        if (e->timerId() != pending_)
            return;
        killTimer(pending_);
        pending_ = 0;
        x_timer_cb();
    }

private:
    // One-shot at the toolkit level; re-armed after the call with the period read
    // again, so the function may change or stop its own timer.
    void x_timer_cb()
    {
        if (!is_timer || period == 0 || !fn)
            return;
        QPointer<WUserData> self(this);
        fn(widget_, data);
        if (self && is_timer && period != 0 && !pending_)
            arm(period);
    }

    QWidget* widget_;
    int pending_ = 0;
};

int sNextProcId = 1;

bool is_container(const QWidget* w)
{
    static const char* const kContainers[] = {"QWidget", "QFrame", "QGroupBox", "QSplitter",
                                              "QScrollArea", "QStackedWidget", "QTabWidget",
                                              "QMainWindow", "QDialog", "QToolBar", "QDockWidget"};
    const char* cls = w->metaObject()->className();
    for (const char* c : kContainers)
        if (std::strcmp(cls, c) == 0)
            return true;
    return false;
}

QWidget* find_class(QWidget* w, const char* cls)
{
    while (w) {
        if (w->inherits(cls))
            return w;
        for (QObject* o : w->children())
            if (auto* child = qobject_cast<QWidget*>(o)) {
                if (QWidget* found = find_class(child, cls))
                    return found;
                break;
            }
        if (!is_container(w))
            return nullptr;
        QWidget* next = nullptr;
        if (QObject* p = w->parent()) {
            const QObjectList& sib = p->children();
            bool seen = false;
            for (QObject* o : sib) {
                if (seen) {
                    if (auto* s = qobject_cast<QWidget*>(o)) {
                        next = s;
                        break;
                    }
                } else if (o == w) {
                    seen = true;
                }
            }
        }
        w = next;
    }
    return nullptr;
}

// Input to a blocked window is eaten here, before any child sees it.
class BlockFilter : public QObject {
public:
    bool eventFilter(QObject* o, QEvent* e) override
    {
        switch (e->type()) {
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonRelease:
        case QEvent::MouseButtonDblClick:
        case QEvent::KeyPress:
        case QEvent::KeyRelease:
        case QEvent::Wheel:
        case QEvent::ShortcutOverride:
            if (auto* w = qobject_cast<QWidget*>(o); w && wis_blocked(w->window()))
                return true;
            break;
        default:
            break;
        }
        return false;
    }
};
}  // namespace

int wreport(QWidget* parent, const char* title, const char* fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    const QString text = vformat(fmt, ap);
    va_end(ap);
    return show(parent, title, text, "@&Continue");
}

int wreport_untranslatable(QWidget* parent, const char* text)
{
    const std::string_view enc = gConfig ? gConfig->alt_encoding() : std::string_view();
    return wreport(parent, "Error", "Unable to translate '%s' into '%.*s' encoding.", text, int(enc.size()),
                   enc.data());
}

int wask(QWidget* parent, const char* title, const char* fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    const QString text = vformat(fmt, ap);
    va_end(ap);
    return show(parent, title, text, "@&Yes|&No");
}

int wprintf(QWidget* w, const char* fmt, ...)
{
    if (!w)
        return -1;
    va_list ap;
    va_start(ap, fmt);
    int n = 0;
    const QString text = vformat(fmt, ap, &n);
    va_end(ap);
    if (w->isWindow())
        w->setWindowTitle(text);
    else if (auto* g = qobject_cast<QGroupBox*>(w))
        g->setTitle(text);
    else if (auto* l = qobject_cast<QLabel*>(w))
        l->setText(text);
    else if (auto* e = qobject_cast<QLineEdit*>(w))
        e->setText(text);
    else if (auto* c = qobject_cast<QComboBox*>(w))
        c->setEditText(text);
    else if (auto* b = qobject_cast<QAbstractButton*>(w))
        b->setText(text);
    return n;
}

void wblock(QWidget* window, int on)
{
    if (!window)
        return;
    static BlockFilter* filter = [] {
        auto* f = new BlockFilter;
        qApp->installEventFilter(f);
        return f;
    }();
    (void)filter;
    if (on == 1) {
        window->setProperty("vell_blocked", true);
        window->setCursor(Qt::BusyCursor);
    } else {
        window->setProperty("vell_blocked", false);
        window->unsetCursor();
    }
}

bool wis_blocked(const QWidget* window)
{
    return window && window->property("vell_blocked").toBool();
}

void wcenter(QWidget* parent, QWidget* child)
{
    if (!parent || !child)
        return;
    const QRect pr = parent->geometry();
    const QRect cr = child->geometry();
    QScreen* screen = parent->screen() ? parent->screen() : QGuiApplication::primaryScreen();
    const QRect vis = screen ? screen->availableGeometry() : QRect(0, 0, 32767, 32767);
    auto area = [](const QRect& r) {
        return WArea{int16_t(r.x()), int16_t(r.y()), int16_t(r.width()), int16_t(r.height())};
    };
    const WPoint p = wcenter_position(area(pr), area(cr), vis.left(), vis.top(), vis.right() + 1,
                                      vis.bottom() + 1);
    child->move(p.x, p.y);
}

void wfocus(QWidget* w)
{
    if (!w)
        return;
    QWidget* win = w->window();
    win->raise();
    win->activateWindow();
    w->setFocus(Qt::OtherFocusReason);
}

void misc_give_focus(QWidget* w)
{
    if (gBase)
        gBase->activateWindow();
    if (w)
        w->setFocus(Qt::OtherFocusReason);
}

int wexec(QDialog* dlg, QWidget* after)
{
    const int done = dlg->exec() == QDialog::Accepted ? 0 : -1;
    misc_give_focus(after);
    return done;
}

void wshortcut(QWidget* window, const char* keys, QAbstractButton* button)
{
    auto* sc = new QShortcut(QKeySequence(QString::fromLatin1(keys)), window);
    QObject::connect(sc, &QShortcut::activated, button, &QAbstractButton::click);
}

void wtimer_attach(QWidget* w, int period_ms, WTimerFn fn, void* data)
{
    WUserData* d = WUserData::of(w, true);
    d->is_timer = true;
    d->fn = fn;
    d->data = data;
    d->period = period_ms;
    d->arm(period_ms);
}

void wtimer_detach(QWidget* w)
{
    if (WUserData* d = WUserData::of(w, false))
        d->period = 0;
}

void wtimer_trigger(QWidget* w)
{
    WUserData* d = WUserData::of(w, false);
    if (d && d->is_timer && d->fn)
        d->fn(w, d->data);
}

int wproc_attach(QWidget* w, WProcFn fn, void* data)
{
    WUserData* d = WUserData::of(w, true);
    d->is_timer = false;
    if (!d->idle) {
        d->idle = new QTimer(d);
        d->idle->setInterval(0);
        QObject::connect(d->idle, &QTimer::timeout, d, [d] { d->run_proc(); });
    }
    d->proc = fn;
    d->proc_data = data;
    d->proc_id = sNextProcId++;
    d->idle->start();
    return d->proc_id;
}

void wproc_detach(QWidget* w)
{
    WUserData* d = WUserData::of(w, false);
    if (d && d->proc_id) {
        if (d->idle)
            d->idle->stop();
        d->proc_id = 0;
    }
}

void wproc_finished(QWidget* w)
{
    if (WUserData* d = WUserData::of(w, false))
        d->proc_id = 0;
}

QWidget* wrecursive_find_child_class(QWidget* w, const char* class_name)
{
    return find_class(w, class_name);
}
