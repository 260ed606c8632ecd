// The file list panel driven through its widgets: rows and images, the status bar,
// sorting by header clicks, selection both ways, type-ahead, navigation, opening.
#include <QAbstractItemModelTester>
#include <QDialog>
#include <QIcon>
#include <QTimer>

#include "filelist/fl_find.h"
#include "filelist/fl_nav.h"
#include "filelist/fl_select.h"
#include "dialogs.h"
#include "fl_gui_fixture.h"

TEST_F(FlGuiTest, RowsShowTheRecordFieldsAndImages)
{
    make_dir("sub");
    make_file("a.txt", 2048);
    make_file("run.sh", 10, 0755);
    ::symlink("run.sh", (dir / "to_run").c_str());
    ::symlink("nowhere", (dir / "dangling").c_str());
    open();
    QAbstractItemModelTester tester(model(), QAbstractItemModelTester::FailureReportingMode::Warning);

    ASSERT_EQ(model()->rowCount(), 6);
    EXPECT_EQ(model()->index(0, 0).data().toString(), "..");
    EXPECT_EQ(model()->index(0, 0).data(FlIndexRole).toInt(), -1);
    EXPECT_EQ(model()->index(0, 0).data(FlImageRole).toInt(), FL_IMG_PARENT);

    const int a = row_named("a.txt");
    EXPECT_EQ(model()->index(a, 1).data().toString(), "2,048");
    EXPECT_EQ(model()->index(a, 5).data().toString(), "rw- r-- r--");
    EXPECT_TRUE(model()->index(a, 2).data().toString().startsWith(' '));
    EXPECT_EQ(model()->index(a, 3).data().toString(), "root");
    // The row's identity goes both ways.
    const int ia = model()->index(a, 0).data(FlIndexRole).toInt();
    EXPECT_EQ(gDir[ia].name, "a.txt");
    EXPECT_EQ(gDir[ia].row, a);

    auto image = [&](const char* n) { return model()->index(row_named(n), 0).data(FlImageRole).toInt(); };
    EXPECT_EQ(image("sub"), FL_IMG_FOLDER);
    EXPECT_EQ(image("a.txt"), FL_IMG_FILE);
    EXPECT_EQ(image("run.sh"), FL_IMG_EXEC);
    EXPECT_EQ(image("to_run"), FL_IMG_LINKED_EXEC);
    EXPECT_EQ(image("dangling"), FL_IMG_BROKEN_LINK);
    EXPECT_EQ(model()->index(row_named("to_run"), 6).data().toString(), "run.sh");

    // A plain file shows its type's icon from the theme; the others keep their own.
    const QString theme = QIcon::themeName();
    const QStringList paths = QIcon::themeSearchPaths();
    QIcon::setThemeSearchPaths(paths + QStringList{"/usr/share/icons"});  // offscreen knows none
    QIcon::setThemeName("Adwaita");
    auto shown = [&](const char* n) {
        return qvariant_cast<QIcon>(model()->index(row_named(n), 0).data(Qt::DecorationRole)).name();
    };
    make_file("p.png");
    make_file("s.html");
    std::ofstream(dir / "noname") << "%PDF-1.4\n";  // a name that says nothing: looked into
    fl_refresh();
    EXPECT_EQ(shown("p.png"), "image-x-generic");  // the scripts install the theme
    EXPECT_EQ(shown("s.html"), "text-html");
    EXPECT_TRUE(QTest::qWaitFor([&] { return shown("noname") == "x-office-document"; }, 3000))
        << shown("noname").toStdString();
    EXPECT_TRUE(shown("run.sh").isEmpty());  // the program's own executable picture
    QIcon::setThemeName(theme);
    QIcon::setThemeSearchPaths(paths);

    // Cut marks win over every other image.
    model()->set_cut_query([](const FileRecord& r) { return r.name == "sub" || r.name == "to_run"; });
    EXPECT_EQ(image("sub"), FL_IMG_DIR_CUT);
    EXPECT_EQ(image("to_run"), FL_IMG_FILE_CUT);
}

TEST_F(FlGuiTest, StatusBarTexts)
{
    open();
    EXPECT_EQ(status2(), "0 item, 0 bytes");
    make_file("one", 2048);
    make_file("two", 100);
    fl_refresh();
    EXPECT_EQ(status2(), "2 items, 2.1KB");
    QTest::mouseClick(list()->viewport(), Qt::LeftButton, {}, row_point(row_named("one")));
    EXPECT_EQ(status1(), "1 selected item, 2.0KB");
    QTest::mouseClick(list()->viewport(), Qt::LeftButton, Qt::ControlModifier, row_point(row_named("two")));
    EXPECT_EQ(status1(), "2 selected items, 2.1KB");
    EXPECT_EQ(gDir.selected, 2);
}

TEST_F(FlGuiTest, HeaderClicksSortAndSwapTheImage)
{
    gConfig->set_i32(cfg::kFoldersFirst, 2);
    make_file("big", 3000);
    make_file("small", 10);
    make_file("mid", 500);
    make_dir("zdir");
    open();
    auto order = [&] {
        QStringList names;
        for (int r = 1; r < model()->rowCount(); ++r)
            names << model()->index(r, 0).data().toString();
        return names;
    };
    auto header_image = [&](int s) { return model()->headerData(s, Qt::Horizontal, FlImageRole).toString(); };
    EXPECT_EQ(header_image(0), "image_sort_up");

    // The size comparison puts the larger first in the ascending direction.
    click_header(1);
    EXPECT_STREQ(fl_sort_header(), "fh_size");
    EXPECT_EQ(order(), QStringList({"zdir", "big", "mid", "small"}));
    EXPECT_EQ(header_image(1), "image_sort_up");
    EXPECT_TRUE(header_image(0).isEmpty());

    click_header(1);
    EXPECT_EQ(order(), QStringList({"zdir", "small", "mid", "big"}));
    EXPECT_EQ(header_image(1), "image_sort_down");

    // A new column keeps the direction.
    click_header(0);
    EXPECT_EQ(header_image(0), "image_sort_down");
    // The sections' names, as the accessibility tree reports them.
    for (int c = 0; c < 7; ++c)
        EXPECT_EQ(model()->headerData(c, Qt::Horizontal, Qt::AccessibleTextRole).toString(), kFlHeaderNames[c]);
    click_header(0);  // the direction outlives the window: the later cases of this binary expect names up
}

TEST_F(FlGuiTest, SelectionStaysInStepBothWays)
{
    for (const char* n : {"a", "b", "c", "d", "e"})
        make_file(n, 1);
    make_dir("f");
    open();
    fl_select_all();
    EXPECT_EQ(gDir.selected, 6);
    EXPECT_EQ(gDir.selected_dirs, 1);
    EXPECT_EQ(selected_rows(), selected_records());
    fl_unselect_index(index_named("b"));
    fl_invert_all();
    EXPECT_EQ(selected_records(), QStringList({"b"}));
    EXPECT_EQ(selected_rows(), QStringList({"b"}));

    // Shift-click in the widget: the records follow.
    QTest::mouseClick(list()->viewport(), Qt::LeftButton, {}, row_point(row_named("c")));
    QTest::mouseClick(list()->viewport(), Qt::LeftButton, Qt::ShiftModifier, row_point(row_named("e")));
    EXPECT_EQ(selected_records(), QStringList({"c", "d", "e"}));
    EXPECT_EQ(gDir.current, index_named("e"));
    EXPECT_TRUE(gDir[gDir.current].flags & DIR_F_CURRENT);

    // Keys move the current record too.
    QTest::keyClick(list(), Qt::Key_Down);
    EXPECT_EQ(selected_records(), QStringList({"f"}));
    EXPECT_EQ(gDir.selected_dirs, 1);

    // By name: an exact search falls back to the name as a pattern, and a pattern
    // takes alternatives and a case-blind "^".
    EXPECT_EQ(x_find(gDir, "d", 0, FIND_EXACT), index_named("d"));
    EXPECT_EQ(x_find(gDir, "[de]", 0, FIND_EXACT), index_named("d"));
    EXPECT_EQ(x_find(gDir, "f", 0, FIND_EXACT | FIND_NO_DIRS), -2);
    fl_unselect_all(gDir);
    EXPECT_EQ(fl_select(gDir, "^A|e*", 0), index_named("e"));
    EXPECT_EQ(gDir.selected, 2);
}

TEST_F(FlGuiTest, RefreshReselectsTheFirstSelectedName)
{
    for (const char* n : {"a", "b", "c", "d"})
        make_file(n);
    open();
    fl_select_index(index_named("b"));
    fl_select_index(index_named("c"));
    make_file("0new");
    fl_refresh();
    EXPECT_EQ(selected_records(), QStringList({"b"}));
    EXPECT_EQ(gDir[gDir.current].name, "b");
    EXPECT_EQ(row_named("0new"), 1);

    // Deleted entries give the cursor to the one after them, else the one before.
    select({"b", "c"});
    std::filesystem::remove(dir / "b");
    std::filesystem::remove(dir / "c");
    fl_refresh();
    EXPECT_EQ(selected_records(), QStringList({"d"}));
    EXPECT_EQ(gDir[gDir.current].name, "d");
    std::filesystem::remove(dir / "d");
    fl_refresh();
    EXPECT_EQ(selected_records(), QStringList({"a"}));

    // With nothing selected and no parent row, the top row is current and nothing
    // counts as selected.
    gOptions &= ~FL_OPT_PARENT_ROW;
    fl_unselect_all();
    fl_refresh();
    EXPECT_EQ(gDir.selected, 0);
    EXPECT_TRUE(selected_rows().isEmpty());
    EXPECT_EQ(gDir.current, 0);
    EXPECT_EQ(list()->currentIndex().row(), 0);
    EXPECT_EQ(status1(), "");
}

TEST_F(FlGuiTest, TheListFollowsWhatOtherProgramsChange)
{
    for (const char* n : {"a", "b", "c"})
        make_file(n);
    make_dir("sub/deeper");
    open();
    QTest::mouseClick(list()->viewport(), Qt::LeftButton, {}, row_point(row_named("a")));
    QTest::mouseClick(list()->viewport(), Qt::LeftButton, Qt::ControlModifier, row_point(row_named("c")));
    make_file("0new");
    std::filesystem::remove(dir / "b");
    ASSERT_TRUE(QTest::qWaitFor([&] { return row_named("0new") > 0 && row_named("b") < 0; }, 3000));
    EXPECT_EQ(selected_records(), QStringList({"a", "c"}));
    EXPECT_EQ(selected_rows(), QStringList({"a", "c"}));
    ASSERT_GE(gDir.current, 0);
    EXPECT_EQ(gDir[gDir.current].name, "c");

    // A current row that goes, with nothing selected, gives its place to its neighbour.
    QTest::keyClick(list(), Qt::Key_Up, Qt::ControlModifier);  // the cursor alone, to a
    fl_unselect_all();
    std::filesystem::remove(dir / "a");
    ASSERT_TRUE(QTest::qWaitFor([&] { return row_named("a") < 0; }, 3000));
    ASSERT_GE(gDir.current, 0);
    EXPECT_EQ(gDir[gDir.current].name, "c");
    EXPECT_EQ(model()->index_of(list()->currentIndex().row()), gDir.current);

    // The directory shown goes away: its nearest parent that is there, and why.
    ASSERT_EQ(fl_newpath(list(), (dir / "sub/deeper").c_str()), 0);
    std::filesystem::remove_all(dir / "sub");
    ASSERT_TRUE(QTest::qWaitFor([&] { return gDir.path == dir.path(); }, 3000)) << gDir.path;
    EXPECT_EQ(status1().toStdString(), "'" + dir / "sub/deeper" + "' is no longer there");
}

TEST_F(FlGuiTest, TypeAheadFindsEchoesAndTimesOut)
{
    make_file("abacus");
    make_file("abcdef");
    make_file("abcxyz");
    open();
    QTest::keyClicks(list(), "abc");
    EXPECT_EQ(status1(), "/abc");
    EXPECT_EQ(selected_records(), QStringList({"abcdef"}));
    auto* ftimer = window->findChild<QTimer*>("ftimer");
    EXPECT_TRUE(ftimer->isActive());
    EXPECT_EQ(ftimer->interval(), 300);
    // The time-out gives the status bar back.
    EXPECT_TRUE(QTest::qWaitFor([&] { return status1() == "1 selected item, 0 bytes"; }, 2000)) << status1().toStdString();
    // The time-out ended the search: the next key starts a new one.
    QTest::keyClick(list(), Qt::Key_A);
    EXPECT_EQ(status1(), "/a");
    QTest::keyClick(list(), Qt::Key_Escape);
    EXPECT_EQ(status1(), "");
    EXPECT_FALSE(ftimer->isActive());
    // A search that finds nothing leaves no current entry: its Return opens nothing.
    as_table_replace(apat, {"ab*\tview @"});
    QTest::keyClicks(list(), "/zz");
    QTest::keyClick(list(), Qt::Key_Return);
    EXPECT_LT(gDir.current, -1);
    EXPECT_TRUE(launches.commands(1, 300).empty());

    QTest::keyClick(list(), ':');
    QTest::keyClicks(list(), "ls -l");
    EXPECT_EQ(status1(), ":ls -l");
    QTest::keyClick(list(), Qt::Key_Return);
    EXPECT_EQ(launches.wait("shellwin", 1),
              (std::vector<std::vector<std::string>>{{"-zU", "/bin/sh", "-c", "ls -l"}}));
    EXPECT_EQ(status1(), "");
}

TEST_F(FlGuiTest, ReturnAndDoubleClickOpen)
{
    make_dir("inner");
    make_file("doc.txt");
    make_file("tool", 1, 0755);
    make_file("plain");
    as_table_replace(apat, {"*.txt\tview @", "doc*\tedit @"});
    open();
    const QPoint doc = row_point(row_named("doc.txt"));
    QTest::mouseClick(list()->viewport(), Qt::LeftButton, {}, doc);
    QTest::mouseDClick(list()->viewport(), Qt::LeftButton, {}, doc);
    EXPECT_EQ(launches.commands(2), std::vector<std::string>({"edit 'doc.txt' ", "view 'doc.txt' "}));
    launches.clear();
    fl_goto_index(index_named("tool"));
    QTest::keyClick(list(), Qt::Key_Return);
    EXPECT_EQ(launches.commands(1), std::vector<std::string>({"./'tool'"}));
    launches.clear();
    // Nothing takes an empty file, not even an application of the desktop: the
    // user is asked for one.
    fl_goto_index(index_named("plain"));
    bool asked = false;
    when_shown("open_with", [&](QDialog* d) {
        asked = true;
        d->reject();
    });
    QTest::keyClick(list(), Qt::Key_Return);
    EXPECT_TRUE(asked);
    EXPECT_TRUE(launches.commands(1, 300).empty());

    fl_goto_index(index_named("inner"));
    QTest::keyClick(list(), Qt::Key_Return);
    EXPECT_EQ(gDir.path, dir / "inner");
    EXPECT_EQ(fl_get_back_count(), 1);
    // Return on the parent row goes back up with "inner" selected.
    fl_goto_index(-1);
    QTest::keyClick(list(), Qt::Key_Return);
    EXPECT_EQ(gDir.path, dir.path());
    EXPECT_EQ(selected_records(), QStringList({"inner"}));
}

TEST_F(FlGuiTest, RightButtonSelectsTheRowUnderThePointer)
{
    for (const char* n : {"a", "b", "c"})
        make_file(n);
    open();
    fl_select_index(index_named("a"));
    fl_select_index(index_named("b"));
    QTest::mousePress(list()->viewport(), Qt::RightButton, {}, row_point(row_named("b")));
    EXPECT_EQ(selected_records(), QStringList({"a", "b"}));
    QTest::mousePress(list()->viewport(), Qt::RightButton, {}, row_point(row_named("c")));
    EXPECT_EQ(selected_records(), QStringList({"c"}));
    EXPECT_EQ(selected_rows(), QStringList({"c"}));
    EXPECT_EQ(gDir[gDir.current].name, "c");
}

TEST_F(FlGuiTest, UpSelectsTheDirectoryLeftAndHistoriesAreBounded)
{
    make_dir("usr/lib");
    gStartPath = dir / "usr/lib";
    open();
    EXPECT_EQ(fl_up(), 0);
    EXPECT_EQ(gDir.path, dir / "usr");
    EXPECT_EQ(selected_records(), QStringList({"lib"}));
    EXPECT_EQ(gDir[gDir.current].name, "lib");

    EXPECT_EQ(fl_back(), 0);
    EXPECT_EQ(gDir.path, dir / "usr/lib");
    EXPECT_EQ(fl_get_forward_count(), 1);
    EXPECT_EQ(fl_forward(), 0);
    EXPECT_EQ(gDir.path, dir / "usr");
    EXPECT_EQ(selected_records(), QStringList({"lib"}));  // the folder it came from, as Up
    // The same directory again: no change, no entry.
    EXPECT_EQ(fl_newpath(list(), (dir / "usr").c_str()), -1);
    EXPECT_EQ(fl_get_back_count(), 1);
    EXPECT_TRUE(messages.isEmpty());
}

TEST_F(FlGuiTest, ColumnsFitTheListUntilTheUserSetsWidths)
{
    // Without the hotlist the offscreen screen holds every column.
    gConfig->set_hotlist_shown(false);
    make_file("a");
    open();
    QApplication::processEvents();
    QHeaderView* h = list()->header();
    ConfigRecord defaults, out;
    init_config_defaults(defaults);

    // The first window shows every column whole, the link column with its room.
    EXPECT_GT(window->width(), defaults.window_width());
    EXPECT_LE(h->length(), list()->viewport()->width());
    EXPECT_GE(h->sectionSize(6), h->defaultSectionSize());
    EXPECT_GE(h->sectionSize(1), fl_text_width(2));
    EXPECT_GE(h->sectionSize(2), fl_text_width(3));

    // Name takes what the list gains; the saved widths stay the defaults, so the
    // next start fits them again.
    const int name = h->sectionSize(0), date = h->sectionSize(2);
    window->resize(window->width() + 150, window->height());
    QApplication::processEvents();
    EXPECT_EQ(h->sectionSize(0), name + 150);
    EXPECT_EQ(h->sectionSize(2), date);
    base_get_divider_metrics(out);
    for (int c = 1; c <= cfg::kSavedColumns; ++c)
        EXPECT_EQ(out.column_width(c), defaults.column_width(c)) << c;

    // A width the user sets ends the fitting: what is shown is what is kept.
    h->resizeSection(2, date + 30);
    window->resize(window->width() - 100, window->height());
    QApplication::processEvents();
    EXPECT_EQ(h->sectionSize(0), name + 150);
    base_get_divider_metrics(out);
    EXPECT_EQ(out.column_width(1), name + 150);
    EXPECT_EQ(out.column_width(3), date + 30);
}
