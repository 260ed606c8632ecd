// Preferences, Properties and the Trash view driven through their named widgets over
// a main window on a temporary directory; the effects are read back from the files and the list.
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstring>
#include <thread>

#include <QCheckBox>
#include <QComboBox>
#include <QDateTime>
#include <QDialog>
#include <QFontDialog>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTimer>
#include <QTreeWidget>

#include "../filelist/fl_gui_fixture.h"
#include "clipboard/clip.h"
#include "dirmodel/fname.h"
#include "filelist/fl_find.h"
#include "filelist/fl_select.h"
#include "fileops/fop_engine.h"
#include "fileops/slot_window.h"
#include "shell/commands.h"
#include "shell/kit/w_utils.h"
#include "dialogs.h"
#include "read_text.h"
#include "shell/config_dlg.h"
#include "shell/prop_dlg.h"
#include "shell/trash_dlg.h"

namespace {
void click(QDialog* d, const char* name) { w<QPushButton>(d, name)->click(); }
bool operations_end() { return QTest::qWaitFor([] { return slot_count() == 0; }, 10000); }
}  // namespace

using DialogTest = FlGuiTest;

TEST_F(DialogTest, PreferencesApplyAtOnceAndReachTheFile)
{
    gConfig->set_options(gConfig->options() | cfg::OPT_HIDE_DOT);
    gOptions &= ~cfg::kReaderDotBits;
    make_file(".hidden");
    make_file(std::string("caf\xe9"));
    open();
    EXPECT_EQ(row_named(".hidden"), -1);
    {
        ConfigDlg c(window);
        c.config_setup();
        QDialog* d = c.dialog();
        EXPECT_TRUE(w<QCheckBox>(d, "cdot")->isChecked());
        w<QCheckBox>(d, "cdot")->setChecked(false);
        w<QCheckBox>(d, "cdirs")->setChecked(true);
        EXPECT_TRUE(w<QCheckBox>(d, "rm_trash")->isChecked());
        w<QCheckBox>(d, "rm_trash")->setChecked(false);
        w<QLineEdit>(d, "cto")->setText("abc");
        auto* cenc = w<QComboBox>(d, "cenc");
        EXPECT_EQ(cenc->itemText(0), "Not Specified");
        cenc->setCurrentText("ISO-8859-1");
        w<QRadioButton>(d, "cenc_alternate")->setChecked(true);
        click(d, "capply");
    }
    EXPECT_NE(row_named(".hidden"), -1);
    EXPECT_NE(row_named("café"), -1);
    EXPECT_EQ(gConfig->key_timeout(), 0);
    EXPECT_EQ(gConfig->alt_encoding(), "ISO-8859-1");
    EXPECT_TRUE(gConfig->options() & cfg::OPT_DELETE_PERMANENT);

    // "Not Specified" names no set: no translation, even in alternate mode; Done
    // without other changes still re-reads the list.
    make_file("late");
    {
        ConfigDlg c(window);
        c.config_setup();
        EXPECT_EQ(w<QComboBox>(c.dialog(), "cenc")->currentText(), "ISO-8859-1");
        EXPECT_FALSE(w<QCheckBox>(c.dialog(), "rm_trash")->isChecked());
        w<QComboBox>(c.dialog(), "cenc")->setCurrentIndex(0);
        click(c.dialog(), "capply");
    }
    EXPECT_NE(row_named("late"), -1);
    EXPECT_EQ(gConfig->alt_encoding(), "");
    EXPECT_TRUE(gConfig->options() & cfg::OPT_ENC_ALTERNATE);
    EXPECT_STREQ(fname_decode("caf\xe9"), "caf\xe9");
    fname_setup(0, nullptr);

    // At exit the record holds folders-first 2 and dot files stay shown after a restart.
    base_closing();
    const std::string saved = read_text(cfgdir / "config.003");
    ASSERT_EQ(saved.size(), cfg::kRecordSize);
    EXPECT_EQ(saved[cfg::kFoldersFirst], 2);
    ConfigRecord again;
    init_read_config(again, cfgdir.path());
    uint32_t reader = cfg::kReaderInitialOptions;
    init_migrate_options(again, reader);
    EXPECT_EQ(reader & cfg::kReaderDotBits, cfg::kReaderDotBits);
}

TEST_F(DialogTest, PropertiesRenameChangeOnlyTheBitsTouchedAndOpenWithoutWaiting)
{
    make_file("one", 3);
    make_file("two", 5);
    const std::string odd = std::string("x\xff") + "y.txt";
    make_file(odd, 1);
    make_file("a", 0, 0644);
    make_file("b", 0, 0755);
    make_dir("s");
    ::chmod((dir / "s").c_str(), 01777);
    ASSERT_EQ(::symlink("one", (dir / "ln").c_str()), 0);
    open();
    // Whether the dialog stayed open with the typed text for another try.
    const auto rename = [&](const std::string& from, const QString& to) {
        fl_goto(from.c_str(), 0, FIND_EXACT);
        PropertyDlg p(window);
        EXPECT_EQ(p.prop_setup(), 0);
        p.dialog()->show();
        auto* name = w<QLineEdit>(p.dialog(), "pr_name");
        EXPECT_FALSE(name->isReadOnly());
        QString text = name->text();
        name->setText(to.isNull() ? text.replace(".txt", ".md") : to);
        click(p.dialog(), "pr_done");
        EXPECT_TRUE(QTest::qWaitFor([&] { return !p.busy(); }, 10000));
        return p.dialog()->isVisible() && name->text() == to;
    };
    EXPECT_TRUE(rename("one", "two"));
    EXPECT_EQ(messages, QStringList({"File name 'two' already exists"}));
    EXPECT_EQ(read_text(dir / "one"), "xxx");
    EXPECT_EQ(read_text(dir / "two"), "xxxxx");

    EXPECT_FALSE(rename(odd, QString()));  // only the end of the name is edited
    EXPECT_TRUE(std::filesystem::exists(dir / "x\xffy.md"));
    EXPECT_STREQ(gDir[gDir.current].name.c_str(), "x\xffy.md");
    QAction* undo = window->findChild<QAction*>("em_undo");
    em_setup(nullptr);
    EXPECT_EQ(undo->text(), "U&ndo Rename");
    em_undo();
    ASSERT_TRUE(operations_end());
    EXPECT_TRUE(std::filesystem::exists(dir / odd));
    em_setup(nullptr);
    EXPECT_FALSE(undo->isEnabled());

    EXPECT_TRUE(rename("one", QString(300, 'n')));  // refused by the system, which says why
    EXPECT_TRUE(messages.back().endsWith(QString("nnn'.\n") + std::strerror(ENAMETOOLONG)));

    // Several entries: a bit only some have is shown half set and left as each has it;
    // a box the user sets or clears changes that bit on all. Untouched, a sticky
    // entry keeps its bit, which has no box.
    const auto done = [&](std::initializer_list<const char*> names, const char* toggle) {
        select(names);
        PropertyDlg p(window);
        ASSERT_EQ(p.prop_setup(), 0);
        EXPECT_TRUE(names.size() == 1 || w<QCheckBox>(p.dialog(), "pr_gexec")->checkState() == Qt::PartiallyChecked);
        if (toggle)
            w<QCheckBox>(p.dialog(), toggle)->click();
        click(p.dialog(), "pr_done");
        EXPECT_TRUE(QTest::qWaitFor([&] { return !p.busy(); }, 10000));
    };
    const auto mode = [&](const char* name) { return int(std::filesystem::status(dir / name).permissions()); };
    done({"a", "b"}, nullptr);
    EXPECT_EQ(std::pair(mode("a"), mode("b")), std::pair(0644, 0755));
    done({"a", "b"}, "pr_uexec");  // half set: now set on both
    done({"a", "b"}, "pr_gread");  // set on both: now clear on both
    EXPECT_EQ(std::pair(mode("a"), mode("b")), std::pair(0704, 0715));
    done({"s"}, nullptr);
    EXPECT_EQ(mode("s"), 01777);

    // Done makes its changes off the GUI thread: while a rename hangs, the click has
    // come back with the dialog busy, and the name lands when the rename returns.
    std::atomic<bool> release{false};
    prop_set_rename_fn([&](const char* from, const char* to) {
        for (int i = 0; i < 500 && !release; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        return ::rename(from, to);
    });
    fl_goto("two", 0, FIND_EXACT);
    {
        PropertyDlg p(window);
        ASSERT_EQ(p.prop_setup(), 0);
        w<QLineEdit>(p.dialog(), "pr_name")->setText("three");
        click(p.dialog(), "pr_done");
        EXPECT_TRUE(p.busy());
        EXPECT_FALSE(w<QPushButton>(p.dialog(), "pr_done")->isEnabled());
        release = true;
        EXPECT_TRUE(QTest::qWaitFor([&] { return !p.busy(); }, 10000));
    }
    prop_set_rename_fn({});
    EXPECT_EQ(read_text(dir / "three"), "xxxxx");

    // Nothing is asked of the file system on opening: the link's text is the list's,
    // and the type comes from "file -L -- PATH" run off the GUI thread. The dialog
    // shows "-" until it answers, and a dialog closed first leaves no tool behind.
    fl_goto("one", 0, FIND_EXACT);
    TmpDir tools;
    const std::string go = tools / "go", pid = tools / "pid";
    std::ofstream(tools / "file") << "#!/bin/sh\necho $$ >" << pid << ".tmp; mv " << pid << ".tmp " << pid
                                  << "\ni=0; while [ ! -e " << go << " ] && [ $i -lt 400 ]; do sleep 0.05; i=$((i+1)); done"
                                  << "\n[ \"$1 $2\" = '-L --' ] && printf '%s: ASCII text\\n' \"$3\"\n";
    ::chmod((tools / "file").c_str(), 0755);
    const std::string old_path = std::getenv("PATH");
    ::setenv("PATH", (tools.path() + ":" + old_path).c_str(), 1);
    const auto tool_pid = [&] {
        pid_t n = 0;
        EXPECT_TRUE(QTest::qWaitFor([&] { return std::ifstream(pid) >> n && n > 0; }, 10000));
        std::filesystem::remove(pid);
        return n;
    };
    {
        PropertyDlg p(window);
        ASSERT_EQ(p.prop_setup(), 0);
        auto* type = w<QLabel>(p.dialog(), "pr_filetype");
        EXPECT_EQ(type->text(), "-");
        EXPECT_FALSE(w<QLabel>(p.dialog(), "pr_symbolic")->isEnabled());
        tool_pid();
        // The desktop's name for the type comes meanwhile, from a look into the file.
        auto* described = w<QLabel>(p.dialog(), "pr_type");
        EXPECT_TRUE(QTest::qWaitFor([&] { return described->text() == "plain text document (text/plain)"; }, 10000))
            << described->text().toStdString();
        std::ofstream{go};
        EXPECT_TRUE(QTest::qWaitFor([&] { return type->text() == "ASCII text"; }, 10000));
    }
    std::filesystem::remove(go);
    fl_goto("ln", 0, FIND_EXACT);
    PropertyDlg p(window);
    ASSERT_EQ(p.prop_setup(), 0);
    EXPECT_EQ(w<QLabel>(p.dialog(), "pr_symbolic")->text(), "one");
    const pid_t hanging = tool_pid();
    click(p.dialog(), "pr_cancel");
    EXPECT_TRUE(QTest::qWaitFor([&] { return ::kill(hanging, 0) != 0; }, 10000));
    std::ofstream{go};
    ::setenv("PATH", old_path.c_str(), 1);
}

TEST_F(DialogTest, TrashViewListsRestoresAndEmpties)
{
    make_file("back", 4);
    make_file("gone");
    open();
    fop_set_done_delay_ms(0);
    for (const char* name : {"back", "gone"}) {
        select({name});
        em_delete();
        ASSERT_TRUE(operations_end());
    }
    trash_dlg_open();
    QDialog* t = trash_dlg();
    auto* list = w<QTreeWidget>(t, "trash_list");
    auto* status = w<QLabel>(t, "trash_status");
    const auto listed = [&] { return QTest::qWaitFor([&] { return status->text() != "Reading…"; }, 10000); };
    ASSERT_TRUE(listed());
    ASSERT_EQ(list->topLevelItemCount(), 2);
    QTreeWidgetItem* row = list->findItems("back", Qt::MatchExactly).value(0);
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(row->text(1).toStdString(), dir.path());
    EXPECT_TRUE(QDateTime::fromString(row->text(2), "yyyy-MM-dd hh:mm:ss").isValid()) << row->text(2).toStdString();
    EXPECT_TRUE(w<QPushButton>(t, "trash_restore")->isEnabled());  // the newest is ready

    list->clearSelection();
    row->setSelected(true);
    make_file("back", 2);  // in the way: the restore asks, and the view says it is at work
    QString while_asked;
    auto handler = w_set_message_handler([&](const WMessage&) {
        while_asked = status->text();
        return 2;  // Keep Both
    });
    click(t, "trash_restore");
    ASSERT_TRUE(operations_end());
    w_set_message_handler(handler);
    EXPECT_EQ(while_asked, "Restoring…");
    EXPECT_EQ(read_text(dir / "back (2)"), "xxxx");
    EXPECT_FALSE(std::filesystem::exists(data / "Trash/info/back.trashinfo"));

    trash_dlg_refresh();
    ASSERT_TRUE(listed());
    ASSERT_EQ(list->topLevelItemCount(), 1);
    click(t, "trash_empty");
    EXPECT_EQ(messages.value(0), "Delete the 1 items in the Trash for good?\n");
    ASSERT_TRUE(operations_end());
    EXPECT_TRUE(std::filesystem::is_empty(data / "Trash/files"));
    EXPECT_TRUE(std::filesystem::is_empty(data / "Trash/info"));
    EXPECT_FALSE(w<QPushButton>(t, "trash_empty")->isEnabled());
    fop_set_done_delay_ms(1000);

    // What another program puts in the Trash appears in the open view.
    std::ofstream(data / "Trash/files/other") << "x";
    std::ofstream(data / "Trash/info/other.trashinfo")
        << "[Trash Info]\nPath=" << (dir / "other") << "\nDeletionDate=2026-01-01T00:00:00\n";
    EXPECT_TRUE(QTest::qWaitFor([&] { return list->topLevelItemCount() == 1; }, 3000));
}
