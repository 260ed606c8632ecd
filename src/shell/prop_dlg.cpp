#include "shell/prop_dlg.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <pwd.h>
#include <signal.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>

#include <QApplication>
#include <QDialog>
#include <QMainWindow>
#include <QPalette>
#include <QPointer>
#include "filelist/fl_view.h"

#include "assoc/as_apps.h"
#include "assoc/as_run.h"
#include "dirmodel/dir_read.h"
#include "dirmodel/dir_sort.h"
#include "dirmodel/es_format.h"
#include "dirmodel/es_path.h"
#include "dirmodel/fname.h"
#include "filelist/fl_find.h"
#include "filelist/fl_model.h"
#include "filelist/fl_panel.h"
#include "filelist/fl_select.h"
#include "fileops/undo.h"
#include "shell/kit/globals.h"
#include "shell/kit/init_config.h"
#include "shell/kit/w_utils.h"
#include "ui_property_dlg.h"

extern char** environ;

#ifndef P_PIDFD
#define P_PIDFD 3
#endif

// One run of the file tool. The dialog stops it when it no longer wants the
// answer: the worker then kills the tool and reaps it, however far it got.
struct PropTypeQuery {
    const int cancel = ::eventfd(0, EFD_CLOEXEC);
    bool stopped = false;  // GUI thread only
    ~PropTypeQuery()
    {
        if (cancel >= 0)
            ::close(cancel);
    }
    void stop()
    {
        stopped = true;
        const uint64_t one = 1;
        [[maybe_unused]] const ssize_t n = ::write(cancel, &one, sizeof one);
    }
};

namespace {
constexpr std::size_t kNamesMax = 252;  // the joined names of multiple mode
constexpr std::size_t kMessageMax = 255;  // what wreport shows of a message

struct ModeBit {
    QCheckBox* Ui::property_dlg::*toggle;
    mode_t bit;
};
// The sticky toggle is never filled nor read: Done drops the bit on purpose.
const ModeBit kModeBits[] = {
    {&Ui::property_dlg::pr_uread, 0400},     {&Ui::property_dlg::pr_uwrite, 0200},
    {&Ui::property_dlg::pr_uexec, 0100},     {&Ui::property_dlg::pr_gread, 040},
    {&Ui::property_dlg::pr_gwrite, 020},     {&Ui::property_dlg::pr_gexec, 010},
    {&Ui::property_dlg::pr_oread, 04},       {&Ui::property_dlg::pr_owrite, 02},
    {&Ui::property_dlg::pr_oexec, 01},       {&Ui::property_dlg::pr_setuserid, 04000},
    {&Ui::property_dlg::pr_setgroupid, 02000},
};

constexpr std::size_t kToolOutputMax = 4096;

// Runs "file -L -- path" (no shell) and puts its output's first line, newline
// kept, in `line` (empty when it gave none). False when `cancel` was signalled
// first: the tool is then killed. It is reaped either way.
bool run_file_tool(const std::string& path, int cancel, std::string& line)
{
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0)
        return true;
    posix_spawn_file_actions_t fa;
    posix_spawn_file_actions_init(&fa);
    posix_spawn_file_actions_adddup2(&fa, fds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&fa, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    std::string args[] = {"file", "-L", "--", path};
    char* argv[] = {args[0].data(), args[1].data(), args[2].data(), args[3].data(), nullptr};
    pid_t pid;
    const int rc = ::posix_spawnp(&pid, "file", &fa, nullptr, argv, environ);
    posix_spawn_file_actions_destroy(&fa);
    ::close(fds[1]);
    if (rc != 0) {
        ::close(fds[0]);
        return true;
    }
    // Signals go through a pidfd: with SIGCHLD ignored the tool is reaped as soon
    // as it ends, and its number may go to another process.
    const int pidfd = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
    const int pidfd_errno = errno;
    bool cancelled = false;
    std::string out;
    char buf[1024];
    for (;;) {
        pollfd p[2] = {{fds[0], POLLIN, 0}, {cancel, POLLIN, 0}};
        if (::poll(p, 2, -1) < 0) {
            if (errno == EINTR)
                continue;
            break;
        }
        if (p[1].revents) {
            cancelled = true;
            break;
        }
        const ssize_t n = ::read(fds[0], buf, sizeof buf);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        if (out.size() < kToolOutputMax)
            out.append(buf, static_cast<std::size_t>(n));
    }
    ::close(fds[0]);
    if (pidfd >= 0) {
        if (cancelled)
            ::syscall(SYS_pidfd_send_signal, pidfd, SIGKILL, nullptr, 0);
        siginfo_t info;
        while (::waitid(static_cast<idtype_t>(P_PIDFD), pidfd, &info, WEXITED) != 0 && errno == EINTR) {
        }
        ::close(pidfd);
    } else if (pidfd_errno != ESRCH) {
        if (cancelled)
            ::kill(pid, SIGKILL);
        while (::waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
    if (cancelled)
        return false;
    const std::size_t end = out.find('\n');
    line = end == std::string::npos ? out : out.substr(0, end + 1);
    return true;
}

QString shown(const char* bytes)
{
    return QString::fromUtf8(fname_decode(bytes));
}

void x_block_label(QWidget* label, bool on)
{
    label->setEnabled(!on);
}

// A blocked field is read-only and looks it.
void x_block_text(QLineEdit* text, bool on)
{
    text->setReadOnly(on);
    QPalette p = text->palette();
    p.setColor(QPalette::Base, QColor(on ? 0xD9D9D9 : 0xFFFFFF));
    p.setColor(QPalette::Text, QColor(on ? 0x606060 : 0x000000));
    text->setPalette(p);
}

std::string full_path(int entry)
{
    std::string path;
    fl_get_fullpath(entry, path);
    return path;
}

// A symbolic link whose text the reader got (its other texts say why there is none).
bool link_known(const FileRecord& r)
{
    if (!(r.flags & DIR_F_LINK))
        return false;
    const std::string_view text = r.link_text();
    return text != DIR_TEXT_TIMEOUT && text != DIR_TEXT_NO_INFO && text != DIR_TEXT_NO_LINK;
}

bool is_dir(const FileRecord& r)
{
    return S_ISDIR(r.status.st_mode);
}

// An owner or group text: empty keeps `current`, else a database name, else a
// decimal id. False when it is none of those.
template <class Lookup>
bool resolve_id(const QString& text, long current, Lookup lookup, long& out)
{
    out = current;
    if (text.isEmpty())
        return true;
    const QByteArray bytes = text.toUtf8();
    long id;
    if (lookup(bytes.constData(), id)) {
        out = id;
        return true;
    }
    if (misc_all_digits(bytes.constData())) {
        out = std::strtol(bytes.constData(), nullptr, 10);
        return true;
    }
    return false;
}
}  // namespace

PropertyDlg::PropertyDlg(QWidget* parent) : dlg_(new QDialog(parent)), ui_(new Ui::property_dlg)
{
    ui_->setupUi(dlg_.get());
    QObject::connect(ui_->pr_done, &QPushButton::clicked, dlg_.get(), [this] { prop_done(); });
    QObject::connect(ui_->pr_name, &QLineEdit::returnPressed, ui_->pr_done,
                     &QPushButton::click);
    QObject::connect(ui_->pr_cancel, &QPushButton::clicked, dlg_.get(), &QDialog::reject);
    QObject::connect(dlg_.get(), &QDialog::rejected, dlg_.get(), [this] { prop_cancel(); });
    wshortcut(dlg_.get(), "Alt+D", ui_->pr_done);
    wshortcut(dlg_.get(), "Alt+C", ui_->pr_cancel);
}

PropertyDlg::~PropertyDlg()
{
    stop_filetype();
}

int PropertyDlg::prop_setup()
{
    if (gDir.selected <= 0)
        return -1;
    stop_filetype();
    wcenter(dlg_->parentWidget(), dlg_.get());
    for (const ModeBit& m : kModeBits) {
        (ui_.get()->*m.toggle)->setTristate(false);
        (ui_.get()->*m.toggle)->setChecked(false);
    }
    ui_->pr_setsticky->setChecked(false);
    x_block_text(ui_->pr_name, false);
    x_block_text(ui_->pr_owner, false);
    x_block_text(ui_->pr_group, false);
    for (QLabel* l : dlg_->findChildren<QLabel*>())
        x_block_label(l, false);
    if (gDir.selected == 1) {
        for (int i = 0; i < gDir.count; ++i)
            if (gDir[i].flags & DIR_F_SELECTED) {
                one_entry = i;
                break;
            }
        x_prop_setup_one(one_entry);
        ui_->pr_name->setFocus();
    } else {
        one_entry = -1;
        x_block_text(ui_->pr_name, true);
        x_prop_setup_multi();
    }
    wblock(gBase, 1);
    return 0;
}

void PropertyDlg::x_prop_setup_one(int entry)
{
    const FileRecord& r = gDir[entry];
    ui_->pr_icon->setPixmap(FlModel::image(fl_model()->image_of(r)).pixmap(32, 32));
    shown_name_ = fname_decode(r.name.c_str());
    ui_->pr_name->setText(QString::fromStdString(shown_name_));
    const std::string path = full_path(entry);
    ask_filetype(path, r.status.st_mode);
    ui_->pr_size->setText(QString::number(r.status.st_size));
    char date[32];
    const time_t t = r.status.st_mtime;
    struct tm tm;
    localtime_r(&t, &tm);
    std::strftime(date, sizeof date, "%A %B %d, %Y", &tm);
    ui_->pr_modified->setText(QString::fromLocal8Bit(date));
    ui_->pr_location->setText(shown(gDir.path.c_str()));
    // The reader's text: reading the link again here could hang on a dead mount.
    if (link_known(r)) {
        ui_->pr_symbolic->setText(shown(r.link_text()));
    } else {
        x_block_label(ui_->pr_symbolic_title, true);
        x_block_label(ui_->pr_symbolic, true);
    }
    x_setup_permission_fields(static_cast<long>(static_cast<int>(r.status.st_uid)),
                              static_cast<long>(static_cast<int>(r.status.st_gid)));
    _show_mode(r.status.st_mode);
}

void PropertyDlg::ask_filetype(const std::string& path, mode_t mode)
{
    stop_filetype();
    ui_->pr_filetype->setText(QStringLiteral("-"));
    ui_->pr_type->setText(QStringLiteral("-"));
    auto query = std::make_shared<PropTypeQuery>();
    if (query->cancel < 0)
        return;
    type_query_ = query;
    QPointer<QLabel> label(ui_->pr_filetype);
    QPointer<QLabel> described(ui_->pr_type);
    // The tool may hang on a dead mount: the dialog is shown meanwhile. So may the
    // look into the file that the desktop's type takes when the name does not tell.
    auto work = [query, label, described, path, mode] {
        const std::string content = as_content_type(path, true);
        const QString desc = QString::fromStdString(as_type_description(content) + " (" + content + ")");
        QMetaObject::invokeMethod(qApp, [query, described, desc] {
            if (described && !query->stopped)
                described->setText(desc);
        }, Qt::QueuedConnection);
        std::string line, type;
        if (!run_file_tool(path, query->cancel, line))
            return;
        if (!as_filetype_from(path.c_str(), line.empty() ? nullptr : line.c_str(), mode, type))
            return;
        QMetaObject::invokeMethod(qApp, [query, label, text = QString::fromStdString(type).trimmed()] {
            if (label && !query->stopped)
                label->setText(text);
        }, Qt::QueuedConnection);
    };
    try {
        std::thread(std::move(work)).detach();
    } catch (const std::system_error&) {
        type_query_.reset();
    }
}

void PropertyDlg::stop_filetype()
{
    if (type_query_)
        type_query_->stop();
    type_query_.reset();
}

void PropertyDlg::x_prop_setup_multi()
{
    std::string names;
    int files = 0, dirs = 0;
    int64_t size = 0;
    long uid = -2, gid = -2;  // -2: no entry seen yet
    mode_t all = ~mode_t{0}, any = 0;
    bool names_full = false;
    for (int i = 0; i < gDir.count; ++i) {
        const FileRecord& r = gDir[i];
        if (!(r.flags & DIR_F_SELECTED))
            continue;
        const std::string name = fname_decode(r.name.c_str());
        const std::size_t add = (names.empty() ? 0 : 2) + name.size();
        if (!names_full && names.size() + add <= kNamesMax)
            names += (names.empty() ? "" : ", ") + name;
        else
            names_full = true;
        if (is_dir(r)) {
            ++dirs;
        } else {
            ++files;
            size += r.status.st_size;
        }
        const long u = static_cast<int>(r.status.st_uid), g = static_cast<int>(r.status.st_gid);
        uid = uid == -2 || uid == u ? u : -1;
        gid = gid == -2 || gid == g ? g : -1;
        all &= r.status.st_mode;
        any |= r.status.st_mode;
    }
    ui_->pr_name->setText(QString::fromStdString(names));
    char summary[96];
    if (files == 0)
        std::snprintf(summary, sizeof summary, "(%d directories)", dirs);
    else if (dirs != 0)
        std::snprintf(summary, sizeof summary, "(%d items: %d director%s, %d file%s)",
                      files + dirs, dirs, dirs == 1 ? "y" : "ies", files, files == 1 ? "" : "s");
    else
        std::snprintf(summary, sizeof summary, "(%d files)", files);
    ui_->pr_comment->setText(QString::fromLatin1(summary));
    if (size > 0) {
        char text[64];
        ui_->pr_size->setText(QString::fromLatin1(es_generate_byte_string(text, size)));
    } else {
        x_block_label(ui_->pr_size_title, true);
        x_block_label(ui_->pr_size, true);
    }
    x_setup_permission_fields(uid, gid);
    for (QLabel* l : {ui_->pr_type_title, ui_->pr_type, ui_->pr_filetype_title, ui_->pr_filetype,
                      ui_->pr_modified_title, ui_->pr_modified, ui_->pr_symbolic_title, ui_->pr_symbolic})
        x_block_label(l, true);
    ui_->pr_location->setText(shown(gDir.path.c_str()));
    _show_mode(all);
    // A bit only some entries have is shown half set, and Done leaves it as each has it.
    for (const ModeBit& m : kModeBits)
        if ((any & ~all) & m.bit) {
            QCheckBox* box = ui_.get()->*m.toggle;
            box->setTristate(true);
            box->setCheckState(Qt::PartiallyChecked);
        }
}

void PropertyDlg::x_setup_permission_fields(long uid, long gid)
{
    x_block_text(ui_->pr_owner, true);
    x_block_text(ui_->pr_group, true);
    char name[16];
    if (uid != -1) {
        dir_get_username(static_cast<uid_t>(uid), name);
        ui_->pr_owner->setText(QString::fromUtf8(name));
    } else {
        ui_->pr_owner->clear();
    }
    if (gid != -1) {
        dir_get_groupname(static_cast<gid_t>(gid), name);
        ui_->pr_group->setText(QString::fromUtf8(name));
    } else {
        ui_->pr_group->clear();
    }
}

void PropertyDlg::_show_mode(mode_t mode)
{
    for (const ModeBit& m : kModeBits)
        (ui_.get()->*m.toggle)->setChecked((mode & m.bit) != 0);
}

mode_t PropertyDlg::toggled_mode(mode_t current) const
{
    mode_t mode = 0;
    for (const ModeBit& m : kModeBits) {
        const Qt::CheckState state = (ui_.get()->*m.toggle)->checkState();
        if (state == Qt::Checked || (state == Qt::PartiallyChecked && (current & m.bit)))
            mode |= m.bit;
    }
    return mode;
}

int PropertyDlg::x_prop_done_one(int entry, const QString* new_name, const QString& owner,
                                 const QString& group, PropChange& c)
{
    const FileRecord& r = gDir[entry];
    c.path = full_path(entry);
    c.display = fname_decode(r.name.c_str());
    if (new_name) {
        const QByteArray typed = new_name->toUtf8();
        const char* bytes = fname_merge_edit(r.name.c_str(), shown_name_, typed.toStdString());
        if (!bytes) {
            wreport_untranslatable(gBase, typed.constData());
            return 2;
        }
        if (*bytes && r.name.view() != bytes) {
            fl_get_fullpath(-1, c.to);
            c.to += bytes;
            c.typed = typed.toStdString();
        }
    }
    const long cur_uid = static_cast<int>(r.status.st_uid), cur_gid = static_cast<int>(r.status.st_gid);
    long uid, gid;
    if (!resolve_id(owner, cur_uid, [](const char* n, long& id) {
            const passwd* pw = ::getpwnam(n);
            return pw ? (id = pw->pw_uid, true) : false;
        }, uid)) {
        c.refusal = "Invalid owner_id '" + owner.toStdString() + "'";
        return 0;
    }
    if (!resolve_id(group, cur_gid, [](const char* n, long& id) {
            const struct group* gr = ::getgrnam(n);
            return gr ? (id = gr->gr_gid, true) : false;
        }, gid)) {
        c.refusal = "Invalid group '" + group.toStdString() + "'";
        return 0;
    }
    c.chown = uid != cur_uid || gid != cur_gid;
    c.uid = static_cast<uid_t>(uid);
    c.gid = static_cast<gid_t>(gid);
    // The sticky bit is not offered: it goes when a permission is changed, and
    // only then, so Done on an untouched entry leaves it as it was.
    c.mode = toggled_mode(r.status.st_mode);
    c.chmod = c.mode != (r.status.st_mode & 06777);
    return 0;
}

namespace {
std::function<int(const char*, const char*)> sRename;

// Makes one entry's changes, on the worker: 0, or 1 after a failure that left the
// rest of the entry as it was, 2 when that was the new name.
int apply_change(const PropChange& c, std::vector<std::string>& messages)
{
    std::string path = c.path, display = c.display;
    if (!c.to.empty()) {
        struct stat st;
        if (::lstat(c.to.c_str(), &st) == 0) {
            messages.push_back("File name '" + c.typed + "' already exists");
            return 2;
        }
        if ((sRename ? sRename(path.c_str(), c.to.c_str()) : ::rename(path.c_str(), c.to.c_str())) != 0) {
            const std::string why = std::strerror(errno);
            // Messages are cut to 255 bytes: a long name is shortened so the reason shows.
            const std::size_t room = kMessageMax - std::strlen("Unable to rename ''.\n") - why.size();
            const std::size_t n = fname_utf8_cut(c.typed.c_str(), std::min(c.typed.size(), room));
            messages.push_back("Unable to rename '" + c.typed.substr(0, n) + "'.\n" + why);
            return 2;
        }
        undo_note_item(UndoKind::Rename, path, c.to);
        path = c.to;
        display = c.typed;
    }
    if (!c.refusal.empty()) {
        messages.push_back(c.refusal);
        return 1;
    }
    if (c.chown && ::chown(path.c_str(), c.uid, c.gid) != 0) {
        messages.push_back("Unable to change ownership of '" + display + "'");
        return 1;
    }
    if (c.chmod && ::chmod(path.c_str(), c.mode) != 0) {
        messages.push_back("Unable to change permissions of '" + display + "'");
        return 1;
    }
    return 0;
}
}  // namespace

void prop_set_rename_fn(std::function<int(const char*, const char*)> fn)
{
    sRename = std::move(fn);
}

bool PropertyDlg::prop_done()
{
    if (busy_)
        return false;
    const QString owner = ui_->pr_owner->text();
    const QString group = ui_->pr_group->text();
    std::string go_to, renamed_to;
    std::vector<PropChange> changes;
    if (one_entry >= 0) {
        const QString name = ui_->pr_name->text();
        go_to = gDir[one_entry].name.c_str();
        PropChange c;
        if (x_prop_done_one(one_entry, &name, owner, group, c) == 2)
            return false;  // nothing changed: the typed name stays for another try
        if (!name.isEmpty())
            if (const char* now = fname_merge_edit(go_to, shown_name_, name.toStdString()); now && *now)
                renamed_to = now;
        changes.push_back(std::move(c));
    } else {
        for (int i = 0; i < gDir.count; ++i) {
            if (!(gDir[i].flags & DIR_F_SELECTED))
                continue;
            if (changes.empty())
                go_to = gDir[i].name.c_str();
            PropChange c;
            x_prop_done_one(i, nullptr, owner, group, c);
            changes.push_back(std::move(c));
        }
    }
    // The changes are made off the GUI thread, which a file system that stopped
    // answering would otherwise hold; meanwhile only Cancel answers.
    busy_ = true;
    QList<QWidget*> inputs = {ui_->pr_done, ui_->pr_name, ui_->pr_owner, ui_->pr_group};
    for (const ModeBit& m : kModeBits)
        inputs << ui_.get()->*m.toggle;
    for (QWidget* w : inputs)
        if (w->isEnabled()) {
            w->setEnabled(false);
            disabled_ << w;
        }
    QApplication::setOverrideCursor(Qt::BusyCursor);
    QPointer<QDialog> dlg(dlg_.get());
    const bool one = one_entry >= 0;
    std::thread([this, dlg, one, go_to, renamed_to, changes = std::move(changes)] {
        std::vector<std::string> messages;
        int rc = 0;
        for (const PropChange& c : changes)
            rc = apply_change(c, messages);
        QMetaObject::invokeMethod(
            qApp,
            [this, dlg, one, rc, go_to, renamed_to, messages = std::move(messages)] {
                QApplication::restoreOverrideCursor();
                for (const std::string& m : messages)
                    wreport(gBase, "Error", "%s", m.c_str());
                if (dlg)
                    done_finished(one && rc == 2, rc == 0 && !renamed_to.empty() ? renamed_to : go_to);
                else
                    fl_refresh();
            },
            Qt::QueuedConnection);
    }).detach();
    return false;
}

void PropertyDlg::done_finished(bool stay, const std::string& go_to)
{
    busy_ = false;
    for (QWidget* w : disabled_)
        if (w)
            w->setEnabled(true);
    disabled_.clear();
    if (stay)
        return;  // the typed name stays for another try
    fl_refresh();
    if (!go_to.empty())
        fl_goto(go_to.c_str(), 0, FIND_EXACT);
    prop_cancel();
    dlg_->accept();
}

void PropertyDlg::prop_cancel()
{
    stop_filetype();
    one_entry = -1;
    wblock(gBase, 0);
}

int PropertyDlg::run()
{
    if (prop_setup() != 0)
        return -1;
    return wexec(dlg_.get(), fl_list());
}

int em_properties()
{
    PropertyDlg dlg(gBase);
    return dlg.run();
}
