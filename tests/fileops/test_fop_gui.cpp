// The GUI FopUi driven from real worker threads: questions handed to the GUI
// thread one at a time, notices dropped while a question is up, progress posted
// and coalesced, the long-name dialog, a GUI that keeps running throughout, and
// starting operations from the GUI down to a real copy.
#include <QDialog>
#include <QEventLoop>
#include <QLineEdit>
#include <QPushButton>
#include <QThread>
#include <QTimer>
#include <future>

#include "fop_fixture.h"
#include "shell/init_config.h"

using FopGui = SlotTest;

namespace {
// Runs fn on a new thread and hands back its result; the GUI keeps processing
// events while the test waits for it.
template <class F>
auto on_worker(F fn)
{
    auto task = std::packaged_task<decltype(fn())()>(std::move(fn));
    auto result = task.get_future();
    std::thread(std::move(task)).detach();
    EXPECT_TRUE(spin_until([&] { return result.wait_for(std::chrono::seconds(0)) == std::future_status::ready; },
                           5000));
    return result.get();
}
}  // namespace

TEST_F(FopGui, QuestionsOneAtATimeNoticesYieldAndTheGuiStaysResponsive)
{
    GuiFopUi ui;
    std::vector<std::unique_ptr<FopRequest>> reqs;
    for (int i = 0; i < 5; ++i) {
        reqs.push_back(std::make_unique<FopRequest>());
        reqs.back()->ui = &ui;
        reqs.back()->slot = slot_add();
        slot_set_request(slot_at(0), reqs.back().get());
    }
    // Three workers post progress a thousand times a second, a hundred times the
    // engine's rate; sleeping between posts keeps them from starving the GUI
    // thread of a core, which would measure the scheduler instead.
    std::atomic<bool> stop{false};
    std::vector<std::thread> workers;
    for (int i = 0; i < 3; ++i)
        workers.emplace_back([&, r = reqs[i].get()] {
            for (int n = 0; !stop.load(); ++n) {
                ui.show_progress(*r, {"", "", "", std::to_string(n) + " of 1000000", "", n % 101});
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });
    // Two more ask at once. A timer answers each later, the way a person would,
    // inside the box's own event loop, where a second hand-off would be
    // delivered if nothing kept it out. While a question is up a notice from
    // another worker is dropped, and its worker does not wait.
    std::vector<WMessage> seen;
    int up = 0, most_up = 0, closes = 0;
    bool on_gui = true;
    std::atomic<bool> notice_returned{false};
    std::thread notifier;
    w_set_message_handler([&](const WMessage& m) {
        on_gui = on_gui && QThread::currentThread() == qApp->thread();
        if (m.labels == QStringList({"&Close"}))
            return ++closes;
        seen.push_back(m);
        most_up = std::max(most_up, ++up);
        if (!notifier.joinable()) {
            notifier = std::thread([&] {
                ui.errinfo("Error", "dropped");
                notice_returned = true;
            });
            spin_until([&] { return notice_returned.load(); }, 1000);
        }
        QEventLoop loop;
        QTimer::singleShot(400, &loop, &QEventLoop::quit);
        loop.exec();
        --up;
        return 3;
    });
    std::atomic<int> answered{0};
    for (int i = 3; i < 5; ++i)
        workers.emplace_back([&, r = reqs[i].get()] {
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            answered += ui.alert(*r, "Copy/Move", "&Overwrite|Overwrite &All,@&Skip|#&Abort", "question");
        });

    QElapsedTimer clock;
    clock.start();
    qint64 last = 0, worst = 0;
    QTimer tick;
    QObject::connect(&tick, &QTimer::timeout, [&] {
        worst = std::max(worst, clock.elapsed() - last);
        last = clock.elapsed();
    });
    tick.start(10);
    EXPECT_TRUE(spin_until([&] { return answered.load() == 6; }, 5000));
    stop = true;
    for (auto& t : workers)
        t.join();
    notifier.join();
    EXPECT_LT(worst, 100);
    EXPECT_NE(slot_at(4)->ui->slot_n_text->text(), " ");  // progress did reach the panels
    EXPECT_TRUE(notice_returned.load());
    EXPECT_EQ(most_up, 1);
    EXPECT_EQ(closes, 0);
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[0].parent, nullptr);
    EXPECT_EQ(seen[0].title, "Copy/Move");
    EXPECT_EQ(seen[0].labels, QStringList({"&Overwrite", "Overwrite &All", "&Skip", "&Abort"}));
    EXPECT_EQ(seen[0].default_button, 3);
    EXPECT_EQ(seen[0].escape_button, 4);

    // With no question up a notice is shown; a locked call runs on the GUI
    // thread before it returns.
    QThread* ran_on = nullptr;
    EXPECT_TRUE(on_worker([&] {
        ui.errinfo("Error", "shown");
        ui.call_locked([&] { ran_on = QThread::currentThread(); });
        return ran_on != nullptr;
    }));
    EXPECT_EQ(ran_on, qApp->thread());
    EXPECT_EQ(closes, 1);
    EXPECT_TRUE(on_gui);
    for (int i = 0; i < 5; ++i)
        slot_set_request(slot_at(i), nullptr);
    spin(20);
}

TEST_F(FopGui, LongNameDialogRenamesOrSkips)
{
    GuiFopUi ui;
    const std::string src = "/src/" + std::string(60, 'a') + ".txt";
    const std::string proposed = "/dst/" + std::string(60, 'b') + ".txt";
    // The dialog runs its own event loop on the GUI thread, so the person at it
    // is played by a timer that looks for it there.
    auto ask = [&](std::function<void(QDialog*)> person, std::string& name) {
        QTimer look;
        QObject::connect(&look, &QTimer::timeout, [&] {
            for (QWidget* w : QApplication::topLevelWidgets())
                if (w->objectName() == "long_filename_dlg" && w->isVisible()) {
                    look.stop();
                    person(qobject_cast<QDialog*>(w));
                    return;
                }
        });
        look.start(10);
        return on_worker([&] { return ui.filename_too_long(src, proposed, name); });
    };

    QString old_shown, proposal;
    bool stayed_open_on_empty = false;
    std::string name;
    EXPECT_TRUE(ask(
        [&](QDialog* dlg) {
            EXPECT_EQ(dlg->windowTitle(), "Filename Too Long");
            auto* oldname = dlg->findChild<QLineEdit*>("long_filename_oldname");
            auto* newname = dlg->findChild<QLineEdit*>("long_filename_newname");
            auto* rename = dlg->findChild<QPushButton*>("long_filename_rename");
            ASSERT_TRUE(oldname && newname && rename);
            old_shown = oldname->text();
            proposal = newname->text();
            newname->clear();
            rename->click();
            stayed_open_on_empty = dlg->isVisible();
            newname->setText(QString(60, 'c'));  // the field holds 47 at most
            rename->click();
        },
        name));
    EXPECT_EQ(old_shown.toStdString(), std::string(60, 'a') + ".txt");
    EXPECT_EQ(proposal.toStdString(), std::string(47, 'b'));
    EXPECT_TRUE(stayed_open_on_empty);
    EXPECT_EQ(name, std::string(47, 'c'));

    EXPECT_FALSE(ask([](QDialog* dlg) { dlg->findChild<QPushButton*>("long_filename_skip")->click(); }, name));
}

TEST_F(FopGui, LatestViewReachesThePanelAndStaleOnesAreIgnored)
{
    GuiFopUi ui;
    SlotPanel* p = slot_add();
    FopRequest r;
    r.ui = &ui;
    r.slot = p;
    // Posted before the request is bound to its slot: shown all the same.
    std::thread([&] {
        for (int i = 1; i <= 500; ++i)
            ui.show_progress(r, {"Copying", "From: /a/" + std::to_string(i), "  To: /b",
                                 std::to_string(i) + " of 500", "3 seconds", i / 5});
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

TEST_F(FopGui, FailedStartReportsAndLeavesAnEmptySlotAndNoStartWithoutASlot)
{
    TmpDir dir;
    spit(dir / "file", "x");
    mkdir((dir / "sub").c_str(), 0755);
    int started = 0;
    std::vector<bool> singles;
    fop_gui_set_engine(
        [&](int, const std::string&, const std::vector<std::string>&, const std::string&, uint32_t, void*, auto,
            FopUi*) -> FopRequest* {
            ++started;
            errno = EINVAL;
            return nullptr;
        },
        [&](uint32_t, int, bool single) {
            singles.push_back(single);
            return 0u;
        });
    testing::internal::CaptureStderr();
    EXPECT_EQ(fop_start_cmd(FOP_DELETE, dir.path(), {"file"}, ""), -1);
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("failed to start operation!: Invalid argument\n"), std::string::npos) << err;
    ASSERT_EQ(slot_count(), 1);
    EXPECT_EQ(slot_at(0)->request(), nullptr);
    slot_at(0)->ui->cancel_button->click();  // no request: no question either

    // The flags are asked for with whether it is a single plain file: not a
    // directory, nor more than one name.
    fop_start_cmd(FOP_DELETE, dir.path(), {"sub"}, "");
    fop_start_cmd(FOP_COPY, dir.path(), {"file", "sub"}, "/tmp");
    EXPECT_EQ(singles, std::vector<bool>({true, false, false}));

    while (slot_count() < kMaxSlots)
        slot_add();
    EXPECT_EQ(fop_start_cmd(FOP_COPY, "/tmp", {"a"}, "/x"), -1);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(started, 3);
}

// The whole way through: the real engine on its thread, the request bound to its
// panel's buttons, its overwrite question answered on the GUI thread, the panel
// gone once the worker is done.
TEST_F(FopGui, RealCopyAsksThroughTheGuiAndEnds)
{
    fop_set_done_delay_ms(0);
    TmpDir src, dst;
    spit(src / "a", "new contents");
    spit(dst / "a", "old");
    std::vector<WMessage> asked;
    bool bound = false;
    w_set_message_handler([&](const WMessage& m) {
        asked.push_back(m);
        SlotPanel* p = slot_at(0);
        bound = p && p->request() && slot_button_request(p->ui->slot_pause) == p->request() &&
                slot_button_request(p->ui->cancel_button) == p->request();
        return 2;  // "&Overwrite"
    });
    ConfigRecord rec;
    init_config_defaults(rec);
    ConfigRecord* saved = gConfig;
    gConfig = &rec;
    ASSERT_EQ(fop_start_cmd(FOP_COPY, src.path(), {"a"}, dst.path()), 0);
    EXPECT_TRUE(spin_until([] { return slot_count() == 0; }, 5000));
    gConfig = saved;
    ASSERT_EQ(asked.size(), 1u);
    EXPECT_TRUE(bound);
    EXPECT_EQ(asked[0].title, "Copy/Move");
    EXPECT_EQ(asked[0].text.toStdString(), "The '" + dst.path() + "/a' file exists.\nWhat do you want to do ?\n");
    EXPECT_EQ(asked[0].labels, QStringList({"&Skip", "&Overwrite", "Overwrite &All", "a&Bort"}));
    EXPECT_EQ(slurp(dst / "a"), "new contents");
    fop_set_done_delay_ms(1000);
}
