// The operations window and its slots: order and placement, the 50-slot limit,
// removal by the timer, Pause and Cancel on real buttons, and termination with
// real worker threads.
#include <QPointer>
#include <QPushButton>
#include <QScrollArea>
#include <cerrno>

#include "fop_fixture.h"
#include "shell/base.h"

using SlotWindow = SlotTest;

TEST_F(SlotWindow, NewestOnTopGapsCloseAndTheFiftyFirstIsRefused)
{
    SlotPanel* a = slot_add();
    SlotPanel* b = slot_add();
    SlotPanel* c = slot_add();
    ASSERT_TRUE(a && b && c);
    ASSERT_NE(slot_window(), nullptr);
    EXPECT_EQ(slot_window()->windowTitle(), "VELL: File Operations");
    auto* holder = slot_window()->findChild<QScrollArea*>("slots_holder");
    ASSERT_NE(holder, nullptr);
    const int h = a->height();
    ASSERT_GT(h, 0);
    EXPECT_EQ(std::vector<SlotPanel*>({slot_at(0), slot_at(1), slot_at(2)}), std::vector<SlotPanel*>({c, b, a}));
    EXPECT_EQ(std::vector<int>({c->y(), b->y(), a->y()}), std::vector<int>({0, h, 2 * h}));
    EXPECT_EQ(holder->height(), 3 * h);
    EXPECT_EQ(slot_remove(b), 0);
    EXPECT_EQ(std::vector<int>({c->y(), a->y()}), std::vector<int>({0, h}));
    EXPECT_EQ(holder->widget()->height(), 2 * h);
    slot_remove(a);
    slot_remove(c);
    EXPECT_EQ(slot_window(), nullptr);

    for (int i = 0; i < kMaxSlots; ++i)
        ASSERT_NE(slot_add(), nullptr) << i;
    errno = 0;
    EXPECT_EQ(slot_add(), nullptr);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(slot_count(), kMaxSlots);
    // Fifty panels do not fit any screen: the view is cut to whole slots and
    // widened for its scroll bar.
    holder = slot_window()->findChild<QScrollArea*>("slots_holder");
    EXPECT_LT(holder->height(), kMaxSlots * h);
    EXPECT_EQ(holder->height() % h, 0);
    EXPECT_GT(holder->width(), slot_at(0)->width());
}

TEST_F(SlotWindow, MarkedSlotsVanishOnTheNextTickAndTheLastTakesTheWindow)
{
    SlotPanel* a = slot_add();
    SlotPanel* b = slot_add();
    SlotPanel* c = slot_add();
    // Marked from worker threads, as the engine does.
    std::thread([a, c] {
        slot_mark_removed(a);
        slot_mark_removed(c);
    }).join();
    QElapsedTimer t;
    t.start();
    ASSERT_TRUE(spin_until([] { return slot_count() == 1; }, 1000));
    EXPECT_LT(t.elapsed(), 250);
    EXPECT_EQ(slot_at(0), b);
    EXPECT_EQ(b->y(), 0);
    EXPECT_EQ(refreshes, 1);
    spin(250);
    EXPECT_EQ(refreshes, 1);  // quiet ticks refresh nothing

    // The last one takes the window with it; the main window is still open, so
    // the program goes on.
    slot_mark_removed(b);
    ASSERT_TRUE(spin_until([] { return slot_window() == nullptr; }, 1000));
    EXPECT_EQ(refreshes, 2);
    EXPECT_EQ(exits, 0);

    // With the main window closed the program ends with the last operation; the
    // empty slot of a failed start does not hold it.
    slot_add();
    GuiFopUi ui;
    FakeOp op(ui, slot_add());
    EXPECT_EQ(gRunningOperations(), 1);
    base_window_closed = 1;
    spin(250);
    EXPECT_EQ(exits, 0);
    op.r->cancel.store(1);
    ASSERT_TRUE(spin_until([this] { return exits > 0; }, 1000));
    EXPECT_EQ(slot_count(), 1);
    ASSERT_TRUE(spin_until([&] { return op.done.load(); }, 1000));
}

TEST_F(SlotWindow, PauseTogglesAndCancelKeepsThePauseStateOnNo)
{
    SlotPanel* p = slot_add();
    p->ui->slot_pause->click();  // no request yet: nothing happens
    p->ui->slot_pause->setChecked(false);
    FopRequest r;
    slot_set_request(p, &r);
    p->ui->slot_pause->click();
    EXPECT_EQ(r.pause.load(), 1);
    p->ui->slot_pause->click();
    EXPECT_EQ(r.pause.load(), 0);

    std::vector<WMessage> seen;
    int paused_while_asked = -1;
    int answer = 2;
    w_set_message_handler([&](const WMessage& m) {
        seen.push_back(m);
        paused_while_asked = r.pause.load();
        return answer;
    });
    r.pause = 0;
    p->ui->cancel_button->click();
    EXPECT_EQ(paused_while_asked, 1);
    EXPECT_EQ(r.pause.load(), 0);
    EXPECT_EQ(r.cancel.load(), 0);
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].title, "File Operation");
    EXPECT_EQ(seen[0].text, "Do you want to terminate this operation ? ");
    EXPECT_EQ(seen[0].labels, QStringList({"&Yes", "&No"}));
    EXPECT_EQ(seen[0].escape_button, 2);

    answer = 1;
    r.pause = 0;
    p->ui->cancel_button->click();
    EXPECT_EQ(r.cancel.load(), 1);
    EXPECT_EQ(r.pause.load(), 0);

    // An operation that ends while the question is up is left alone: its
    // request stays allocated here so that a write after the end shows up.
    GuiFopUi ui;
    r.ui = &ui;
    r.slot = p;
    slot_set_request(p, &r);
    r.cancel = 0;
    std::atomic<bool> ended{false};
    w_set_message_handler([&](const WMessage&) {
        std::thread([&] {
            ui.finished(r);
            ended = true;
        }).detach();
        spin_until([&] { return ended.load(); });
        spin(250);  // long enough for the timer to take the panel away
        return 1;
    });
    QPointer<SlotPanel> panel(p);
    p->ui->cancel_button->click();
    EXPECT_TRUE(ended.load());
    EXPECT_EQ(r.cancel.load(), 0);
    EXPECT_EQ(r.pause.load(), 1);  // left as the question set it: the operation is over
    EXPECT_TRUE(spin_until([&] { return panel.isNull(); }, 500));
}

TEST_F(SlotWindow, TerminationCancelsEveryOperationAndExitsAfterTheLastWorker)
{
    slot_terminate_all();  // nothing running: at once
    EXPECT_EQ(exits, 1);
    exits = 0;
    base_window_closed = 0;

    GuiFopUi ui;
    std::vector<std::unique_ptr<FakeOp>> ops;
    for (int i = 0; i < 3; ++i)
        ops.push_back(std::make_unique<FakeOp>(ui, slot_add()));
    ops[1]->r->pause = 1;  // a paused one must end too
    spin(150);
    int done_at_exit = -1;
    slot_set_exit_fn([&] {
        ++exits;
        done_at_exit = 0;
        for (auto& op : ops)
            done_at_exit += op->done.load();
    });
    slot_terminate_all();
    EXPECT_EQ(base_window_closed, 1);
    EXPECT_EQ(exits, 0);
    ASSERT_TRUE(spin_until([this] { return exits > 0; }, 3000));
    EXPECT_EQ(done_at_exit, 3);
    EXPECT_EQ(slot_count(), 0);
    spin(250);
    EXPECT_EQ(exits, 1);
}
