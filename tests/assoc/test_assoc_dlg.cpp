// The associations dialogs driven as the user would: the list over a stand-in main
// window, the editor opened from it, boxes answered through the message seam, and
// "associate.003" read back from a temporary configuration directory.
#include <gtest/gtest.h>

#include <fstream>
#include <functional>

#include <QApplication>
#include <QDialog>
#include <QLineEdit>
#include <QMainWindow>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "assoc/as_dlg.h"
#include "assoc/as_table.h"
#include "shell/kit/globals.h"
#include "shell/kit/w_msg.h"
#include "shell/kit/w_utils.h"
#include "dialogs.h"
#include "read_text.h"
#include "tmpdir.h"

namespace {
QStringList rows(QDialog* d)
{
    QStringList out;
    auto* list = w<QTreeWidget>(d, "as_list");
    for (int i = 0; i < list->topLevelItemCount(); ++i) {
        QStringList cols;
        for (int c = 0; c < 4; ++c)
            cols << list->topLevelItem(i)->text(c);
        out << cols.join('|');
    }
    return out;
}

int current_row(QDialog* d)
{
    auto* list = w<QTreeWidget>(d, "as_list");
    return list->indexOfTopLevelItem(list->currentItem());
}

void fill(QDialog* ed, const char* pattern, const char* open, const char* view,
          const char* edit)
{
    w<QLineEdit>(ed, "at_pattern")->setText(pattern);
    w<QLineEdit>(ed, "at_command")->setText(open);
    w<QLineEdit>(ed, "at_view_cmd")->setText(view);
    w<QLineEdit>(ed, "at_edit_cmd")->setText(edit);
}

void click(QDialog* d, const char* name)
{
    w<QPushButton>(d, name)->click();
}

// Opens the editor with `button` and runs `fn` in it.
void in_editor(QDialog* list, const char* button, std::function<void(QDialog*)> fn)
{
    when_shown("assoc_type_dlg", std::move(fn));
    click(list, button);
}

class AssocDlgTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        base.setObjectName("base");
        auto* central = new QWidget(&base);
        auto* box = new QVBoxLayout(central);
        filelist = new QWidget(central);
        filelist->setObjectName("filelist");
        filelist->setFocusPolicy(Qt::StrongFocus);
        path = new QLineEdit(central);
        box->addWidget(path);
        box->addWidget(filelist);
        base.setCentralWidget(central);
        base.resize(800, 600);
        base.show();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&base));
        path->setFocus();
        gBase = &base;
        gConfigPath = dir.path();
        apat.clear();
        apat.add("*.[ch]", "scrib", "scrib -r", "scrib-edit");
        apat.add("[Mm]akefile", "shellwin -z make -f @", "", "scrib");
        apat.add("*.txt", "scrib", "less", "vi");
        old = w_set_message_handler([this](const WMessage& m) {
            boxes.push_back(m);
            return 1;
        });
    }
    void TearDown() override
    {
        w_set_message_handler(old);
        gBase = nullptr;
        gConfigPath.clear();
        apat.clear();
    }
    std::vector<std::string> table_lines() const { return as_table_lines(apat); }

    TmpDir dir;
    QMainWindow base;
    QWidget* filelist = nullptr;
    QLineEdit* path = nullptr;  // holds the focus before a dialog opens
    std::vector<WMessage> boxes;
    WMessageHandler old;
};
}  // namespace

TEST_F(AssocDlgTest, DoneReplacesTheTableAndWritesTheFileViewBeforeEdit)
{
    when_shown("associate_dlg", [&](QDialog* d) {
        auto* list = w<QTreeWidget>(d, "as_list");
        list->setCurrentItem(list->topLevelItem(2));
        in_editor(d, "as_edit", [&](QDialog* ed) {
            EXPECT_EQ(ed->windowTitle(), "New Association Type");
            EXPECT_EQ(w<QLineEdit>(ed, "at_pattern")->text(), "*.txt");
            EXPECT_EQ(w<QLineEdit>(ed, "at_view_cmd")->text(), "less");
            EXPECT_EQ(w<QLineEdit>(ed, "at_edit_cmd")->text(), "vi");
            EXPECT_TRUE(wis_blocked(d));
            w<QLineEdit>(ed, "at_view_cmd")->setText("more");
            click(ed, "at_done");
        });
        EXPECT_FALSE(wis_blocked(d));
        // The edited line keeps its place; the selection goes back to the top.
        EXPECT_EQ(rows(d).value(2), "*.txt|scrib|more|vi");
        EXPECT_EQ(rows(d).size(), 3);
        EXPECT_EQ(current_row(d), 0);
        in_editor(d, "as_add", [&](QDialog* ed) {
            EXPECT_EQ(w<QLineEdit>(ed, "at_pattern")->text(), "");
            fill(ed, "^*.png|*.gif", "", "glance", "");
            click(ed, "at_done");
        });
        EXPECT_EQ(rows(d).value(3), "^*.png|*.gif||glance|");
        EXPECT_EQ(current_row(d), 0);
        click(d, "as_done");
    });
    EXPECT_EQ(em_edit_associations(), 0);

    EXPECT_EQ(read_text(dir / "associate.003"),
              std::string(kAssocHeader) + "*.[ch]\tscrib\tscrib -r\tscrib-edit\n"
                                     "[Mm]akefile\tshellwin -z make -f @\t\tscrib\n"
                                     "*.txt\tscrib\tmore\tvi\n"
                                     "^*.png|*.gif\t\tglance\t\n");
    // The table in memory is what the program reads back from the file.
    AssocTable back;
    as_read_table(back, dir / "associate.003");
    EXPECT_EQ(as_table_lines(back), table_lines());
}

TEST_F(AssocDlgTest, ShowsTheTableAndCancelLeavesTableAndFileAsTheyWere)
{
    const std::string before = std::string(kAssocHeader) + "*.old\tx\t\t\n";
    std::ofstream(dir / "associate.003", std::ios::binary) << before;
    const auto lines = table_lines();
    when_shown("associate_dlg", [&](QDialog* d) {
        EXPECT_EQ(d->windowTitle(), "Associate");
        EXPECT_TRUE(wis_blocked(&base));
        EXPECT_EQ(rows(d), QStringList({"*.[ch]|scrib|scrib -r|scrib-edit",
                                        "[Mm]akefile|shellwin -z make -f @||scrib",
                                        "*.txt|scrib|less|vi"}));
        EXPECT_EQ(current_row(d), 0);
        EXPECT_TRUE(w<QPushButton>(d, "as_edit")->isEnabled());
        click(d, "as_remove");
        in_editor(d, "as_add", [&](QDialog* ed) {
            fill(ed, "*.new", "a", "b", "c");
            click(ed, "at_done");
        });
        in_editor(d, "as_edit", [&](QDialog* ed) {
            fill(ed, "*.changed", "a", "", "");
            click(ed, "at_done");
        });
        EXPECT_EQ(rows(d).size(), 3);
        QTest::keyClick(d, Qt::Key_Escape);
    });
    EXPECT_EQ(em_edit_associations(), -1);
    EXPECT_EQ(table_lines(), lines);
    EXPECT_EQ(read_text(dir / "associate.003"), before);
    EXPECT_FALSE(wis_blocked(&base));
    EXPECT_EQ(base.focusWidget(), filelist);
}
