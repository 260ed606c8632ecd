// The window utilities every part of the program uses to talk to the user and to
// manage windows: message boxes, formatted labels, blocking, centring, focus,
// per-widget timers and idle work procedures. GUI thread only.
#pragma once
#include <QFont>
#include <QString>

class QAbstractButton;
class QDialog;
class QWidget;

// One button "&Continue"; the message is cut to 255 characters. Returns 1.
int wreport(QWidget* parent, const char* title, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));
// "Unable to translate '<text>' into '<alternate set>' encoding." titled "Error":
// a name the user typed that the file system's encoding cannot hold.
int wreport_untranslatable(QWidget* parent, const char* text);
// "&Yes" (default) and "&No": returns 1 or 2.
int wask(QWidget* parent, const char* title, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));
// Into a window's title, a titled pane's title, or the widget's text; at most 255
// characters. Returns the characters formatted, -1 for a null widget.
int wprintf(QWidget* w, const char* fmt, ...) __attribute__((format(printf, 2, 3)));

// On: the window ignores input and shows the busy cursor. Null is ignored.
void wblock(QWidget* window, int on);
bool wis_blocked(const QWidget* window);
void wcenter(QWidget* parent, QWidget* child);
void wfocus(QWidget* w);
void misc_give_focus(QWidget* w);
// Runs a dialog modally, then gives the focus back to `after`. 0 when it was
// accepted, -1 when cancelled.
int wexec(QDialog* dlg, QWidget* after);
// A key sequence ("Alt+D") anywhere in `window` that clicks `button`.
void wshortcut(QWidget* window, const char* keys, QAbstractButton* button);

// A widget carries either a timer record or a work-procedure record.
using WTimerFn = void (*)(QWidget* w, void* data);
void wtimer_attach(QWidget* w, int period_ms, WTimerFn fn, void* data);
void wtimer_detach(QWidget* w);
void wtimer_trigger(QWidget* w);

// A work procedure runs whenever the event loop is idle; it returns true when it has
// finished (it should then call wproc_finished on its widget).
using WProcFn = bool (*)(QWidget* w, void* data);
int wproc_attach(QWidget* w, WProcFn fn, void* data);
void wproc_detach(QWidget* w);
void wproc_finished(QWidget* w);

QWidget* wrecursive_find_child_class(QWidget* w, const char* class_name);

