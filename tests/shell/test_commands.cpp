// The main window's commands: every hotkey, the enabling of the menus, the file
// list's context menu, and the handlers with rules of their own.
#include <QClipboard>
#include <QComboBox>
#include <QDialog>
#include <QLineEdit>
#include <QMenu>
#include <QTimer>

#include "../filelist/fl_gui_fixture.h"
#include "clipboard/clip.h"
#include "dialogs.h"
#include "filelist/fl_select.h"
#include "shell/commands.h"

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

TEST_F(CommandTest, EveryHotkeyReachesItsCommandAndTextKeysStayInThePathField)
{
    make_file("f");
    open();
    window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window));
    std::vector<std::string> seen;
    cmd_set_observer([&](const char* n) {
        seen.push_back(n);
        return true;
    });
    const struct {
        Qt::Key key;
        Qt::KeyboardModifiers mods;
        const char* cmd;
    } keys[] = {
        {Qt::Key_F1, {}, "help_quickref"}, {Qt::Key_F2, {}, "em_rename"}, {Qt::Key_F3, {}, "fm_new_file"},
        {Qt::Key_F4, {}, "fm_new_folder"}, {Qt::Key_F5, {}, "fm_refresh"}, {Qt::Key_F6, {}, "gm_home"},
        {Qt::Key_F9, {}, "fm_inspect"}, {Qt::Key_F10, {}, "em_preferences"},
        {Qt::Key_F11, {}, "em_associations"}, {Qt::Key_N, Qt::ControlModifier, "fm_new_window"},
        {Qt::Key_Return, Qt::ShiftModifier, "fm_open_with"},
        {Qt::Key_Return, Qt::ControlModifier, "fm_open_another"},
        {Qt::Key_T, Qt::ControlModifier, "fm_open_shellwin"}, {Qt::Key_P, Qt::ControlModifier, "fm_print"},
        {Qt::Key_E, Qt::ControlModifier, "fm_edit"}, {Qt::Key_V, Qt::AltModifier, "fm_view"},
        {Qt::Key_X, Qt::AltModifier, "fm_exit"}, {Qt::Key_X, Qt::ControlModifier, "em_cut"},
        {Qt::Key_C, Qt::ControlModifier, "em_copy"}, {Qt::Key_V, Qt::ControlModifier, "em_paste"},
        {Qt::Key_Delete, {}, "em_delete"}, {Qt::Key_Delete, Qt::ShiftModifier, "em_delete_permanent"},
        {Qt::Key_Z, Qt::ControlModifier, "em_undo"}, {Qt::Key_A, Qt::ControlModifier, "em_select_all"},
        {Qt::Key_S, Qt::ControlModifier, "em_select_pattern"},
        {Qt::Key_U, Qt::ControlModifier, "em_unselect_all"}, {Qt::Key_I, Qt::ControlModifier, "em_invert"},
        {Qt::Key_Left, Qt::AltModifier, "gm_back"}, {Qt::Key_Right, Qt::AltModifier, "gm_forward"},
        {Qt::Key_Backspace, {}, "gm_up"}, {Qt::Key_D, Qt::ControlModifier, "hm_add"},
        {Qt::Key_R, Qt::ControlModifier, "hm_delete"}, {Qt::Key_Plus, Qt::KeypadModifier, "kp_open"},
        {Qt::Key_Minus, Qt::KeypadModifier, "kp_up"}, {Qt::Key_Period, Qt::KeypadModifier, "kp_delete"},
        {Qt::Key_Return, {}, "fm_open"},
    };
    for (const auto& k : keys) {
        seen.clear();
        QTest::keyClick(list(), k.key, k.mods);
        EXPECT_EQ(seen, std::vector<std::string>{k.cmd}) << k.cmd;
    }

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
}

TEST_F(CommandTest, ContextMenuFollowsTheSelectionAndTheClipboard)
{
    make_dir("d");
    make_dir("e");
    make_file("f");
    open();
    fl_unselect_all();
    EXPECT_EQ(context(), QStringList{"&New"});
    select({"f"});
    em_copy();
    fl_unselect_all();
    EXPECT_EQ(context(), (QStringList{"&New", "P&aste", "-"}));
    QGuiApplication::clipboard()->clear();

    const QStringList tail = {"-", "&Copy To", "&Move To", "-", "&Inspect", "-"};
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

TEST_F(CommandTest, MenusEnableByTheRules)
{
    make_file("f");
    open();
    fl_unselect_all();
    fm_setup(nullptr);
    for (const char* n : {"fm_open", "fm_open_another", "fm_open_with", "fm_edit", "fm_view", "fm_print",
                          "fm_inspect", "fm_print_directory"})
        EXPECT_FALSE(item(n)->isEnabled()) << n;
    em_setup(nullptr);
    for (const char* n : {"em_cut", "em_copy", "em_delete", "em_delete_permanent", "em_rename",
                          "em_unselect_all", "em_unselect_pattern", "em_paste", "em_undo"})
        EXPECT_FALSE(item(n)->isEnabled()) << n;
    EXPECT_TRUE(item("em_select_all")->isEnabled());
    select({"f"});
    em_copy();
    QMenu* edit = window->findChild<QMenu*>("edit_menu");
    em_setup(edit);
    EXPECT_TRUE(item("em_paste")->isEnabled());
    EXPECT_TRUE(item("em_delete_permanent")->isEnabled());

    // Each letter chooses one item, with Copy To / Move To and with the most items
    // the context menu offers.
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

    // A key does what its item would do at that moment, whatever the menu showed when
    // it last opened: nothing while nothing is selected, the command once something is.
    window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window));
    QGuiApplication::clipboard()->clear();
    fl_unselect_all();
    edit->aboutToShow();
    edit->aboutToHide();
    QTest::keyClick(list(), Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(em_check_clipboard_for_type(-1, nullptr), 0);
    select({"f"});
    QTest::keyClick(list(), Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(em_check_clipboard_for_type(-1, nullptr), 1);

    const QByteArray old_home = qgetenv("HOME");
    qputenv("HOME", QByteArray::fromStdString(dir.path() + "/"));
    gm_setup(nullptr);
    EXPECT_TRUE(item("gm_home")->isEnabled());  // compared as written, slash and all
    EXPECT_TRUE(item("gm_up")->isEnabled());
    fl_newpath(list(), "/");
    gm_setup(nullptr);
    EXPECT_FALSE(item("gm_up")->isEnabled());
    EXPECT_TRUE(item("gm_back")->isEnabled());
    EXPECT_FALSE(item("gm_forward")->isEnabled());
    qputenv("HOME", old_home);
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
