// The About box.
#include <QDialog>
#include <QLabel>
#include <QPushButton>

#include "shell/base.h"
#include "shell/kit/globals.h"
#include "shell/kit/w_utils.h"
#include "ui_about_dlg.h"

namespace {
void about_setup(Ui::about_dlg& ui)
{
    ui.about_version->setText(QStringLiteral("- Version 1.13"));
    ui.about_done->setFocus();
}
}  // namespace

int help_about()
{
    QDialog dlg(gBase);
    Ui::about_dlg ui;
    ui.setupUi(&dlg);
    about_setup(ui);
    // Done, Escape, Alt+D and a window-manager close all end up in reject().
    QObject::connect(ui.about_done, &QPushButton::clicked, &dlg, &QDialog::reject);
    dlg.adjustSize();
    wcenter(gBase, &dlg);
    dlg.exec();
    if (gBase)
        misc_give_focus(gBase->findChild<QWidget*>(QStringLiteral("filelist")));
    return 0;
}
