// The GUI FopUi driven from real worker threads: questions handed to the GUI
// thread one at a time, notices dropped while a question is up, progress posted
// and coalesced, the long-name dialog, and starting operations from the GUI.
// How long the event loop waits meanwhile is a benchmark's business
// (bench_filelist), not a test's.
#include <QDialog>
#include <QEventLoop>
#include <QLineEdit>
#include <QPushButton>
#include <QThread>
#include <QTimer>
#include <future>

#include "fop_fixture.h"
#include "shell/kit/init_config.h"

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

TEST_F(FopGui, QuestionsOneAtATimeAndNoticesYield)
{
    GuiFopUi ui;
    // Three operations post progress at fifty times the engine's rate.
    std::vector<std::unique_ptr<FakeOp>> ops;
    for (int i = 0; i < 3; ++i)
        ops.push_back(std::make_unique<FakeOp>(ui, slot_add()));
    // Two more ask at once; each is answered later from inside the box's own event
    // loop, where a second hand-off would arrive if nothing kept it out. A notice
    // from another worker meanwhile is dropped without its worker waiting.
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
    FopRequest asking[2];
    std::vector<std::thread> askers;
    for (auto& r : asking)
        askers.emplace_back([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            answered += ui.alert(r, "Copy/Move", "&Overwrite|Overwrite &All,@&Skip|#&Abort", "question");
        });

    EXPECT_TRUE(spin_until([&] { return answered.load() == 6; }, 5000));
    for (auto& t : askers)
        t.join();
    spin_until([&] { return notice_returned.load(); });  // a notice that waited needs the GUI thread
    notifier.join();
    EXPECT_NE(slot_at(2)->ui->slot_n_text->text(), " ");  // progress did reach the panels
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
    for (auto& op : ops)
        op->r->cancel = 1;
    EXPECT_TRUE(spin_until([&] { return ops[0]->done && ops[1]->done && ops[2]->done; }));
}

TEST_F(FopGui, LongNameDialogRenamesOrSkips)
{
    GuiFopUi ui;
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
        return on_worker([&] {
            return ui.filename_too_long("/src/" + std::string(60, 'a'), "/dst/" + std::string(60, 'b'), name);
        });
    };
    QString old_shown, proposal;
    bool stayed_open_on_empty = false;
    std::string name;
    EXPECT_TRUE(ask(
        [&](QDialog* dlg) {
            EXPECT_EQ(dlg->windowTitle(), "Filename Too Long");
            auto* newname = dlg->findChild<QLineEdit*>("long_filename_newname");
            auto* rename = dlg->findChild<QPushButton*>("long_filename_rename");
            old_shown = dlg->findChild<QLineEdit*>("long_filename_oldname")->text();
            proposal = newname->text();
            newname->clear();
            rename->click();
            stayed_open_on_empty = dlg->isVisible();
            newname->setText(QString(60, 'c'));  // the field holds 47 at most
            rename->click();
        },
        name));
    EXPECT_EQ(old_shown.toStdString(), std::string(60, 'a'));
    EXPECT_EQ(proposal.toStdString(), std::string(47, 'b'));
    EXPECT_TRUE(stayed_open_on_empty);
    EXPECT_EQ(name, std::string(47, 'c'));
    EXPECT_FALSE(ask([](QDialog* dlg) { dlg->findChild<QPushButton*>("long_filename_skip")->click(); }, name));
}

// A delete's flags are asked for with whether it is a single plain file: not a
// directory, nor more than one name. The status call that tells may hang on a
// dead mount: the operation starts when it answers, or as for a directory after
// the time-out, and the GUI does not wait for it meanwhile.
TEST_F(FopGui, FailedStartLeavesAnEmptySlotADeleteWaitsForItsStatusAndNoStartWithoutASlot)
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
        [&](uint32_t, int, bool single) { singles.push_back(single); return 0u; });
    testing::internal::CaptureStderr();
    EXPECT_EQ(fop_start_cmd(FOP_COPY, dir.path(), {"file"}, "/tmp"), -1);
    ASSERT_EQ(slot_count(), 1);
    EXPECT_EQ(slot_at(0)->request(), nullptr);
    slot_at(0)->ui->cancel_button->click();  // no request: no question either

    std::promise<void> gates[2];
    static std::atomic<int> inside, back;  // outlive the test, as the hung call may
    const auto hang_on = [&](std::promise<void>& gate) {
        return [open = gate.get_future().share()](const char* path, struct stat* st) {
            if (std::string(path).ends_with("/file")) {
                ++inside;
                open.wait_for(std::chrono::seconds(30));
                ++back;
            }
            return ::lstat(path, st);
        };
    };
    fop_gui_set_stat(hang_on(gates[0]), std::chrono::minutes(5));
    EXPECT_EQ(fop_start_cmd(FOP_DELETE, dir.path(), {"file"}, ""), 0);
    EXPECT_TRUE(spin_until([&] { return inside == 1 && singles.size() == 1; }));
    gates[0].set_value();
    EXPECT_TRUE(spin_until([&] { return singles.size() == 2; }));
    fop_start_cmd(FOP_DELETE, dir.path(), {"sub"}, "");
    fop_start_cmd(FOP_COPY, dir.path(), {"file", "sub"}, "/tmp");
    EXPECT_TRUE(spin_until([&] { return singles == std::vector<bool>({false, true, false, false}); }));

    // Still hanging at the time-out: started as for a directory, and only once.
    fop_gui_set_stat(hang_on(gates[1]), std::chrono::milliseconds(20));
    fop_start_cmd(FOP_DELETE, dir.path(), {"file"}, "");
    EXPECT_TRUE(spin_until([&] { return singles.size() == 5; }));
    EXPECT_EQ(back, 1);
    gates[1].set_value();
    spin_until([&] { return back == 2; });
    spin(100);
    EXPECT_EQ(singles, std::vector<bool>({false, true, false, false, false}));
    fop_gui_set_stat({}, {});

    while (slot_count() < kMaxSlots)
        slot_add();
    EXPECT_EQ(fop_start_cmd(FOP_COPY, "/tmp", {"a"}, "/x"), -1);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(started, 5);
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("failed to start operation!: Invalid argument\n"), std::string::npos) << err;
}
