// Copy, Cut, Paste, Delete and drops through the real clipboard of the offscreen
// platform, the real engine and real files.
#include <QClipboard>
#include <QDrag>
#include <QDropEvent>
#include <QMimeData>

#include "../filelist/fl_gui_fixture.h"
#include "clipboard/clip.h"
#include "fileops/fop_engine.h"
#include "fileops/slot_window.h"
#include "filelist/fl_select.h"

namespace {
class ClipTest : public FlGuiTest {
protected:
    void SetUp() override
    {
        FlGuiTest::SetUp();
        fop_set_done_delay_ms(0);
        QGuiApplication::clipboard()->clear();
    }
    void TearDown() override
    {
        fop_set_done_delay_ms(1000);
        FlGuiTest::TearDown();
    }
    QByteArray clip(const char* format) { return QGuiApplication::clipboard()->mimeData()->data(format); }
    bool operations_end() { return QTest::qWaitFor([] { return slot_count() == 0; }, 10000); }
    bool exists(const std::string& p) { return std::filesystem::exists(std::filesystem::symlink_status(p)); }
};
}  // namespace

TEST_F(ClipTest, CutShowsUntilCopyReplacesItAndOtherProgramsReadTheBytes)
{
    for (const char* n : {"caf\xe9", "a b#c", "plain"})
        make_file(n);
    open();
    select({"caf\xe9", "a b#c"});
    em_cut();
    EXPECT_EQ(gDir.selected, 0);
    EXPECT_EQ(model()->index(row_named("a b#c"), 0).data(FlImageRole).toInt(), FL_IMG_FILE_CUT);
    EXPECT_EQ(model()->index(row_named("plain"), 0).data(FlImageRole).toInt(), FL_IMG_FILE);
    EXPECT_TRUE(clip(kMimeFiles).isEmpty());
    EXPECT_EQ(em_check_clipboard_for_type(-1, "mvfiles"), 1);
    const std::string uri = "file://" + dir.path();
    EXPECT_EQ(clip("x-special/gnome-copied-files").toStdString(),
              "cut\n" + uri + "/a%20b%23c\n" + uri + "/caf%E9");
    EXPECT_EQ(clip("application/x-kde-cutselection"), "1");
    em_paste();  // into the directory they came from: nothing to do
    EXPECT_EQ(slot_count(), 0);

    select({"plain"});
    em_copy();
    EXPECT_TRUE(clip(kMimeMvFiles).isEmpty());
    EXPECT_EQ(clip("text/uri-list").toStdString(), uri + "/plain\r\n");
    EXPECT_EQ(em_check_clipboard_for_type(-1, "files"), 1);
    EXPECT_EQ(model()->index(row_named("a b#c"), 0).data(FlImageRole).toInt(), FL_IMG_FILE);
}

TEST_F(ClipTest, DeleteTrashesOrAsksByTheSettings)
{
    for (const char* n : {"one", "two", "three", "four"})
        make_file(n);
    open();
    std::vector<WMessage> asked;
    int answer = 2;
    w_set_message_handler([&](const WMessage& m) {
        asked.push_back(m);
        return answer;
    });
    // Del moves to the Trash and asks nothing: it can be undone.
    select({"four"});
    em_delete();
    ASSERT_TRUE(operations_end());
    EXPECT_TRUE(asked.empty());
    EXPECT_FALSE(exists(dir / "four"));
    EXPECT_TRUE(exists(data / "Trash/files/four"));
    EXPECT_TRUE(exists(data / "Trash/info/four.trashinfo"));

    // Shift+Del asks as Preferences say, and so does Del with the Trash turned off.
    select({"one"});
    em_delete_permanent();
    ASSERT_EQ(asked.size(), 1u);
    EXPECT_EQ(asked[0].title, "Delete Permanently");
    EXPECT_EQ(asked[0].text, "Do you wish to delete 'one' permanently?\nIt does not go to the Trash and cannot be undone.\n");
    EXPECT_EQ(asked[0].labels, QStringList({"&Delete", "&Cancel"}));
    EXPECT_EQ(asked[0].default_button, 1);
    EXPECT_EQ(asked[0].escape_button, 2);
    gConfig->set_options(gConfig->options() | cfg::OPT_DELETE_PERMANENT);
    select({"one", "two"});
    em_delete();
    EXPECT_EQ(asked.back().text,
              "Do you wish to delete these 2 files permanently?\nThey do not go to the Trash and cannot be undone.\n");
    EXPECT_EQ(slot_count(), 0);
    EXPECT_TRUE(exists(dir / "one"));

    gConfig->set_options((gConfig->options() & ~cfg::OPT_RM1_PROMPT) | cfg::OPT_RM1_NO_PROMPT);
    select({"three"});
    em_delete();
    EXPECT_EQ(asked.size(), 2u);
    ASSERT_TRUE(operations_end());
    EXPECT_FALSE(exists(dir / "three"));
    EXPECT_FALSE(exists(data / "Trash/files/three"));
}

TEST_F(ClipTest, RefusedRecordsDragsAndDropsOnRowsAndListTheQuickReturnAndFromOtherPrograms)
{
    for (const char* d : {"here/sub", "out/o1", "out/o2", "out/o3", "out/o4", "src/sub"})
        make_dir(d);
    for (const char* n : {"here/a", "here/b", "here/c", "elsewhere", "src/ok"})
        make_file(n);
    gStartPath = dir / "here";
    open();
    // A record naming more than entries of its directory, pasted (from another
    // instance or program) or dropped, copies and moves nothing, and says why.
    const std::string src = dir / "src";
    auto offer = [](const char* format, const std::string& bytes) {
        auto* m = new QMimeData;
        m->setData(format, QByteArray::fromStdString(bytes));
        QGuiApplication::clipboard()->setMimeData(m);
    };
    for (const FileTransf& t : {FileTransf{2, src, {"ok", ".."}}, {1, src, {""}}, {1, src, {"sub/.."}}, {1, "src", {"ok"}}}) {
        offer(kMimeMvFiles, transf_pack(t));
        em_paste();
        QMimeData dropped;
        dropped.setData(kMimeFiles, QByteArray::fromStdString(transf_pack(t)));
        EXPECT_EQ(fl_drop(&dropped, -2, FOP_MOVE), -1);
    }
    offer(kUriList, "file://" + src + "/ok\r\nfile://" + src + "/.\r\n");
    em_paste();
    EXPECT_EQ(slot_count(), 0);
    ASSERT_EQ(messages.size(), 2 * 4 + 1);
    EXPECT_EQ(messages[0], "Nothing was pasted: '..' is not a file name.\n"
                           "A name cannot be empty, \".\" or \"..\", nor hold \"/\".");
    EXPECT_EQ(messages[7], "Nothing was dropped: 'src' is not a full path.");
    EXPECT_TRUE(messages[8].startsWith("Nothing was pasted: '.' "));
    QTest::qWait(50);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir / "here"), {}), 4);
    EXPECT_TRUE(exists(src + "/ok") && exists(src + "/sub"));

    // A plain press on a selected row and a move drag the whole selection; a click
    // there selects that row alone; a press elsewhere and a move select rows.
    std::vector<QByteArray> dragged;
    fl_set_drag_exec([&](QDrag* d) { dragged.push_back(d->mimeData()->data(kMimeFiles)); });
    QWidget* vp = list()->viewport();
    auto send = [&](QEvent::Type type, const char* row) {
        const QPoint at = row_point(row_named(row));
        QMouseEvent e(type, at, vp->mapToGlobal(at), type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton,
                      type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(vp, &e);
    };
    select({"a", "c"});
    send(QEvent::MouseButtonPress, "c");
    send(QEvent::MouseMove, "a");
    ASSERT_EQ(dragged.size(), 1u);
    EXPECT_EQ(dragged[0].toStdString(), transf_pack({2, dir / "here", {"a", "c"}}));
    EXPECT_EQ(selected_records(), QStringList({"a", "c"}));
    send(QEvent::MouseButtonPress, "a");
    send(QEvent::MouseButtonRelease, "a");
    EXPECT_EQ(selected_records(), QStringList({"a"}));
    send(QEvent::MouseButtonPress, "b");
    send(QEvent::MouseMove, "c");
    send(QEvent::MouseButtonRelease, "c");
    EXPECT_EQ(dragged.size(), 1u);
    EXPECT_EQ(selected_records(), QStringList({"b", "c"}));
    fl_set_drag_exec(nullptr);

    auto drop = [&](std::initializer_list<const char*> names, const char* onto, Qt::KeyboardModifiers mods) {
        select(names);
        QMimeData data;
        const std::string packed = transf_pack(fl_pack_transf());
        data.setData(kMimeFiles, QByteArray(packed.data(), packed.size()));
        const QRect r = list()->visualRect(model()->index(onto ? row_named(onto) : 0, 0));
        const QPoint at = onto ? r.center() : QPoint(5, list()->viewport()->height() - 5);
        // Proposing Copy only with Ctrl, as another instance's drag does.
        const Qt::DropActions offer = mods ? Qt::CopyAction | Qt::MoveAction : Qt::MoveAction;
        QDragEnterEvent enter(at, offer, &data, Qt::LeftButton, mods);
        QApplication::sendEvent(list()->viewport(), &enter);
        QDropEvent e(at, offer, &data, Qt::LeftButton, mods);
        QApplication::sendEvent(list()->viewport(), &e);
        return operations_end();
    };
    dnd_start_timestamp = 0;
    ASSERT_TRUE(drop({"a"}, "..", {}));
    EXPECT_TRUE(exists(dir / "a"));
    EXPECT_FALSE(exists(dir / "here/a"));
    ASSERT_TRUE(drop({"b"}, "sub", Qt::ControlModifier));
    EXPECT_TRUE(exists(dir / "here/sub/b"));
    EXPECT_TRUE(exists(dir / "here/b"));
    drop({"c"}, nullptr, {});  // onto the list it came from
    drop({"sub"}, "sub", {});  // onto itself
    EXPECT_TRUE(exists(dir / "here/c"));
    EXPECT_FALSE(exists(dir / "here/sub/sub"));

    dnd_start_timestamp = std::chrono::duration_cast<std::chrono::milliseconds>(
                              std::chrono::steady_clock::now().time_since_epoch()).count();
    drop({"c"}, "..", {});
    EXPECT_TRUE(exists(dir / "here/c"));

    // Another program's drag takes the action its source proposes (Shift proposes
    // Move), within what the source allows; the drop does what the cursor showed.
    dnd_start_timestamp = 0;
    const std::tuple<std::string, Qt::DropActions, Qt::KeyboardModifiers, Qt::DropAction> cases[] = {
        {"o1", Qt::CopyAction, {}, Qt::CopyAction},
        {"o2", Qt::CopyAction | Qt::MoveAction, Qt::ShiftModifier, Qt::MoveAction},
        {"o3", Qt::CopyAction | Qt::MoveAction, {}, Qt::CopyAction},
        {"o4", Qt::LinkAction, {}, Qt::IgnoreAction},
    };
    const QPoint at(5, list()->viewport()->height() - 5);
    for (const auto& [name, offer, mods, want] : cases) {
        QMimeData data;
        data.setData(kUriList, QByteArray::fromStdString(uri_from_path(dir / ("out/" + name)) + "\r\n"));
        QDragEnterEvent enter(at, offer, &data, Qt::LeftButton, mods);
        QApplication::sendEvent(list()->viewport(), &enter);
        EXPECT_EQ(enter.isAccepted() ? enter.dropAction() : Qt::IgnoreAction, want) << name;
        QDropEvent e(at, offer, &data, Qt::LeftButton, mods);
        QApplication::sendEvent(list()->viewport(), &e);
        ASSERT_TRUE(operations_end());
        EXPECT_EQ(exists(dir / ("here/" + name)), want != Qt::IgnoreAction) << name;
        EXPECT_EQ(exists(dir / ("out/" + name)), want != Qt::MoveAction) << name;
    }
}
