// The Find Files window over real files: results of several folders sorted as
// they stream in, copied and pasted by the list's Paste, and deleted to the Trash
// as one step that Undo takes back.
#include <QAction>
#include <QClipboard>
#include <QLineEdit>
#include <QMimeData>
#include <QPushButton>
#include <QTableView>

#include "../filelist/fl_gui_fixture.h"
#include "clipboard/clip.h"
#include "fileops/fop_engine.h"
#include "fileops/slot_window.h"
#include "shell/find_dlg.h"
#include "shell/commands.h"

namespace {
class FindDlgTest : public FlGuiTest {
protected:
    void SetUp() override
    {
        FlGuiTest::SetUp();
        fop_set_done_delay_ms(0);
        QGuiApplication::clipboard()->clear();
    }
    void TearDown() override
    {
        delete find_;
        fop_set_done_delay_ms(1000);
        FlGuiTest::TearDown();
    }
    template <typename T>
    T* child(const char* name) { return find_->findChild<T*>(QString::fromLatin1(name)); }
    QTableView* results() { return child<QTableView>("fd_results"); }
    void search(const char* pattern)
    {
        child<QLineEdit>("fd_name")->setText(QString::fromLatin1(pattern));
        child<QPushButton>("fd_start")->click();
        ASSERT_TRUE(QTest::qWaitFor([this] { return child<QPushButton>("fd_start")->isEnabled(); }, 10000));
    }
    QStringList names()
    {
        QStringList out;
        for (int r = 0; r < results()->model()->rowCount(); ++r)
            out << results()->model()->index(r, 0).data().toString();
        return out;
    }
    void act(const char* name) { results()->findChild<QAction*>(QString::fromLatin1(name))->trigger(); }
    bool operations_end() { return QTest::qWaitFor([] { return slot_count() == 0; }, 10000); }

    QPointer<QWidget> find_;
};
}  // namespace

TEST_F(FindDlgTest, ResultsOfSeveralFoldersSortCopyPasteAndTrashAsOneStep)
{
    const QStringList made = {"b1.log", "a2.log", "c3.log", "a1.log", "z0.log"};
    for (int i = 0; i < made.size(); ++i) {
        make_dir("s" + std::to_string(i % 3));
        make_file("s" + std::to_string(i % 3) + "/" + made[i].toStdString(), i);
    }
    make_dir("dest");
    open();
    find_ = find_open(dir.path());
    results()->sortByColumn(0, Qt::DescendingOrder);  // before: every batch is merged in
    search("*.log");
    QStringList want = made;
    std::sort(want.begin(), want.end(), std::greater<>());
    EXPECT_EQ(names(), want);

    // Copy of results from three folders: URIs only, which Paste takes.
    results()->selectAll();
    act("fd_copy");
    const QMimeData* m = QGuiApplication::clipboard()->mimeData();
    EXPECT_FALSE(m->hasFormat(kMimeFiles));
    EXPECT_EQ(m->data(kUriList).count("\r\n"), 5);
    ASSERT_EQ(fl_newpath(list(), (dir / "dest").c_str()), 0);
    em_paste();
    ASSERT_TRUE(operations_end());
    for (const QString& n : made)
        EXPECT_TRUE(std::filesystem::exists(dir / ("dest/" + n.toStdString()))) << n.toStdString();

    // Delete of two folders' results: one operation, so one Undo brings both back.
    search("a*.log");
    ASSERT_EQ(names().size(), 4);  // dest's copies too
    results()->selectAll();
    act("fd_delete");
    ASSERT_TRUE(operations_end());
    EXPECT_TRUE(names().isEmpty());
    for (const char* p : {"s0/a1.log", "s1/a2.log", "dest/a1.log", "dest/a2.log"})
        EXPECT_FALSE(std::filesystem::exists(dir / p)) << p;
    em_undo();
    ASSERT_TRUE(operations_end());
    for (const char* p : {"s0/a1.log", "s1/a2.log", "dest/a1.log", "dest/a2.log"})
        EXPECT_TRUE(std::filesystem::exists(dir / p)) << p;
}
