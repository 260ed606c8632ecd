// The main window's commands: every hotkey, the enabling of the menus, the file
// list's context menu, and the handlers with rules of their own.
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDialog>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QTimer>

#include "../filelist/fl_gui_fixture.h"
#include "assoc/as_apps.h"
#include "clipboard/clip.h"
#include "dialogs.h"
#include "filelist/fl_select.h"
#include "fileops/undo.h"
#include "hotlist/tree.h"
#include "shell/cmd_table.h"
#include "shell/commands.h"

#include <functional>
#include <set>

namespace {
class CommandTest : public FlGuiTest {
protected:
    void SetUp() override
    {
        FlGuiTest::SetUp();
        QGuiApplication::clipboard()->clear();
    }
    void TearDown() override
    {
        cmd_set_observer(nullptr);
        FlGuiTest::TearDown();
    }
    QAction* item(const char* name) { return window->findChild<QAction*>(name); }
    // The window active and every command that gets past its rule recorded in
    // `seen` instead of run.
    bool observe_active()
    {
        window->activateWindow();
        cmd_set_observer([this](const char* n) {
            seen.push_back(n);
            return true;
        });
        return QTest::qWaitForWindowActive(window);
    }
    std::vector<std::string> seen;
    // The context menu as its texts, "-" for a separator.
    QStringList context()
    {
        QMenu* m = window->findChild<QMenu*>("list_cmenu");
        lcm_setup(m);
        QStringList out;
        for (QAction* a : m->actions())
            out << (a->isSeparator() ? QStringLiteral("-") : a->text());
        return out;
    }
};
}  // namespace

TEST_F(CommandTest, EachRuleGovernsItsItemItsKeyAndItsContextEntry)
{
    make_file("f.txt");
    make_file("g");
    make_dir("d/in");
    as_table_replace(apat, {"*.txt\t\tv\te"});  // no open command
    const QByteArray old_home = qgetenv("HOME");
    qputenv("HOME", "/nowhere");
    open();
    ASSERT_TRUE(observe_active());
    // The commands that have a rule, and those on in each situation, as the menus have
    // always dimmed them; the others are on everywhere.
    const std::set<std::string> ruled = {
        "fm_open", "fm_open_another", "fm_view", "fm_edit", "fm_open_with", "fm_print", "fm_print_directory",
        "fm_inspect", "em_undo", "em_cut", "em_copy", "em_paste", "em_delete", "em_delete_permanent", "em_rename",
        "em_unselect_all", "em_unselect_pattern", "gm_back", "gm_forward", "gm_up", "gm_home", "hm_add",
        "hm_delete"};
    const struct {
        const char* what;
        std::function<void()> set;
        std::set<std::string> on;
    } situations[] = {
        {"nothing selected", [] { fl_unselect_all(); }, {"gm_up", "gm_home", "hm_add"}},
        {"a file with an association but no open command; files to paste, a step to undo, a way forward",
         [&] {
             select({"f.txt"});
             em_copy();
             undo_note_item(UndoKind::Rename, dir / "old", dir / "f.txt");
             fl_newpath(list(), (dir / "d").c_str());
             fl_back();
             select({"f.txt"});
         },
         {"fm_view", "fm_edit", "fm_open_with", "fm_print", "fm_inspect", "em_undo", "em_cut", "em_copy",
          "em_paste", "em_delete", "em_delete_permanent", "em_rename", "em_unselect_all", "em_unselect_pattern",
          "gm_forward", "gm_up", "gm_home", "hm_add"}},
        {"a file and a directory in the bookmarked home",
         [&] {
             hm_add();
             qputenv("HOME", QByteArray::fromStdString(dir.path()));
             select({"g", "d"});
         },
         {"fm_open", "fm_open_another", "fm_inspect", "em_undo", "em_cut", "em_copy", "em_paste", "em_delete",
          "em_delete_permanent", "em_rename", "em_unselect_all", "em_unselect_pattern", "gm_forward", "gm_up",
          "hm_delete"}},
        {"nothing selected at the root",
         [&] {
             fl_newpath(list(), "/");
             QGuiApplication::clipboard()->clear();
             undo_clear();
         },
         {"gm_back", "gm_home", "hm_delete"}},
    };
    const char* const kMenus[] = {"file_menu", "edit_menu", "go_menu", "hotlist_menu"};
    const std::set<std::string> kInContext = {"fm_open", "fm_open_another", "fm_view", "fm_edit", "fm_open_with",
                                              "fm_print", "fm_inspect", "em_cut", "em_copy", "em_paste",
                                              "em_delete", "em_delete_permanent"};
    for (const auto& s : situations) {
        s.set();
        auto want = [&](const Cmd& c) { return !ruled.count(c.name) || s.on.count(c.name) > 0; };
        // Keys first, while the items still show what the last situation dimmed.
        for (const Cmd& c : cmd_table()) {
            if (!*c.key || c.key[0] == '=')
                continue;
            seen.clear();
            QTest::keySequence(list(), QKeySequence(QString::fromLatin1(c.key)));
            EXPECT_EQ(seen, want(c) ? std::vector<std::string>{c.name} : std::vector<std::string>{})
                << s.what << ": " << c.key;
        }
        for (const char* m : kMenus)
            emit window->findChild<QMenu*>(m)->aboutToShow();
        for (const Cmd& c : cmd_table()) {
            EXPECT_EQ(cmd_enabled(c.name), want(c)) << s.what << ": " << c.name;
            if (c.label && c.name[0] != 'v') {  // the View menu is hidden
                EXPECT_EQ(item(c.name)->isEnabled(), want(c)) << s.what << ": the item " << c.name;
            }
        }
        for (const char* m : kMenus)
            emit window->findChild<QMenu*>(m)->aboutToHide();
        QMenu* cmenu = window->findChild<QMenu*>("list_cmenu");
        lcm_setup(cmenu);
        for (const std::string& name : kInContext) {
            const bool offered = cmenu->findChild<QAction*>(QString::fromStdString("lcm_" + name)) != nullptr;
            EXPECT_EQ(offered, s.on.count(name) > 0) << s.what << ": the context menu's " << name;
        }
    }
    qputenv("HOME", old_home);
}

TEST_F(CommandTest, TextKeysStayInThePathFieldAndTheSearch)
{
    make_file("f");
    open();
    ASSERT_TRUE(observe_active());
    // A name search being typed keeps Backspace; F-keys still reach the window.
    QTest::keyClicks(list(), "/fx");
    seen.clear();
    QTest::keyClick(list(), Qt::Key_Backspace);
    QTest::keyClick(list(), Qt::Key_F5);
    EXPECT_EQ(seen, std::vector<std::string>{"fm_refresh"});
    EXPECT_EQ(status1(), "/f");
    QTest::keyClick(list(), Qt::Key_Escape);

    // Typing a path: the editing keys are the field's.
    QLineEdit* path = window->ui->tb_curpath->lineEdit();
    path->setFocus();
    path->setText("/tmp/ab");
    seen.clear();
    for (Qt::Key key : {Qt::Key_Backspace, Qt::Key_Left, Qt::Key_Delete})
        QTest::keyClick(path, key);
    QTest::keyClick(path, Qt::Key_Minus, Qt::KeypadModifier);
    QTest::keyClick(path, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClick(path, Qt::Key_Delete, Qt::ShiftModifier);  // cuts the text, deletes no file
    QTest::keyClick(path, Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(seen.empty());
    EXPECT_EQ(path->text(), "/tmp/-");

    // Another program's change shown meanwhile leaves the typing and the focus alone.
    make_file("g");
    ASSERT_TRUE(QTest::qWaitFor([&] { return gDir.count == 2; }, 3000));
    QApplication::processEvents();
    EXPECT_EQ(path->text(), "/tmp/-");
    EXPECT_TRUE(path->hasFocus());
}

TEST_F(CommandTest, ContextMenuFollowsTheSelectionAndTheClipboard)
{
    make_dir("d");
    make_dir("e");
    make_file("f");
    open();
    fl_unselect_all();
    EXPECT_EQ(context(), (QStringList{"&New", "-", "Find &Files..."}));
    select({"f"});
    em_copy();
    fl_unselect_all();
    EXPECT_EQ(context(), (QStringList{"&New", "P&aste", "-", "Find &Files..."}));
    QGuiApplication::clipboard()->clear();

    const QStringList tail = {"-", "&Copy To", "&Move To", "-", "&Inspect", "-", "Find &Files..."};
    select({"f"});  // no association
    EXPECT_EQ(context(), QStringList({"&New", "Open &With", "-", "&Print", "-", "Cu&t", "Cop&y", "&Delete",
                                      "Delete Permanent&ly", "&Rename", "&Symlink"}) + tail);
    select({"d", "f"});
    EXPECT_EQ(context(), QStringList({"&New", "&Open", "Open In &Window", "-", "Cu&t", "Cop&y", "&Delete",
                                      "Delete Permanent&ly"}) + tail);

    // Open with two directories selected does nothing.
    select({"d", "e"});
    fm_open();
    EXPECT_EQ(gDir.path, dir.path());
}

TEST_F(CommandTest, EachLetterOfAMenuChoosesOneItem)
{
    make_file("f");
    open();
    select({"f"});
    em_copy();
    QMenu* edit = window->findChild<QMenu*>("edit_menu");
    em_setup(edit);
    // With Copy To / Move To and with the most items the context menu offers.
    auto letters_unique = [](QMenu* m) {
        QString seen;
        for (QAction* a : m->actions()) {
            const qsizetype amp = a->text().indexOf(u'&');
            if (amp < 0)
                continue;
            const QChar c = a->text().at(amp + 1).toLower();
            EXPECT_FALSE(seen.contains(c)) << a->text().toStdString();
            seen += c;
        }
    };
    letters_unique(edit);
    QMenu* cmenu = window->findChild<QMenu*>("list_cmenu");
    lcm_setup(cmenu);
    letters_unique(cmenu);
}

// The desktop's applications for the files' type, in the context menu and the Open
// With dialog: choosing one starts it on the files, "Use as default" makes it the
// type's default for every program, and Open of a file that no association takes
// starts that default.
TEST_F(CommandTest, OpenWithOffersTheDesktopsApplicationsForTheType)
{
    // GIO reads the fixture's directories at its first call in the process.
    const std::string apps = data / "applications";
    std::filesystem::create_directories(apps);
    for (const std::string id : {"vt-one", "vt-two"})
        std::ofstream(apps + "/" + id + ".desktop") << "[Desktop Entry]\nType=Application\nMimeType=text/plain;\nName="
                                                    << id << "\nExec=" << launches.bin() << "/rec " << id << " %f\n";
    ASSERT_EQ(std::system(("update-desktop-database " + apps).c_str()), 0);
    make_file("a b.txt", 1);
    open();
    const std::vector<std::vector<std::string>> one = {{"vt-one", dir / "a b.txt"}};
    select({"a b.txt"});
    QMenu* cmenu = window->findChild<QMenu*>("list_cmenu");
    const auto submenu = [&] {
        lcm_setup(cmenu);
        return cmenu->findChild<QAction*>("lcm_open_with_menu")->menu()->actions();
    };
    EXPECT_EQ(submenu().back()->text(), "&Other Application...");
    cmenu->findChild<QAction*>("lcm_app_vt-two.desktop")->trigger();
    EXPECT_EQ(launches.wait("rec", 1), (std::vector<std::vector<std::string>>{{"vt-two", dir / "a b.txt"}}));
    launches.clear();

    when_shown("open_with", [](QDialog* d) {
        auto* list = w<QListWidget>(d, "ow_apps");
        list->setCurrentItem(list->findItems("vt-one", Qt::MatchExactly).value(0));
        w<QCheckBox>(d, "ow_default")->setChecked(true);
        w<QPushButton>(d, "ow_open")->click();
    });
    fm_open_with();
    EXPECT_EQ(launches.wait("rec", 1), one);
    launches.clear();
    EXPECT_EQ(as_default_app("text/plain"), "vt-one.desktop");
    EXPECT_EQ(submenu().value(0)->text(), "vt-one");
    EXPECT_TRUE(submenu().value(0)->font().bold());
    fl_open(index_named("a b.txt"));
    EXPECT_EQ(launches.wait("rec", 1), one);
}

TEST_F(CommandTest, CtrlHShowsAndHidesDotFilesAsPreferencesDo)
{
    make_file(".dot");
    gConfig->set_options(gConfig->options() | cfg::OPT_HIDE_DOT);
    gOptions &= ~cfg::kReaderDotBits;
    open();
    window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window));
    EXPECT_LT(row_named(".dot"), 0);
    QTest::keyClick(list(), Qt::Key_H, Qt::ControlModifier);
    EXPECT_GT(row_named(".dot"), 0);
    EXPECT_FALSE(gConfig->options() & cfg::OPT_HIDE_DOT);
    QTest::keyClick(list(), Qt::Key_H, Qt::ControlModifier);
    EXPECT_LT(row_named(".dot"), 0);
}

TEST_F(CommandTest, PrintKeepsItsDefaultAndNewRepeatsTheKind)
{
    make_file("f");
    make_dir("sub");
    open();
    gConfig->set_str(cfg::kPrint, cfg::kPrintLen, "");
    fl_goto_index(index_named("f"));  // a selected directory under the cursor prints nothing
    select({"f"});
    fm_print();
    EXPECT_EQ(gConfig->print_command(), "lpr @");
    EXPECT_EQ(status1(), "'f' printed");
    window->session_saved = false;
    base_closing();
    ConfigRecord saved;
    init_read_config(saved, cfgdir.path());
    EXPECT_EQ(saved.print_command(), "lpr @");

    QStringList titles;
    auto close_next = [&] {
        when_shown(nullptr, [&](QDialog* d) {
            titles << d->windowTitle();
            d->reject();
        });
    };
    close_next();
    item("fm_new_file")->trigger();
    close_next();
    window->ui->tb_new_folder->click();
    EXPECT_EQ(titles, (QStringList{"Create New File", "Create New File"}));
}
