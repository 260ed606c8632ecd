// The operations window `slots_holder_window` and its progress slots: one `pict_db`
// panel per running operation, newest on top, at most 50. The window exists
// exactly while at least one slot exists (closing it only hides it); its 100 ms
// timer removes the slots that finished operations marked, tells every instance
// to refresh, and ends the program when the main window is gone and the last
// slot with it. The timer waits while a question of the window is up, so that
// neither a panel nor the window goes from under it.
//
// Everything here belongs to the GUI thread except slot_mark_removed, which the
// worker of the slot's operation calls.
#pragma once
#include <atomic>
#include <functional>
#include <QWidget>

class QAbstractButton;
struct FopRequest;
namespace Ui {
class pict_db;
}

inline constexpr int kMaxSlots = 50;

// One progress panel. Its address is the handle the engine keeps in
// FopRequest::slot.
class SlotPanel : public QWidget {
    Q_OBJECT
public:
    explicit SlotPanel(QWidget* parent);
    ~SlotPanel() override;
    Ui::pict_db* ui;
    // Set by the operation's worker at its very end; the panel outlives it
    // until slot_timer has seen it.
    std::atomic<int> removed{0};
    // The running request, null before the operation starts and after it ends.
    FopRequest* request() const { return request_; }
    // The header the worker last sent; a paused operation shows "Paused" instead.
    void set_header(const QString& text);
    void show_header();

private:
    friend void slot_set_request(SlotPanel*, FopRequest*);
    FopRequest* request_ = nullptr;
    QString header_;
};

// A new panel at the top, or null with errno ENOMEM when 50 exist. Shows the
// window again if the user closed it.
SlotPanel* slot_add();
// 0, or -1 when the panel is not in the table.
int slot_remove(SlotPanel* panel);
// Any thread: marks the panel for removal by the next timer tick.
void slot_mark_removed(void* panel);
int slot_timer();
// Cancels every operation and ends the program after the last one, or at once
// when none runs.
int slot_terminate_all();
void resize_base();

int slot_count();
// Slots with an operation behind them: the empty slot a failed start leaves on
// screen must not keep the process alive once the main window is closed.
int slot_running();
// Entry i, 0 being the newest; null out of range.
SlotPanel* slot_at(int i);
// The live panel with this handle, or null when it is not (or no longer) shown.
SlotPanel* slot_find(const void* handle);
// The operations window, null while no slot exists.
QWidget* slot_window();

// Binds a request to its panel and to the panel's Pause and Cancel buttons; null
// unbinds it, after which the buttons do nothing.
void slot_set_request(SlotPanel* panel, FopRequest* r);
// The request a button acts on (its user data), or null.
FopRequest* slot_button_request(const QAbstractButton* button);
int slot_pause_cb(QAbstractButton* button);
int slot_cancel_cb(QAbstractButton* button);

// What ending the program and refreshing the instances do; tests replace them.
// Each returns the previous function; an empty one restores the default.
std::function<void()> slot_set_exit_fn(std::function<void()> fn);
std::function<void()> slot_set_refresh_fn(std::function<void()> fn);
