// The GUI FopUi driven from real worker threads: questions handed to the GUI
// thread one at a time, notices dropped while a question is up, progress posted
// and coalesced, the long-name dialog, and a GUI that keeps running throughout.
#include <QDialog>
#include <QEventLoop>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QThread>
#include <QTimer>
#include <future>

#include "test_slot_support.h"
#include "ui_pict_db.h"

using FopGuiQuestions = SlotTest;
using FopGuiProgress = SlotTest;

namespace {
// Runs fn on a new thread and hands back its result; the GUI keeps processing
// events while the test waits for it.
template <class F>
auto on_worker(F fn)
{
    auto task = std::packaged_task<decltype(fn())()>(std::move(fn));
    auto result = task.get_future();
    std::thread(std::move(task)).detach();
    EXPECT_TRUE(spin_until([&] {
        return result.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    }, 5000));
    return result.get();
}

QDialog* find_dialog(const char* name)
{
    for (QWidget* w : QApplication::topLevelWidgets())
        if (w->objectName() == name && w->isVisible())
            return qobject_cast<QDialog*>(w);
    return nullptr;
}
}  // namespace

TEST_F(FopGuiQuestions, AlertIsShownOnTheGuiThreadAndAnswered)
{
    GuiFopUi ui;
    FopRequest r;
    std::vector<WMessage> seen;
    bool on_gui = false;
    w_set_message_handler([&](const WMessage& m) {
        seen.push_back(m);
        on_gui = QThread::currentThread() == qApp->thread();
        return 3;
    });
    const int answer = on_worker([&] {
        return ui.alert(r, "Copy/Move", "&Overwrite|Overwrite &All,@&Skip|#&Abort",
                        "The '/tmp/x' file exists.\nWhat do you want to do ?\n");
    });
    EXPECT_EQ(answer, 3);
    EXPECT_TRUE(on_gui);
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].parent, nullptr);
    EXPECT_EQ(seen[0].title, "Copy/Move");
    EXPECT_EQ(seen[0].labels, QStringList({"&Overwrite", "Overwrite &All", "&Skip", "&Abort"}));
    EXPECT_EQ(seen[0].default_button, 3);
    EXPECT_EQ(seen[0].escape_button, 4);
}

TEST_F(FopGuiQuestions, OneQuestionAtATimeAndNoticesYieldToIt)
{
    GuiFopUi ui;
    FopRequest r1, r2;
    int up = 0, most_up = 0, closes = 0;
    std::atomic<bool> notice_returned{false};
    std::thread notifier;
    w_set_message_handler([&](const WMessage& m) {
        if (m.labels == QStringList({"&Close"})) {
            ++closes;
            return 1;
        }
        most_up = std::max(most_up, ++up);
        // While a question is up a notice from another worker is dropped, and
        // its worker does not wait.
        if (!notifier.joinable()) {
            notifier = std::thread([&] {
                ui.errinfo("Error", "dropped");
                notice_returned = true;
            });
            spin_until([&] { return notice_returned.load(); }, 1000);
        }
        // A real box runs its own event loop: a second worker's hand-off would
        // be delivered right here if nothing kept it out.
        spin(120);
        --up;
        return 1;
    });
    std::atomic<int> answered{0};
    std::thread a([&] { answered += ui.alert(r1, "A", "&Yes|&No", "first"); });
    std::thread b([&] { answered += ui.alert(r2, "B", "&Yes|&No", "second"); });
    ASSERT_TRUE(spin_until([&] { return answered.load() == 2; }));
    a.join();
    b.join();
    notifier.join();
    EXPECT_TRUE(notice_returned.load());
    EXPECT_EQ(most_up, 1);
    EXPECT_EQ(closes, 0);

    on_worker([&] {
        ui.errinfo("Error", "shown");
        return 0;
    });
    EXPECT_EQ(closes, 1);
}

TEST_F(FopGuiQuestions, CallLockedRunsOnTheGuiThreadBeforeReturning)
{
    GuiFopUi ui;
    QThread* ran_on = nullptr;
    const bool seen_after = on_worker([&] {
        ui.call_locked([&] { ran_on = QThread::currentThread(); });
        return ran_on != nullptr;
    });
    EXPECT_TRUE(seen_after);
    EXPECT_EQ(ran_on, qApp->thread());
}

TEST_F(FopGuiQuestions, LongNameDialogRenamesOrSkips)
{
    GuiFopUi ui;
    const std::string src = "/src/" + std::string(60, 'a') + ".txt";
    const std::string proposed = "/dst/" + std::string(60, 'b') + ".txt";
    struct Outcome {
        bool renamed = false;
        std::string name;
    };
    // The dialog runs its own event loop on the GUI thread, so the person at it
    // is played by a timer that looks for it there.
    auto ask = [&](std::function<void(QDialog*)> person) {
        QTimer look;
        QObject::connect(&look, &QTimer::timeout, [&] {
            if (QDialog* dlg = find_dialog("long_filename_dlg")) {
                look.stop();
                person(dlg);
            }
        });
        look.start(10);
        return on_worker([&] {
            Outcome o;
            o.renamed = ui.filename_too_long(src, proposed, o.name);
            return o;
        });
    };

    QString old_shown, proposal;
    bool stayed_open_on_empty = false;
    Outcome o = ask([&](QDialog* dlg) {
        EXPECT_EQ(dlg->windowTitle(), "Filename Too Long");
        auto* oldname = dlg->findChild<QLineEdit*>("long_filename_oldname");
        auto* newname = dlg->findChild<QLineEdit*>("long_filename_newname");
        auto* rename = dlg->findChild<QPushButton*>("long_filename_rename");
        ASSERT_TRUE(oldname && newname && rename && dlg->findChild<QPushButton*>("long_filename_skip"));
        old_shown = oldname->text();
        proposal = newname->text();
        newname->clear();
        rename->click();
        stayed_open_on_empty = dlg->isVisible();
        newname->setText(QString(60, 'c'));  // the field holds 47 at most
        rename->click();
    });
    EXPECT_EQ(old_shown.toStdString(), std::string(60, 'a') + ".txt");
    EXPECT_EQ(proposal.toStdString(), std::string(47, 'b'));
    EXPECT_TRUE(stayed_open_on_empty);
    EXPECT_TRUE(o.renamed);
    EXPECT_EQ(o.name, std::string(47, 'c'));

    o = ask([](QDialog* dlg) { dlg->findChild<QPushButton*>("long_filename_skip")->click(); });
    EXPECT_FALSE(o.renamed);
}

TEST_F(FopGuiProgress, LatestViewReachesThePanelAndStaleOnesAreIgnored)
{
    GuiFopUi ui;
    SlotPanel* p = slot_add();
    FopRequest r;
    r.ui = &ui;
    r.slot = p;
    // Posted before the request is bound to its slot: shown all the same.
    std::thread([&] {
        for (int i = 1; i <= 500; ++i) {
            FopSlotView v;
            v.header = "Copying";
            v.first_line = "From: /a/" + std::to_string(i);
            v.second_line = "  To: /b";
            v.count_text = std::to_string(i) + " of 500";
            v.time_text = "3 seconds";
            v.percent = i / 5;
            ui.show_progress(r, v);
        }
    }).join();
    slot_set_request(p, &r);
    spin(50);
    EXPECT_EQ(p->ui->slot_header_text->text(), "Copying");
    EXPECT_EQ(p->ui->slot_from_text->text(), "From: /a/500");
    EXPECT_EQ(p->ui->slot_to_text->text(), "  To: /b");
    EXPECT_EQ(p->ui->slot_n_text->text(), "500 of 500");
    EXPECT_EQ(p->ui->slot_time_text->text(), "3 seconds");
    EXPECT_EQ(p->ui->slot_progress_bar->value(), 100);

    // Another request's view never lands on this panel.
    FopRequest other;
    fop_gui_apply_view(p, &other, FopSlotView{"Deleting", "", "", "", "", 5});
    EXPECT_EQ(p->ui->slot_header_text->text(), "Copying");

    // After its end the panel takes nothing more, and once gone nothing breaks.
    on_worker([&] {
        ui.finished(r);
        return 0;
    });
    EXPECT_EQ(slot_button_request(p->ui->cancel_button), nullptr);
    fop_gui_apply_view(p, &r, FopSlotView{"Late", "", "", "", "", 1});
    EXPECT_EQ(p->ui->slot_header_text->text(), "Copying");
    ASSERT_TRUE(spin_until([] { return slot_count() == 0; }, 1000));
    fop_gui_apply_view(p, &r, FopSlotView{"Later", "", "", "", "", 1});
}

TEST_F(FopGuiProgress, GuiStaysResponsiveWhileOperationsRunAndOneAsks)
{
    GuiFopUi ui;
    std::vector<std::unique_ptr<FopRequest>> reqs;
    for (int i = 0; i < 4; ++i) {
        reqs.push_back(std::make_unique<FopRequest>());
        reqs.back()->ui = &ui;
        reqs.back()->slot = slot_add();
        slot_set_request(slot_at(0), reqs.back().get());
    }
    // Three workers post progress a thousand times a second, a hundred times the
    // engine's rate; sleeping between posts keeps them from starving the GUI
    // thread of a core, which would measure the scheduler instead.
    std::atomic<bool> stop{false};
    std::vector<std::thread> copiers;
    for (int i = 0; i < 3; ++i)
        copiers.emplace_back([&, r = reqs[i].get()] {
            FopSlotView v;
            for (int n = 0; !stop.load(); ++n) {
                v.count_text = std::to_string(n) + " of 1000000";
                v.percent = n % 101;
                ui.show_progress(*r, v);
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });
    // The fourth waits on a question that a timer answers later, the way a
    // person would, inside the box's own event loop.
    w_set_message_handler([](const WMessage&) {
        QEventLoop loop;
        QTimer::singleShot(400, &loop, &QEventLoop::quit);
        loop.exec();
        return 2;
    });
    std::atomic<int> answer{0};
    std::thread asker([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        answer = ui.alert(*reqs[3], "Copy/Move", "&Yes|&No", "question");
    });

    QElapsedTimer clock;
    clock.start();
    qint64 last = 0, worst = 0;
    QTimer tick;
    QObject::connect(&tick, &QTimer::timeout, [&] {
        const qint64 now = clock.elapsed();
        worst = std::max(worst, now - last);
        last = now;
    });
    tick.start(10);
    spin_until([&] { return answer.load() != 0 && clock.elapsed() > 1000; }, 5000);
    stop = true;
    for (auto& t : copiers)
        t.join();
    asker.join();
    EXPECT_EQ(answer.load(), 2);
    EXPECT_LT(worst, 100);
    EXPECT_NE(slot_at(3)->ui->slot_n_text->text(), " ");  // progress did reach the panels
    for (int i = 0; i < 4; ++i)
        slot_set_request(slot_at(i), nullptr);
    spin(20);
}
