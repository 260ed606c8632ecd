#include "hotlist/mgen.h"

#include <cstdlib>
#include <pwd.h>
#include <unistd.h>

#include <QInputDialog>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenu>
#include "filelist/fl_view.h"

#include "clipboard/clip.h"
#include "dirmodel/es_path.h"
#include "dirmodel/fname.h"
#include "fileops/fop_gui.h"
#include "fileops/fop_request.h"
#include "filelist/fl_panel.h"
#include "hotlist/dtm.h"
#include "hotlist/dtm_scan.h"
#include "hotlist/tree.h"
#include "shell/kit/globals.h"
#include "shell/kit/init_config.h"
#include "shell/kit/w_msg.h"
#include "shell/kit/w_utils.h"

namespace {
QString sLastDest;  // the prompt opens with what was typed last

// The bookmarks, added when the submenu is first shown.
void mgen_add_tree(QMenu* sub, void (*handler)(const std::string&))
{
    if (gTree.list.entries.empty())
        return;
    sub->addSeparator();
    const int flags = ((gConfig->options() & cfg::OPT_HIDE_DOT) ? DTM_HIDE_DOT : 0) | DTM_CHECK;
    for (const std::string& e : gTree.list.entries)
        if (const char* fs = fname_encode(e.c_str()))  // an untranslatable one is left out
            dtm_add_item(sub, fs, QString::fromStdString(e), flags, handler);
}

QMenu* add_cascade(QMenu* menu, QAction* before, const QString& text, void (*handler)(const std::string&))
{
    auto* sub = new QMenu(text, menu);
    menu->insertMenu(before, sub);
    sub->addAction(QStringLiteral("&Other..."), [handler] { handler(std::string()); });
    QObject::connect(sub, &QMenu::aboutToShow, sub, [sub, handler] {
        if (sub->property("mgen_filled").toBool())
            return;
        sub->setProperty("mgen_filled", true);
        mgen_add_tree(sub, handler);
    });
    return sub;
}

// The home directory "~" or "~user" names; empty when there is none.
std::string home_of(const std::string& user)
{
    std::string home;
    if (user.empty()) {
        if (const char* h = std::getenv("HOME"); h && *h)
            home = h;
        else if (const passwd* pw = ::getpwuid(::getuid()))
            home = pw->pw_dir;
    } else if (const passwd* pw = ::getpwnam(user.c_str())) {
        home = pw->pw_dir;
    }
    return home.starts_with('/') ? home : std::string();
}

// A typed destination made absolute once, when typed: the engine would otherwise
// resolve a relative one against the working directory at each call, which follows
// the list wherever the user goes next. "~" and "~user" lead to a home directory;
// other relative text goes under the directory listed. False after telling the
// user why it cannot be done.
bool absolute_dest(std::string& dest, const QByteArray& typed)
{
    if (dest.starts_with('/'))
        return true;
    if (dest.starts_with('~')) {
        const std::size_t slash = dest.find('/');
        const std::string home = home_of(dest.substr(1, slash == std::string::npos ? slash : slash - 1));
        if (home.empty()) {
            wreport(gBase, "Error", "Unable to find the home directory of '%s'.", typed.constData());
            return false;
        }
        dest = es_join(home, slash == std::string::npos ? std::string_view() : std::string_view(dest).substr(slash + 1));
        return true;
    }
    if (!gDir.path.starts_with('/')) {
        wreport(gBase, "Error", "The destination '%s' is not a full path.", typed.constData());
        return false;
    }
    dest = es_join(gDir.path, dest);
    return true;
}

void to_dest(int kind, const std::string& dest)
{
    const bool copy = kind == FOP_COPY;
    FileTransf t = fl_pack_transf();
    if (t.count <= 0)
        return;
    std::string target = dest;
    if (!target.empty()) {
        const QString what = t.count > 1 ? QStringLiteral("%1 files").arg(t.count)
                                         : QString::fromUtf8(fname_decode(t.names[0].c_str())).left(1023);
        if (!confirm(copy ? "copy" : "move", what, QString::fromUtf8(fname_decode(dest.c_str()))))
            return;
    } else {
        const QString typed = input_dest(copy ? QStringLiteral("Copy to") : QStringLiteral("Move to"));
        if (typed.isEmpty())
            return;
        const QByteArray text = typed.toUtf8();
        const char* fs = fname_encode(text.constData());
        if (!fs) {
            wreport_untranslatable(gBase, text.constData());
            return;
        }
        target = fs;
        if (!absolute_dest(target, text))
            return;
    }
    fop_start_cmd(kind, t.srcdir, t.names, target);
}
}  // namespace

int mgen_work_insert(QMenu* menu, QAction* before)
{
    if (gDir.selected <= 0)
        return 0;
    add_cascade(menu, before, QStringLiteral("&Copy To"), x_copy_to_dest)->setObjectName(QStringLiteral("mgen_copy"));
    add_cascade(menu, before, QStringLiteral("&Move To"), x_move_to_dest)->setObjectName(QStringLiteral("mgen_move"));
    return 3;
}

void x_copy_to_dest(const std::string& dest)
{
    to_dest(FOP_COPY, dest);
}

void x_move_to_dest(const std::string& dest)
{
    to_dest(FOP_MOVE, dest);
}

int confirm(const char* verb, const QString& what, const QString& dest)
{
    const QString text = QStringLiteral("Do you want to %1 %2 to\n'%3'\n").arg(QString::fromLatin1(verb), what, dest);
    return w_message(w_make_message(gBase, QString::fromLatin1(verb), text, "#&No|@&Yes")) == 2 ? 1 : 0;
}

QString input_dest(const QString& title)
{
    QInputDialog dlg(gBase);
    dlg.setObjectName(QStringLiteral("input_dest"));
    dlg.setWindowTitle(title);
    dlg.setLabelText(QStringLiteral("Destination directory:"));
    dlg.setOkButtonText(QStringLiteral("&OK"));
    dlg.setCancelButtonText(QStringLiteral("&Cancel"));
    dlg.setTextValue(sLastDest);
    if (auto* field = dlg.findChild<QLineEdit*>())
        field->setMaxLength(1025);
    dlg.resize(400, dlg.sizeHint().height());
    if (wexec(&dlg, fl_list()) != 0)
        return {};
    sLastDest = dlg.textValue();
    if (sLastDest.trimmed().isEmpty())
        return {};
    if (!sLastDest.endsWith('/'))
        sLastDest += '/';
    return sLastDest;
}
