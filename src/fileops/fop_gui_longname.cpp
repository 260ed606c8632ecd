// The over-long-name dialog `long_filename_dlg`, opened for the copy worker when a
// target name is longer than its file system allows. GUI thread.
#include <QDialog>
#include <QMainWindow>
#include <QLineEdit>
#include <QPushButton>

#include "fileops/fop_gui.h"
#include "shell/kit/globals.h"
#include "shell/kit/w_utils.h"
#include "ui_long_filename_dlg.h"

bool long_filename_ask(QWidget* parent, const QString& old_name, QString& new_name)
{
    QDialog dlg(parent);
    Ui::long_filename_dlg ui;
    ui.setupUi(&dlg);
    ui.long_filename_oldname->setText(old_name);
    ui.long_filename_newname->setText(new_name.left(47));
    bool renamed = false;
    QObject::connect(ui.long_filename_rename, &QPushButton::clicked, &dlg, [&] {
        const QString text = ui.long_filename_newname->text();
        if (text.isEmpty())
            return;
        new_name = text.left(47);
        renamed = true;
        dlg.accept();
    });
    QObject::connect(ui.long_filename_skip, &QPushButton::clicked, &dlg, &QDialog::reject);
    if (gBase)
        wcenter(gBase, &dlg);
    ui.long_filename_newname->setFocus();
    dlg.exec();
    return renamed;
}
