#include <QComboBox>
#include <QDialog>
#include <QMainWindow>
#include "filelist/fl_view.h"

#include "dirmodel/fname.h"
#include "filelist/fl_find.h"
#include "filelist/fl_panel.h"
#include "filelist/fl_select.h"
#include "filelist/small_dlg.h"
#include "filelist/tb_path.h"
#include "shell/kit/globals.h"
#include "shell/kit/w_utils.h"
#include "ui_pattern_dlg.h"

PatternDlg::PatternDlg(QWidget* parent, int op)
    : dlg_(new QDialog(parent)), ui_(new Ui::pattern_dlg), op_(op)
{
    ui_->setupUi(dlg_.get());
    QObject::connect(ui_->pattern_ok, &QPushButton::clicked, dlg_.get(), [this] {
        pattern_select();
        dlg_->accept();
    });
    QObject::connect(ui_->pattern_cancel, &QPushButton::clicked, dlg_.get(), &QDialog::reject);
    QObject::connect(dlg_.get(), &QDialog::finished, dlg_.get(), [this] { pattern_close(); });
}

PatternDlg::~PatternDlg() = default;

void PatternDlg::pattern_setup()
{
    dlg_->setWindowTitle(QString::fromLatin1(txtdb(op_ == 0 ? "txt_016" : "txt_017")));
    wcenter(dlg_->parentWidget(), dlg_.get());
    ui_->ppattern->clear();
    for (const std::string& p : gCboxes.pattern.entries())
        ui_->ppattern->addItem(QString::fromStdString(p));
    if (ui_->ppattern->count() > 0)
        ui_->ppattern->setCurrentIndex(0);
    wblock(gBase, 1);
    ui_->ppattern->setFocus();
}

void PatternDlg::pattern_select()
{
    const QByteArray text = ui_->ppattern->currentText().toUtf8();
    cl_add(gCboxes.pattern, text.toStdString());
    // Flag 0x2 leaves directories out: "Include Sub-Directories" selects files only.
    const int flags = ui_->pinclude->isChecked() ? FIND_NO_DIRS : 0;
    const char* pattern = fname_encode(text.constData());
    if (!pattern)
        pattern = text.constData();
    if (op_ == 0)
        fl_select(pattern, flags);
    else
        fl_unselect(pattern, flags);
    status_bar_update();
}

void PatternDlg::pattern_close()
{
    wblock(gBase, 0);
    misc_give_focus(fl_list());
}

int PatternDlg::run()
{
    pattern_setup();
    return dlg_->exec() == QDialog::Accepted ? 0 : -1;
}

int em_select_pattern()
{
    PatternDlg dlg(gBase, 0);
    return dlg.run();
}

int em_unselect_pattern()
{
    PatternDlg dlg(gBase, 1);
    return dlg.run();
}
