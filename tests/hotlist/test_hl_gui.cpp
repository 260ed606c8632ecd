// The bookmarks tree and its file, the directory menus, and Copy To / Move To,
// in a real main window over real directories.
#include <QDropEvent>
#include <QInputDialog>
#include <QListView>
#include <QMenu>
#include <QMimeData>
#include <QPointer>
#include <QTimer>
#include <QTreeWidget>
#include <atomic>
#include <cstring>
#include <future>

#include "../filelist/fl_gui_fixture.h"
#include "fileops/fop_engine.h"
#include "fileops/slot_window.h"
#include "filelist/fl_select.h"
#include "hotlist/dtm.h"
#include "hotlist/dtm_scan.h"
#include "hotlist/mgen.h"
#include "hotlist/tree.h"
#include "dialogs.h"
#include "read_text.h"

namespace {
class HotlistTest : public FlGuiTest {
protected:
    QTreeWidget* tree() { return window->ui->tree; }
    QStringList labels(QTreeWidgetItem* parent = nullptr)
    {
        QStringList out;
        const int n = parent ? parent->childCount() : tree()->topLevelItemCount();
        for (int i = 0; i < n; ++i)
            out << (parent ? parent->child(i) : tree()->topLevelItem(i))->text(0);
        return out;
    }
    QAction* action(QMenu* m, const QString& text)
    {
        for (QAction* a : m->actions())
            if (a->text() == text)
                return a;
        return nullptr;
    }
    // Shows a directory menu and waits until its scan has listed and checked.
    QListView* show_scanned(QMenu* sub)
    {
        QPointer<QMenu> alive(sub);  // one that found nothing deletes itself
        sub->popup(QPoint(0, 0));
        EXPECT_TRUE(QTest::qWaitFor([] { return dtm_scans_running() == 0; }, 10000));
        QCoreApplication::processEvents();
        return alive ? alive->findChild<QListView*>("dtm_list") : nullptr;
    }
    static QStringList rows(QListView* v)
    {
        QStringList out;
        for (int r = 0; r < v->model()->rowCount(); ++r)
            out << v->model()->index(r, 0).data().toString();
        return out;
    }
};
}  // namespace

TEST_F(HotlistTest, EntriesAreKeptUniqueReorderedByDragAndSaved)
{
    open();
    EXPECT_EQ(labels(), QStringList{"/"});
    QMenu* menu = window->ui->hotlist_menu;
    hm_add();
    hm_add();
    EXPECT_EQ(labels(), (QStringList{"/", QString::fromStdString(dir.path())}));
    emit menu->aboutToShow();  // as it opens: the entries, then the rules
    EXPECT_FALSE(action(menu, "&Add Current Directory")->isEnabled());
    EXPECT_TRUE(action(menu, "&Remove Current Directory")->isEnabled());
    EXPECT_FALSE(window->ui->tb_add->isEnabled());
    // Opened by its key with Add greyed, a stray Return removes nothing.
    window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window));
    QTest::keyClick(window, Qt::Key_B, Qt::AltModifier);
    QCoreApplication::processEvents();
    QTest::keyClick(menu, Qt::Key_Return);
    menu->hide();
    ASSERT_EQ(labels(), (QStringList{"/", QString::fromStdString(dir.path())}));
    tree_add(gTree, "/usr");

    // The third entry dropped on the upper half of the first goes first.
    QWidget* vp = tree()->viewport();
    const QRect third = tree()->visualItemRect(tree()->topLevelItem(2));
    const QRect first = tree()->visualItemRect(tree()->topLevelItem(0));
    QTest::mousePress(vp, Qt::LeftButton, {}, third.center());
    QTest::mouseRelease(vp, Qt::LeftButton, {}, third.center());
    QMimeData data;
    data.setData("application/x-vell-hotlist", "This is vell hotlist entry");
    const QPoint upper(first.center().x(), first.top() + 2);
    QDragEnterEvent enter(upper, Qt::MoveAction, &data, Qt::LeftButton, {});
    QCoreApplication::sendEvent(vp, &enter);
    ASSERT_TRUE(enter.isAccepted());
    QDropEvent drop(upper, Qt::MoveAction, &data, Qt::LeftButton, {});
    QCoreApplication::sendEvent(vp, &drop);
    EXPECT_EQ(labels(), (QStringList{"/usr", "/", QString::fromStdString(dir.path())}));

    tree_delete_cb();  // no context item: nothing
    hm_remove();
    window->session_saved = false;
    base_closing();
    EXPECT_EQ(read_text(cfgdir / "hotlist.001"), "/usr\n/\n");
}

TEST_F(HotlistTest, ExpandsLazilySortedWithDotsAndSelectingShowsTheDirectory)
{
    make_dir("top/b");
    make_dir("top/.d");
    make_dir("top/a/deeper");
    make_file("top/file");
    std::ofstream(cfgdir / "hotlist.001") << dir.path() << "/top\n\n";
    gConfig->set_options(gConfig->options() | cfg::OPT_HIDE_DOT);
    open();
    ASSERT_EQ(labels(), (QStringList{QString::fromStdString(dir / "top"), ""}));
    QTreeWidgetItem* top = tree()->topLevelItem(0);
    top->setExpanded(true);
    ASSERT_TRUE(QTest::qWaitFor([&] { return top->childCount() == 3; }, 10000));  // read on a worker
    EXPECT_EQ(labels(top), (QStringList{".d", "a", "b"}));
    EXPECT_TRUE(QTest::qWaitFor([&] { return top->child(1)->childIndicatorPolicy() == QTreeWidgetItem::ShowIndicator; }, 10000));
    EXPECT_EQ(top->child(2)->childIndicatorPolicy(), QTreeWidgetItem::DontShowIndicator);
    make_dir("top/c");
    top->setExpanded(false);
    EXPECT_EQ(top->childCount(), 0);
    top->setExpanded(true);
    ASSERT_TRUE(QTest::qWaitFor([&] { return top->childCount() == 4; }, 10000));
    EXPECT_EQ(labels(top), (QStringList{".d", "a", "b", "c"}));
    // An open branch follows its directory: what others make, remove and rename there.
    make_dir("top/ab");
    std::filesystem::remove(dir / "top/b");
    std::filesystem::rename(dir / "top/c", dir / "top/e");
    make_file("top/not-a-dir");
    EXPECT_TRUE(QTest::qWaitFor([&] { return labels(top) == QStringList({".d", "a", "ab", "e"}); }, 3000))
        << labels(top).join(u',').toStdString();
    std::filesystem::remove(dir / "top/ab");
    std::filesystem::rename(dir / "top/e", dir / "top/b");
    EXPECT_TRUE(QTest::qWaitFor([&] { return labels(top) == QStringList({".d", "a", "b"}); }, 3000))
        << labels(top).join(u',').toStdString();
    make_dir("top/c");
    ASSERT_TRUE(QTest::qWaitFor([&] { return top->childCount() == 4; }, 3000));

    tree()->setCurrentItem(top->child(1));  // a click selects: the list goes there
    EXPECT_EQ(gDir.path, dir / "top/a");
    EXPECT_TRUE(tree()->selectedItems().isEmpty());
    make_file("top/a/new");
    tree()->setCurrentItem(top->child(1));
    tree()->clearSelection();
    top->child(1)->setSelected(true);  // the directory shown: not read again
    EXPECT_EQ(gDir.count, 1);
}

TEST_F(HotlistTest, DirectoryMenusCascadeInNumberOrderAndPlainEntriesChoose)
{
    for (const char* d : {"m/10", "m/9", "m/b", "m/a/x", "plain/.h"})
        make_dir(d);
    open();
    std::vector<std::string> chosen;
    auto pick = [&](const std::string& p) { chosen.push_back(p); };
    QMenu menu;
    QAction* m = dtm_add_item(&menu, dir / "m", "m", DTM_CHECK | DTM_HIDE_DOT, pick);
    QAction* plain = dtm_add_item(&menu, dir / "plain", "plain/", DTM_CHECK | DTM_HIDE_DOT, pick);
    EXPECT_EQ(plain->text(), "plain/");
    EXPECT_EQ(plain->menu(), nullptr);
    // A name's "&" is shown as it is, not taken for a mnemonic.
    EXPECT_EQ(dtm_add_item(&menu, dir / "plain", "R&D", 0, pick)->iconText(), "R&D/");
    plain->trigger();
    EXPECT_EQ(chosen, std::vector<std::string>{dir / "plain"});

    ASSERT_TRUE(QTest::qWaitFor([&] { return m->menu() != nullptr; }, 10000));  // looked into on a worker
    EXPECT_EQ(m->menu()->actions().front()->text(), "...");
    // An entry that cascades is chosen by Return and by a click, like a plain one,
    // and so is a row that cascades in its submenu.
    menu.popup(QPoint(0, 0));
    QTest::keyClick(&menu, Qt::Key_Down);
    QTest::keyClick(&menu, Qt::Key_Return);
    menu.popup(QPoint(0, 0));
    QTest::mouseClick(&menu, Qt::LeftButton, {}, menu.actionGeometry(m).center());
    EXPECT_EQ(chosen, (std::vector<std::string>{dir / "plain", dir / "m", dir / "m"}));
    QListView* v = show_scanned(m->menu());
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(rows(v), (QStringList{"9/", "10/", "a/", "b/"}));
    EXPECT_EQ(v->model()->index(2, 0).data(Qt::UserRole).toInt(), 2);  // a: cascades
    EXPECT_FALSE(v->model()->index(1, 0).data(Qt::ForegroundRole).isValid());  // checked
    v->setCurrentIndex(v->model()->index(2, 0));
    QTest::keyClick(v, Qt::Key_Return);
    m->menu()->popup(QPoint(0, 0));
    QTest::mouseClick(v->viewport(), Qt::LeftButton, {}, v->visualRect(v->model()->index(2, 0)).center());
    EXPECT_EQ(std::count(chosen.begin(), chosen.end(), dir / "m/a"), 2);

    // Checked at creation, empty by the time it is shown: it turns plain.
    QAction* gone = dtm_add_item(&menu, dir / "m/a", "a", DTM_CHECK, pick);
    ASSERT_TRUE(QTest::qWaitFor([&] { return gone->menu() != nullptr; }, 10000));
    std::filesystem::remove(dir / "m/a/x");
    show_scanned(gone->menu());
    EXPECT_TRUE(QTest::qWaitFor([&] { return gone->menu() == nullptr; }, 2000));
    gone->trigger();
    EXPECT_EQ(chosen.back(), dir / "m/a");
}

TEST_F(HotlistTest, CopyToABookmarkAsksAndOtherTakesATypedDestination)
{
    for (const char* f : {"f1", "f2", "f3"})
        make_file(f, 10);
    make_dir("dest");
    make_dir("typed");
    fop_set_done_delay_ms(0);
    open();
    tree_add(gTree, dir / "dest");
    QMenu none;
    EXPECT_EQ(mgen_work_insert(&none), 0);
    EXPECT_TRUE(none.actions().isEmpty());

    select({"f1", "f2", "f3"});
    QMenu menu;
    EXPECT_EQ(mgen_work_insert(&menu), 3);
    ASSERT_EQ(menu.actions().size(), 2);
    QMenu* copy = menu.actions()[0]->menu();
    EXPECT_EQ(menu.actions()[1]->text(), "&Move To");
    emit copy->aboutToShow();
    QAction* dest = action(copy, QString::fromStdString(dir / "dest/"));
    ASSERT_NE(dest, nullptr);
    QString title;
    w_set_message_handler([&](const WMessage& m) {
        messages << m.text;
        title = m.title;
        EXPECT_EQ(m.labels, (QStringList{"&No", "&Yes"}));
        return 2;
    });
    dest->trigger();
    ASSERT_EQ(messages.size(), 1);
    EXPECT_EQ(messages[0].toStdString(), "Do you want to copy 3 files to\n'" + dir / "dest" + "'\n");
    EXPECT_EQ(title, "copy");
    ASSERT_TRUE(QTest::qWaitFor([] { return slot_count() == 0; }, 10000));
    EXPECT_TRUE(std::filesystem::exists(dir / "dest/f3"));

    select({"f2"});
    QString shown;
    auto type = [&](const QString& text) {
        when_shown("input_dest", [&shown, text](QDialog* d) {
            auto* in = static_cast<QInputDialog*>(d);
            shown = in->textValue();
            in->setTextValue(text);
            in->accept();
        });
    };
    type(QString::fromStdString(dir / "typed"));
    x_move_to_dest("");
    ASSERT_TRUE(QTest::qWaitFor([] { return slot_count() == 0; }, 10000));
    EXPECT_TRUE(std::filesystem::exists(dir / "typed/f2"));
    EXPECT_EQ(messages.size(), 1);  // no question for a typed one
    select({"f1"});
    type("   ");
    x_copy_to_dest("");
    EXPECT_EQ(shown.toStdString(), dir / "typed/");
    EXPECT_EQ(slot_count(), 0);

    // A relative one goes under the listed directory wherever the working directory
    // is by then; "~" is the home directory.
    make_dir("home/in");
    setenv("HOME", (dir / "home").c_str(), 1);
    ASSERT_EQ(::chdir(cfgdir.path().c_str()), 0);
    for (auto [name, typed, to] : {std::tuple{"f1", "typed", "typed/f1"}, std::tuple{"f3", "~/in", "home/in/f3"}}) {
        select({name});
        type(typed);
        x_copy_to_dest("");
        ASSERT_TRUE(QTest::qWaitFor([] { return slot_count() == 0; }, 10000));
        EXPECT_TRUE(std::filesystem::exists(dir / to)) << typed;
    }
    fop_set_done_delay_ms(1000);
}

TEST_F(HotlistTest, AStatusCallThatHangsFreezesNoMenuNorTheTreeAndAClosedMenuStopsItsScan)
{
    using namespace std::chrono_literals;
    make_dir("hang/sub");
    make_dir("top/a");
    make_file("f");
    for (int i = 10; i < 30; ++i)
        make_dir("many/wait" + std::to_string(i) + "/x");
    ASSERT_EQ(::symlink((dir / "hang").c_str(), (dir / "top/hang_link").c_str()), 0);
    std::ofstream(cfgdir / "hotlist.001") << dir / "hang" << "\n" << dir / "top" << "\n";
    // The status call of a name beginning with "hang" waits for the first gate, one beginning
    // with "wait" for the second; bounded, so that a call on the GUI thread fails the test.
    static std::atomic<int> inside[2], expired;  // outlive the test, as the workers may
    std::promise<void> gates[2];
    dtm_set_stat_fn([open = std::array{gates[0].get_future().share(), gates[1].get_future().share()}](
                        int fd, const char* n, struct stat* st, int fl) {
        const char* base = std::strrchr(n, '/') ? std::strrchr(n, '/') + 1 : n;
        for (int g : {0, 1})
            if (std::strncmp(base, g ? "wait" : "hang", 4) == 0) {
                ++inside[g];
                expired += open[g].wait_for(10s) != std::future_status::ready;
            }
        return ::fstatat(fd, n, st, fl);
    });

    open();  // every bookmark is looked into at start-up
    QTreeWidgetItem *hung = tree()->topLevelItem(0), *top = tree()->topLevelItem(1);
    ASSERT_TRUE(hung && top);
    top->setExpanded(true);  // its link to "hang" is followed
    QMenu* bookmarks = window->ui->hotlist_menu;
    hm_populate(bookmarks);
    select({"f"});
    QMenu menu;
    mgen_work_insert(&menu);
    QMenu* copy = menu.actions()[0]->menu();
    emit copy->aboutToShow();
    const QString hang_label = QString::fromStdString(dir / "hang/");
    ASSERT_TRUE(action(bookmarks, hang_label) && action(copy, hang_label));
    // The GUI went on while all four calls are still waiting on the workers.
    EXPECT_TRUE(QTest::qWaitFor([&] { return inside[0] == 4; }, 10000));
    gates[0].set_value();
    EXPECT_TRUE(QTest::qWaitFor([&] {
        return hung->childIndicatorPolicy() == QTreeWidgetItem::ShowIndicator && action(bookmarks, hang_label)->menu() &&
               action(copy, hang_label)->menu() && top->childCount() == 2;
    }, 10000));
    EXPECT_EQ(labels(top), (QStringList{"a", "hang_link"}));

    // Closed while its first subdirectory is being looked into, a menu looks into no
    // other; shown again, it scans afresh.
    QAction* many = dtm_add_item(&menu, dir / "many", "many", DTM_CHECK, [](const std::string&) {});
    ASSERT_TRUE(QTest::qWaitFor([&] { return many->menu() != nullptr; }, 10000));
    many->menu()->popup(QPoint(0, 0));
    ASSERT_TRUE(QTest::qWaitFor([&] { return inside[1] == 1; }, 10000));
    many->menu()->hide();
    gates[1].set_value();
    EXPECT_TRUE(QTest::qWaitFor([] { return dtm_scans_running() == 0; }, 10000));
    EXPECT_EQ(inside[1], 1);
    QListView* v = show_scanned(many->menu());
    ASSERT_TRUE(v && v->model()->rowCount() == 20);
    EXPECT_EQ(v->model()->index(19, 0).data(Qt::UserRole).toInt(), 2);
    EXPECT_EQ(expired, 0);
    dtm_set_stat_fn(nullptr);
}
