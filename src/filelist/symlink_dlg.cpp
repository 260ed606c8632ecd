#include <cerrno>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include <QDialog>
#include <QMainWindow>
#include "filelist/fl_view.h"

#include "dirmodel/fname.h"
#include "filelist/fl_panel.h"
#include "filelist/small_dlg.h"
#include "fileops/undo.h"
#include "shell/kit/globals.h"
#include "shell/kit/w_msg.h"
#include "shell/kit/w_utils.h"
#include "ui_symlink_dlg.h"

namespace {
int notice(const char* title, const QString& text, const char* buttons = "Close")
{
    return w_message(w_make_message(gBase, QString::fromLatin1(title), text, buttons));
}
}  // namespace

SymlinkDlg::SymlinkDlg(QWidget* parent) : dlg_(new QDialog(parent)), ui_(new Ui::symlink_dlg)
{
    ui_->setupUi(dlg_.get());
    // The system has no in-memory prefix tree to put a link into.
    ui_->symlink_proclink_tgl->hide();
    QObject::connect(ui_->symlink_ok_btn, &QPushButton::clicked, dlg_.get(), [this] {
        if (fm_create_symlink_cb())
            dlg_->accept();
    });
    QObject::connect(ui_->symlink_cancel_btn, &QPushButton::clicked, dlg_.get(),
                     &QDialog::reject);
}

SymlinkDlg::~SymlinkDlg() = default;

void SymlinkDlg::symlink_dlg_setup_f()
{
    wcenter(dlg_->parentWidget(), dlg_.get());
    for (int i = 0; i < gDir.count; ++i)
        if (gDir[i].flags & DIR_F_SELECTED) {
            ui_->symlink_src_lbl->setText(QString::fromUtf8(fname_decode(gDir[i].name.c_str())));
            break;
        }
    ui_->symlink_dst_txt->setFocus();
}

bool SymlinkDlg::fm_create_symlink_cb()
{
    const char* src = fname_encode(ui_->symlink_src_lbl->text().toUtf8().constData());
    if (!src || !*src)
        return false;
    const std::string source = src;
    const QString typed = ui_->symlink_dst_txt->text();
    const char* dst = fname_encode(typed.toUtf8().constData());
    if (!dst || !*dst) {
        notice("Input Error", QStringLiteral("Symlink destination name must be entered!"));
        return false;
    }
    const std::string target = dst;
    std::string content;
    fl_get_fullpath(-1, content);
    if (content.size() > 1)
        content.pop_back();  // "%s/%s" of the path and the name, even at "/"
    content += '/';
    content += source;
    // A relative target is made in the listed directory.
    std::string where = target;
    if (where[0] != '/') {
        fl_get_fullpath(-1, where);
        where += target;
    }
    struct stat st;
    if (::lstat(where.c_str(), &st) == 0) {
        if (!S_ISLNK(st.st_mode)) {
            notice("Symlink Error", QStringLiteral("'%1' exists and is not a symlink.\n").arg(typed));
            return false;
        }
        if (notice("Symlink Exists",
                   QStringLiteral("The destination symlink exists.\nDo you want to overwrite it ?"),
                   "#&Cancel|&Ok") != 2)
            return false;
        ::unlink(where.c_str());
    }
    if (::symlink(content.c_str(), where.c_str()) != 0) {
        notice("Symlink Error", QStringLiteral("%1: unable to create symlink\nError: %2\n")
                                    .arg(typed, QString::fromLocal8Bit(std::strerror(errno))));
        return false;
    }
    undo_note_item(UndoKind::Create, "", where);
    fl_refresh();
    return true;
}

int SymlinkDlg::run()
{
    symlink_dlg_setup_f();
    return wexec(dlg_.get(), fl_list());
}

int fm_symlink()
{
    SymlinkDlg dlg(gBase);
    return dlg.run();
}
