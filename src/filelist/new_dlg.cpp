#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include <QDialog>
#include <QMainWindow>
#include "filelist/fl_view.h"

#include "dirmodel/fname.h"
#include "filelist/fl_panel.h"
#include "filelist/fl_select.h"
#include "filelist/small_dlg.h"
#include "fileops/undo.h"
#include "shell/kit/globals.h"
#include "shell/kit/init_config.h"
#include "shell/kit/w_utils.h"
#include "ui_new_dlg.h"

namespace {
int sNewKind = NEW_FOLDER;
constexpr std::size_t kNameMax = 254;
}  // namespace

NewDlg::NewDlg(QWidget* parent, int kind)
    : dlg_(new QDialog(parent)), ui_(new Ui::new_dlg), kind_(kind)
{
    ui_->setupUi(dlg_.get());
    QObject::connect(ui_->new_create, &QPushButton::clicked, dlg_.get(), [this] {
        if (new_create())
            dlg_->accept();
    });
    QObject::connect(ui_->new_cancel, &QPushButton::clicked, dlg_.get(), &QDialog::reject);
}

NewDlg::~NewDlg() = default;

void NewDlg::new_setup()
{
    const bool file = kind_ == NEW_FILE;
    dlg_->setWindowTitle(QString::fromLatin1(txtdb(file ? "txt_003" : "txt_004")));
    ui_->new_label->setText(QString::fromLatin1(txtdb(file ? "txt_005" : "txt_006")));
    wcenter(dlg_->parentWidget(), dlg_.get());
    ui_->new_name->setFocus();
}

bool NewDlg::new_create()
{
    const QByteArray typed = ui_->new_name->text().toUtf8();
    if (typed.isEmpty())
        return false;
    QWidget* base = gBase;
    const char* name = fname_encode(typed.constData());
    if (!name) {
        wreport_untranslatable(base, typed.constData());
        return false;
    }
    const std::string bytes = name;
    if (bytes.size() > kNameMax) {
        wreport(base, "Error", "Name too long!");
        return false;
    }
    std::string path;
    fl_get_fullpath(-1, path);
    path += bytes;
    struct stat st;
    if (::lstat(path.c_str(), &st) == 0) {
        wreport(base, "Error", "File or directory '%s' already exists", typed.constData());
        return false;
    }
    if (kind_ == NEW_FILE) {
        // The mask is applied by the system; a failure still refreshes the list.
        const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0664);
        if (fd < 0) {
            wreport(base, "Error", "Unable to create file '%s'\n", typed.constData());
        } else {
            ::close(fd);
            undo_note_item(UndoKind::Create, "", path);
        }
    } else if (::mkdir(path.c_str(), 0755) != 0) {
        wreport(base, "Error", "Unable to create directory '%s'", typed.constData());
        return false;
    } else {
        undo_note_item(UndoKind::Create, "", path);
    }
    fl_refresh();
    status_bar_update();
    misc_give_focus(fl_list());
    // Every record the name matches, also as a pattern, ends selected, the last one
    // current.
    const int last = fl_select(bytes.c_str(), 0);
    if (last >= 0) {
        fl_goto_index(last);
        fl_select(bytes.c_str(), 0);
    }
    return true;
}

int NewDlg::run()
{
    sNewKind = kind_;
    new_setup();
    return wexec(dlg_.get(), fl_list());
}

int new_file_setup()
{
    NewDlg dlg(gBase, NEW_FILE);
    return dlg.run();
}

int new_dir_setup()
{
    NewDlg dlg(gBase, NEW_FOLDER);
    return dlg.run();
}

int new_last_kind()
{
    return sNewKind;
}
