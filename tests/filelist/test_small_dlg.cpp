// The new-item, pattern and symbolic-link dialogs driven through their named
// widgets; the results are checked on the disk and in the list's selection.
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include "fl_gui_fixture.h"
#include "filelist/fl_find.h"
#include "filelist/fl_select.h"
#include "shell/kit/w_utils.h"
#include "filelist/small_dlg.h"
#include "dialogs.h"
#include "read_text.h"


using SmallDlgTest = FlGuiTest;

TEST_F(SmallDlgTest, NewFileAndFolder)
{
    make_file("ab", 2);
    open();
    const auto create = [&](int kind, const std::string& name) {
        NewDlg n(window, kind);
        n.new_setup();
        w<QLineEdit>(n.dialog(), "new_name")->setText(QString::fromStdString(name));
        return n.new_create();
    };
    EXPECT_FALSE(create(NEW_FILE, std::string(255, 'n')));
    EXPECT_TRUE(create(NEW_FILE, std::string(254, 'n')));
    EXPECT_FALSE(create(NEW_FILE, "ab"));
    EXPECT_EQ(messages, QStringList({"Name too long!", "File or directory 'ab' already exists"}));
    EXPECT_EQ(read_text(dir / "ab"), "xx");

    const mode_t old_mask = ::umask(022);
    EXPECT_TRUE(create(NEW_FILE, "plain"));
    EXPECT_TRUE(create(NEW_FOLDER, "a*"));
    ::umask(old_mask);
    struct stat st {};
    ::stat((dir / "plain").c_str(), &st);
    EXPECT_EQ(st.st_mode & 07777, 0644u);
    ::stat((dir / "a*").c_str(), &st);
    EXPECT_TRUE(S_ISDIR(st.st_mode));
    EXPECT_EQ(st.st_mode & 07777, 0755u);
    // The new folder's name, taken as a pattern, selects all it matches.
    EXPECT_EQ(selected_records(), QStringList({"a*", "ab"}));
    EXPECT_EQ(new_last_kind(), NEW_FOLDER);
    // Undo knows the folder by what it is, not by its name alone.
    UndoStep made;
    ASSERT_TRUE(undo_take(made));
    EXPECT_EQ(made.kind, UndoKind::Create);
    ASSERT_EQ(made.items.size(), 1u);
    EXPECT_EQ(made.items[0].to, dir / "a*");
    EXPECT_EQ(made.items[0].ino, st.st_ino);
}

TEST_F(SmallDlgTest, PatternSelectsFilesOnlyAndIsRemembered)
{
    for (const char* n : {"x.c", "y.c", "z.h"})
        make_file(n);
    make_dir("sub.c");
    open();
    PatternDlg p(window, 0);
    p.pattern_setup();
    EXPECT_EQ(p.dialog()->windowTitle(), "Select Pattern");
    w<QComboBox>(p.dialog(), "ppattern")->setCurrentText("*.c");
    w<QCheckBox>(p.dialog(), "pinclude")->setChecked(true);
    w<QPushButton>(p.dialog(), "pattern_ok")->click();
    EXPECT_EQ(selected_records(), QStringList({"x.c", "y.c"}));
    EXPECT_FALSE(wis_blocked(window));

    base_closing();
    ClBoxes again;
    init_read_cboxs(again, cfgdir.path().c_str());
    EXPECT_STREQ(cl_get(again.pattern, 1), "*.c");
}

TEST_F(SmallDlgTest, SymlinkReplacesOnlyLinksAndAsksFirst)
{
    make_file("src", 3);
    make_file("plain", 2);
    ::symlink("elsewhere", (dir / "old").c_str());
    open();
    int answer = 1;
    w_set_message_handler([&](const WMessage& m) {
        messages << m.title + ": " + m.text;
        return answer;
    });
    const auto link_to = [&](const char* target) {
        fl_goto("src", 0, FIND_EXACT);
        SymlinkDlg s(window);
        s.symlink_dlg_setup_f();
        EXPECT_EQ(w<QLabel>(s.dialog(), "symlink_src_lbl")->text(), "src");
        EXPECT_TRUE(w<QCheckBox>(s.dialog(), "symlink_proclink_tgl")->isHidden());
        w<QLineEdit>(s.dialog(), "symlink_dst_txt")->setText(target);
        return s.fm_create_symlink_cb();
    };
    EXPECT_FALSE(link_to("plain"));
    EXPECT_EQ(read_text(dir / "plain"), "xx");
    EXPECT_FALSE(link_to("old"));  // "&Cancel"
    answer = 2;
    EXPECT_TRUE(link_to("old"));
    EXPECT_EQ(messages, QStringList({"Symlink Error: 'plain' exists and is not a symlink.\n",
                                     "Symlink Exists: The destination symlink exists.\n"
                                     "Do you want to overwrite it ?",
                                     "Symlink Exists: The destination symlink exists.\n"
                                     "Do you want to overwrite it ?"}));
    EXPECT_EQ(std::filesystem::read_symlink(dir / "old").string(), dir / "src");
}
