// Shared by the slot and GUI-operation tests: event spinning, a clean slot table
// per test, and a fake operation whose worker thread behaves like the engine's.
#pragma once
#include <gtest/gtest.h>

#include <QApplication>
#include <QElapsedTimer>
#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "fileops/fop_gui.h"
#include "fileops/fop_request.h"
#include "fileops/slot_window.h"
#include "shell/globals.h"
#include "shell/w_msg.h"

// Processes events until pred holds or ms pass; returns pred().
inline bool spin_until(const std::function<bool()>& pred, int ms = 3000)
{
    QElapsedTimer t;
    t.start();
    while (!pred() && t.elapsed() < ms)
        QApplication::processEvents(QEventLoop::AllEvents, 5);
    return pred();
}

inline void spin(int ms)
{
    spin_until([] { return false; }, ms);
}

inline void drop_all_slots()
{
    while (SlotPanel* p = slot_at(0))
        slot_remove(p);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

// Every test starts with no slot, an open main window, and counted instead of
// real exits and refreshes.
class SlotTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        drop_all_slots();
        base_window_closed = 0;
        old_exit = slot_set_exit_fn([this] { ++exits; });
        old_refresh = slot_set_refresh_fn([this] { ++refreshes; });
    }
    void TearDown() override
    {
        drop_all_slots();
        base_window_closed = 0;
        slot_set_exit_fn(old_exit);
        slot_set_refresh_fn(old_refresh);
        w_set_message_handler({});
    }
    int exits = 0;
    int refreshes = 0;
    std::function<void()> old_exit, old_refresh;
};

// A running operation: its worker posts progress until cancelled (waiting while
// paused), then calls finished() and frees its request, as the engine's does.
struct FakeOp {
    explicit FakeOp(FopUi& ui, SlotPanel* panel)
    {
        r = new FopRequest;
        r->ui = &ui;
        r->slot = panel;
        slot_set_request(panel, r);
        std::thread([this, req = r] {
            int n = 0;
            while (!req->cancel.load()) {
                if (!req->pause.load()) {
                    FopSlotView v;
                    v.header = "Copying";
                    v.count_text = std::to_string(++n) + " of 1000";
                    v.percent = n % 100;
                    req->ui->show_progress(*req, v);
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
            }
            req->ui->finished(*req);
            delete req;
            done.store(true);
        }).detach();
    }
    FopRequest* r;  // gone once done
    std::atomic<bool> done{false};
};
