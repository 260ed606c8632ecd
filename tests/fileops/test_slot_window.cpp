// The operations window and its slots: Pause and Cancel on real buttons, a
// window closed by the user, and termination with real worker threads.
#include <QPointer>
#include <QPushButton>
#include <QScrollArea>
#include <cerrno>

#include "fop_fixture.h"
#include "shell/base.h"

using SlotWindow = SlotTest;

TEST_F(SlotWindow, PauseSaysSoAndCancelKeepsThePauseStateOnNo)
{
    SlotPanel* p = slot_add();
    auto header = [p] { return p->ui->slot_header_text->text().toStdString(); };
    p->ui->slot_pause->click();  // no request yet: nothing happens
    p->ui->slot_pause->setChecked(false);
    FopRequest r;
    slot_set_request(p, &r);

    // Paused says so, also over a refresh the worker sent before it stopped;
    // Continue shows the worker's own header again.
    p->ui->slot_pause->click();
    fop_gui_apply_view(p, &r, {"Moving", "", "", "1 of 2", " ", 20});
    EXPECT_EQ(header(), "Paused");
    p->ui->slot_pause->click();
    EXPECT_EQ(header(), "Moving");

    std::vector<WMessage> seen;
    int paused_while_asked = -1;
    w_set_message_handler([&](const WMessage& m) {
        seen.push_back(m);
        paused_while_asked = r.pause.load();
        return 2;  // "&No"
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

    // An operation that ends while the question is up is left alone: its
    // request stays allocated here so that a write after the end shows up.
    // Its panel and the window, the question's parent, stay until it is answered.
    GuiFopUi ui;
    r.ui = &ui;
    r.slot = p;
    slot_set_request(p, &r);
    r.cancel = 0;
    std::atomic<bool> ended{false};
    QPointer<SlotPanel> panel(p);
    QPointer<QWidget> window(slot_window());
    w_set_message_handler([&](const WMessage& m) {
        std::thread([&] {
            ui.finished(r);
            ended = true;
        }).detach();
        spin_until([&] { return ended.load(); });
        slot_timer();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        EXPECT_TRUE(panel && window && m.parent == window);
        return 1;
    });
    p->ui->cancel_button->click();
    EXPECT_TRUE(ended.load());
    EXPECT_EQ(r.cancel.load(), 0);
    EXPECT_EQ(r.pause.load(), 1);  // left as the question set it: the operation is over
    EXPECT_TRUE(spin_until([&] { return panel.isNull() && window.isNull(); }, 500));
}

TEST_F(SlotWindow, AClosedWindowComesBackWithTheNextOperation)
{
    slot_add();
    slot_window()->close();  // the window manager's close button: hidden while work runs
    EXPECT_FALSE(slot_window()->isVisible());
    slot_add();
    EXPECT_TRUE(slot_window()->isVisible());
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
