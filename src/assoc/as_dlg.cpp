// The associations list dialog. Add, Edit and Remove change only the working list;
// the table and its file change on Done alone.
#include "assoc/as_dlg.h"

#include <string>
#include <vector>

#include <QDialog>
#include <QMainWindow>
#include <QKeySequence>
#include <QPushButton>
#include <QShortcut>
#include <QTreeWidget>

#include "assoc/as_table.h"
#include "assoc/at_dlg.h"
#include "shell/kit/globals.h"
#include "shell/kit/w_utils.h"
#include "ui_associate_dlg.h"

namespace {
class AssociateDlg {
public:
    explicit AssociateDlg(QWidget* parent) : dlg_(parent)
    {
        ui_.setupUi(&dlg_);
        QObject::connect(ui_.as_list, &QTreeWidget::itemSelectionChanged, &dlg_,
                         [this] { as_select(); });
        QObject::connect(ui_.as_add, &QPushButton::clicked, &dlg_, [this] { as_add(); });
        QObject::connect(ui_.as_edit, &QPushButton::clicked, &dlg_, [this] { as_edit(); });
        QObject::connect(ui_.as_remove, &QPushButton::clicked, &dlg_,
                         [this] { as_remove(); });
        QObject::connect(ui_.as_done, &QPushButton::clicked, &dlg_, &QDialog::accept);
        // Cancel, Escape and the window's close all reach reject().
        QObject::connect(ui_.as_cancel, &QPushButton::clicked, &dlg_, &QDialog::reject);
        auto* del = new QShortcut(QKeySequence(Qt::Key_Delete), &dlg_);
        del->setContext(Qt::WidgetWithChildrenShortcut);
        QObject::connect(del, &QShortcut::activated, &dlg_, [this] {
            if (ui_.as_remove->isEnabled())
                as_remove();
        });
        as_setup();
    }

    int run(QWidget* parent)
    {
        dlg_.adjustSize();
        wcenter(parent, &dlg_);
        ui_.as_list->setFocus();
        if (dlg_.exec() == QDialog::Accepted) {
            as_done();
            return 0;
        }
        as_cancel();
        return -1;
    }

private:
    void set_usable(bool on)
    {
        ui_.as_edit->setEnabled(on);
        ui_.as_remove->setEnabled(on);
    }

    void as_setup()
    {
        atmp_ = as_table_lines(apat);
        if (atmp_.empty()) {
            set_usable(false);
            atmp_sel_ = 0;
            return;
        }
        refill();
    }

    // Every change of the list ends on the first line, whichever line was touched.
    void refill()
    {
        QSignalBlocker quiet(ui_.as_list);
        ui_.as_list->clear();
        for (const std::string& line : atmp_) {
            std::string f[4];
            at_split_line(line, f);
            auto* item = new QTreeWidgetItem(ui_.as_list);
            for (int k = 0; k < 4; ++k)
                item->setText(k, QString::fromUtf8(f[k]));
        }
        quiet.unblock();
        ui_.as_list->setCurrentItem(ui_.as_list->topLevelItem(0));
    }

    void as_select()
    {
        const QList<QTreeWidgetItem*> sel = ui_.as_list->selectedItems();
        if (sel.isEmpty())
            return;  // a deselection keeps the last position, as Remove and Edit expect
        if (atmp_sel_ == 0)
            set_usable(true);
        atmp_sel_ = ui_.as_list->indexOfTopLevelItem(sel.first()) + 1;
    }

    void as_add()
    {
        std::string line;
        if (at_edit(&dlg_, AT_NEW, line) != 0)
            return;
        atmp_.push_back(std::move(line));
        refill();
    }

    void as_edit()
    {
        if (atmp_sel_ < 1 || atmp_sel_ > static_cast<int>(atmp_.size()))
            return;
        std::string line = atmp_[static_cast<size_t>(atmp_sel_ - 1)];
        if (at_edit(&dlg_, AT_EDIT, line) != 0)
            return;
        atmp_[static_cast<size_t>(atmp_sel_ - 1)] = std::move(line);
        refill();
    }

    void as_remove()
    {
        if (atmp_sel_ < 1 || atmp_sel_ > static_cast<int>(atmp_.size()))
            return;
        atmp_.erase(atmp_.begin() + (atmp_sel_ - 1));
        if (atmp_.empty()) {
            set_usable(false);
            ui_.as_list->clear();
            atmp_sel_ = 0;
            return;
        }
        refill();
    }

    void as_done()
    {
        as_table_replace(apat, atmp_);
        atmp_.clear();
        // An unwritable file is not reported: the new table holds until exit.
        if (!gConfigPath.empty())
            as_write_table(apat, gConfigPath + "/associate.003");
    }

    void as_cancel() { atmp_.clear(); }

    QDialog dlg_;
    Ui::associate_dlg ui_;
    std::vector<std::string> atmp_;
    int atmp_sel_ = 0;  // 1-based position in as_list, 0 when nothing is selected
};
}  // namespace

int as_associate(QWidget* parent)
{
    int rc;
    {
        AssociateDlg dlg(parent);
        wblock(parent, 1);
        rc = dlg.run(parent);
        wblock(parent, 0);
    }
    if (gBase)
        misc_give_focus(gBase->findChild<QWidget*>(QStringLiteral("filelist")));
    return rc;
}

int em_edit_associations()
{
    return as_associate(gBase);
}
