// The path bar: typed paths and filters, completion from the history and from the
// disk, the enabled buttons, and the histories across a restart.
#include <QComboBox>
#include <QLineEdit>
#include <QToolButton>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "fl_gui_fixture.h"

namespace {
// Keys go to the box, as in the running program: it hands them to its line edit.
void type_path(QComboBox* box, const std::string& text)
{
    box->lineEdit()->clear();
    QTest::keyClicks(box, QString::fromStdString(text));
}
}  // namespace

TEST_F(FlGuiTest, TypedPathChangesDirectorySelectsAFileOrSaysWhy)
{
    make_dir("one");
    make_dir("two");
    make_file("two/a");
    make_file("two/notes.txt");
    make_dir("locked");
    open();
    QComboBox* box = window->ui->tb_curpath;
    type_path(box, dir / "one");
    QTest::keyClick(box, Qt::Key_Return);
    EXPECT_EQ(gDir.path, dir / "one");
    EXPECT_EQ(box->currentText(), QString::fromStdString(dir / "one"));
    ASSERT_GE(box->count(), 1);
    EXPECT_EQ(box->itemText(0), QString::fromStdString(dir / "one"));

    type_path(box, dir / "nothing");
    QTest::keyClick(box, Qt::Key_Return);
    EXPECT_EQ(gDir.path, dir / "one");
    ASSERT_FALSE(messages.isEmpty());
    EXPECT_EQ(messages.last(), QString::fromStdString("Directory '" + dir / "nothing" + "', not found"));
    EXPECT_EQ(gCboxes.path.count, 1);

    // A file: its directory, with the file selected there.
    type_path(box, dir / "two/notes.txt");
    QTest::keyClick(box, Qt::Key_Return);
    EXPECT_EQ(gDir.path, dir / "two");
    EXPECT_EQ(selected_records(), QStringList({"notes.txt"}));
    EXPECT_EQ(box->itemText(0), QString::fromStdString(dir / "two"));
    EXPECT_EQ(messages.size(), 1);

    // A directory this user may not read: the system's reason. Root reads any,
    // so the step runs as nobody.
    ::chmod(dir.path().c_str(), 0755);
    ::chmod((dir / "locked").c_str(), 0);
    type_path(box, dir / "locked");
    {
        const uid_t was = ::geteuid();
        if (was == 0 && ::seteuid(65534) != 0) {
            GTEST_SKIP() << "cannot run a step as another user";
        }
        QTest::keyClick(box, Qt::Key_Return);
        if (was == 0) {
            ASSERT_EQ(::seteuid(0), 0);
        }
    }
    EXPECT_EQ(gDir.path, dir / "two");
    ::chmod((dir / "locked").c_str(), 0755);
    EXPECT_EQ(messages.last(), QString::fromStdString("Cannot access directory '" + dir / "locked" +
                                                      "': " + std::strerror(EACCES)));
}

TEST_F(FlGuiTest, TypedFilterNarrowsTheList)
{
    make_file("a.c");
    make_file("b.h");
    open();
    QComboBox* box = window->ui->tb_filespec;
    type_path(box, "*.h");
    QTest::keyClick(box, Qt::Key_Return);
    EXPECT_EQ(gDir.count, 1);
    EXPECT_EQ(box->itemText(0), "*.h");
}

TEST_F(FlGuiTest, TypingAtTheEndProposesAHistoryEntry)
{
    gOptions |= TB_OPT_COMPLETE;
    make_dir("usr/local/bin");
    make_dir("usr/lib");
    cl_add(gCboxes.path, dir / "usr/local/bin");
    open();
    QComboBox* box = window->ui->tb_curpath;
    type_path(box, dir / "usr/lo");
    EXPECT_EQ(box->currentText(), QString::fromStdString(dir / "usr/local/bin"));
    EXPECT_EQ(box->lineEdit()->selectedText(), "cal/bin");
    // Backspace takes the proposal away and does not bring it back.
    QTest::keyClick(box, Qt::Key_Backspace);
    EXPECT_EQ(box->currentText(), QString::fromStdString(dir / "usr/lo"));
    type_path(box, dir / "usr/lo");

    // A double Escape drops the proposal and completes from the disk instead.
    QTest::keyClick(box, Qt::Key_Escape);
    QTest::keyClick(box, Qt::Key_Escape);
    EXPECT_EQ(box->currentText(), QString::fromStdString(dir / "usr/local/"));

    // Return takes the proposal only when what was typed names nothing.
    make_dir("usr/li");
    cl_add(gCboxes.path, dir / "usr/lib");
    type_path(box, dir / "usr/li");
    EXPECT_EQ(box->lineEdit()->selectedText(), "b");
    QTest::keyClick(box, Qt::Key_Return);
    EXPECT_EQ(gDir.path, dir / "usr/li");
    type_path(box, dir / "usr/lo");
    QTest::keyClick(box, Qt::Key_Return);
    EXPECT_EQ(gDir.path, dir / "usr/local/bin");
}

TEST_F(FlGuiTest, DiskCompletionNeedsTwoEscapesInARow)
{
    make_dir("usr");
    open();
    QComboBox* box = window->ui->tb_curpath;
    box->lineEdit()->setText(QString::fromStdString(dir / "us"));
    QTest::keyClick(box, Qt::Key_Escape);
    QTest::keyClick(box, Qt::Key_A);  // another key breaks the pair
    box->lineEdit()->setText(QString::fromStdString(dir / "us"));
    QTest::keyClick(box, Qt::Key_Escape);
    EXPECT_EQ(box->currentText(), QString::fromStdString(dir / "us"));
    QTest::keyClick(box, Qt::Key_Escape);
    EXPECT_EQ(box->currentText(), QString::fromStdString(dir / "usr/"));
}

TEST_F(FlGuiTest, HomeAndUpButtonsFollowThePath)
{
    const char* old_home = std::getenv("HOME");
    const std::string saved = old_home ? old_home : "";
    ::setenv("HOME", dir.path().c_str(), 1);
    make_dir("sub");
    open();
    EXPECT_FALSE(window->ui->tb_home->isEnabled());
    EXPECT_TRUE(window->ui->tb_up->isEnabled());
    fl_newpath(list(), (dir / "sub").c_str());
    EXPECT_TRUE(window->ui->tb_home->isEnabled());
    EXPECT_EQ(window->ui->tb_curpath->currentText(), QString::fromStdString(dir / "sub"));
    if (old_home)
        ::setenv("HOME", saved.c_str(), 1);
    else
        ::unsetenv("HOME");
}
