#include "filelist/tb_path.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QComboBox>
#include <QKeyEvent>
#include <QLineEdit>
#include <QSignalBlocker>
#include <QMainWindow>
#include <QToolButton>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <sys/stat.h>

#include "dirmodel/es_path.h"
#include "dirmodel/fname.h"
#include "dirmodel/fs_query.h"
#include "filelist/fl_complete.h"
#include "filelist/fl_find.h"
#include "filelist/fl_panel.h"
#include "filelist/fl_select.h"
#include "shell/kit/globals.h"
#include "shell/kit/init_config.h"
#include "shell/kit/w_utils.h"

ClBoxes gCboxes;

namespace {
QComboBox* sCurpath = nullptr;
QComboBox* sFilespec = nullptr;
QToolButton* sUp = nullptr;
QToolButton* sHome = nullptr;
QToolButton* sAdd = nullptr;
bool (*sInHotlist)(const char*) = nullptr;
EscCounter sEsc;
// A deleting key inserts nothing, so it must not bring the proposal back.
bool sLastKeyDeletes = false;

// A typed path made whole: a relative one is under the directory shown.
std::string typed_full(const std::string& typed)
{
    return typed[0] == '/' ? typed : es_join(gDir.path, typed);
}

// A typed path that names an existing file other than a directory: its directory
// and its name, so the list can go there and select it.
std::optional<UpTarget> typed_file(const std::string& typed)
{
    if (typed.empty())
        return std::nullopt;
    std::string full = typed_full(typed);
    es_strip_pathname(full.data());
    full.resize(std::strlen(full.c_str()));
    if (fs_path_is_directory(full.c_str()) != 0)
        return std::nullopt;
    return fl_up_target(full);
}

void report_encode(const QString& text)
{
    wreport(gBase, "Error", "Unable to encode '%s' into '%s' encoding.", text.toUtf8().constData(),
            gConfig ? std::string(gConfig->alt_encoding()).c_str() : "");
}

// Typing at the end of the path box proposes the first history entry that
// begins with the text, the rest selected so that typing on replaces it.
void tb_curpath_notify(const QString& text)
{
    QLineEdit* le = sCurpath->lineEdit();
    if (text.isEmpty())
        return;
    if ((gOptions & TB_OPT_COMPLETE) && !sLastKeyDeletes) {
        const int cursor = le->cursorPosition();
        if (cursor == text.size() && !le->hasSelectedText()) {
            const QByteArray typed = text.toUtf8();
            if (const char* hit = cl_find_pattern(gCboxes.path, typed.constData())) {
                const QString entry = QString::fromUtf8(hit);
                if (entry.size() > text.size()) {
                    le->setText(entry);
                    le->setSelection(entry.size(), text.size() - entry.size());
                }
            }
        }
    }
    if (gOptions & TB_OPT_WEB_COLOUR)
        tb_curpath_update_appearance();
}

void complete_from_disk()
{
    QLineEdit* le = sCurpath->lineEdit();
    if (le->hasSelectedText()) {
        QSignalBlocker quiet(le);
        le->del();
    }
    const QByteArray typed = le->text().toUtf8();
    const char* bytes = fname_encode(typed.constData());
    if (!bytes || !*bytes)
        return;
    auto found = find_matching_dir(bytes);
    if (!found) {
        QApplication::beep();
        return;
    }
    le->setText(QString::fromUtf8(fname_decode(found->c_str())));
    le->end(false);
}

// What Return enters: the text as shown, except that a proposal from the history
// (the selected rest) gives way to what was typed when that names something that
// exists: completion suggests, it does not choose.
QString text_to_enter()
{
    QLineEdit* le = sCurpath->lineEdit();
    const QString text = le->text();
    if (!le->hasSelectedText() || le->selectionStart() == 0 || le->selectionEnd() != text.size())
        return text;
    const QString typed = text.left(le->selectionStart());
    const QByteArray utf8 = typed.toUtf8();
    const char* bytes = fname_encode(utf8.constData());
    if (!bytes || !*bytes)
        return text;
    struct stat st;
    return ::lstat(typed_full(bytes).c_str(), &st) == 0 ? typed : text;
}

class PathKeyFilter : public QObject {
public:
    using QObject::QObject;

protected:
    bool eventFilter(QObject*, QEvent* ev) override
    {
        if (ev->type() != QEvent::KeyPress)
            return false;
        auto* ke = static_cast<QKeyEvent*>(ev);
        if (ke->key() == 0 || ke->key() == Qt::Key_unknown)
            return false;
        sLastKeyDeletes = ke->key() == Qt::Key_Backspace || ke->key() == Qt::Key_Delete ||
                          ke->matches(QKeySequence::Cut);
        // Taken before the box sees it: the box would go to the history entry
        // its text now equals.
        if ((ke->key() == Qt::Key_Return || ke->key() == Qt::Key_Enter) &&
            !(ke->modifiers() & ~Qt::KeypadModifier) && !sCurpath->view()->isVisible()) {
            sEsc.reset();
            tb_curpath_cb(text_to_enter());
            return true;
        }
        if (ke->key() != Qt::Key_Escape || sCurpath->view()->isVisible()) {
            sEsc.reset();
            return false;
        }
        if (sEsc.press())
            complete_from_disk();
        return true;
    }
};
}  // namespace

int cl_apply(ClHistory& list, QComboBox* combo)
{
    if (!list.changed())
        return 0;
    const QString text = combo->currentText();
    combo->clear();
    if (list.count == 0)
        return 0;  // emptied, not refilled: the mark stays
    QStringList items;
    for (const std::string& e : list.entries())
        items << QString::fromUtf8(e.c_str());
    combo->addItems(items);
    if (combo->isEditable())
        combo->setEditText(text);
    list.clear_changed();
    return 1;
}

void cl_text_select(QComboBox* combo, int n)
{
    if (n >= 1 && n <= combo->count()) {
        combo->setCurrentIndex(n - 1);
        if (combo->isEditable())
            combo->lineEdit()->selectAll();
    }
}

void tb_setup(QWidget* base)
{
    sCurpath = base->findChild<QComboBox*>("tb_curpath");
    sFilespec = base->findChild<QComboBox*>("tb_filespec");
    sUp = base->findChild<QToolButton*>("tb_up");
    sHome = base->findChild<QToolButton*>("tb_home");
    sAdd = base->findChild<QToolButton*>("tb_add");
    if (sCurpath) {
        // The box completes from its own history and from the disk; Qt's inline
        // completer would fight both.
        sCurpath->setCompleter(nullptr);
        QLineEdit* le = sCurpath->lineEdit();
        QObject::connect(le, &QLineEdit::returnPressed, sCurpath,
                         [] { tb_curpath_cb(sCurpath->lineEdit()->text()); });
        QObject::connect(sCurpath, &QComboBox::textActivated, sCurpath,
                         [](const QString& t) { tb_curpath_cb(t); });
        // textEdited comes from the user's keys only, not from setText.
        QObject::connect(le, &QLineEdit::textEdited, sCurpath, &tb_curpath_notify);
        // Keys reach the combo box first, which hands them to its line edit
        // without passing its filters; a line edit given the focus directly gets
        // them itself. Either way one of the two sees each key once.
        auto* keys = new PathKeyFilter(sCurpath);
        sCurpath->installEventFilter(keys);
        le->installEventFilter(keys);
    }
    if (sFilespec) {
        QObject::connect(sFilespec->lineEdit(), &QLineEdit::returnPressed, sFilespec,
                         [] { tb_filespec_cb(sFilespec->lineEdit()->text()); });
        QObject::connect(sFilespec, &QComboBox::textActivated, sFilespec,
                         [](const QString& t) { tb_filespec_cb(t); });
    }
}

void tb_curpath_set_text(const char* path)
{
    if (sCurpath)
        sCurpath->setEditText(QString::fromUtf8(fname_decode(path ? path : "")));
}

void tb_update()
{
    const std::string& path = gDir.path;
    auto enable = [](QToolButton* b, bool on) {
        if (b)
            b->setEnabled(on);
    };
    enable(sUp, path != "/");
    const char* home = std::getenv("HOME");
    enable(sHome, home && path != home);
    enable(sAdd, !(sInHotlist && sInHotlist(path.c_str())));
}

void tb_set_hotlist_query(bool (*fn)(const char*))
{
    sInHotlist = fn;
}

void tb_curpath_cb(const QString& text)
{
    const QByteArray utf8 = text.toUtf8();
    const char* bytes = fname_encode(utf8.constData());
    if (!bytes) {
        report_encode(text);
        return;
    }
    std::string path(bytes);
    std::string select;
    if (auto file = typed_file(path)) {
        path = std::move(file->dir);
        select = std::move(file->select);
    }
    const bool here = !select.empty() && path == gDir.path;
    if (!here && fl_newpath(fl_list(), path.c_str()) != 0)
        return;
    if (!select.empty())
        fl_goto(select.c_str(), 0, FIND_EXACT);
    cl_add(gCboxes.path, fname_decode(gDir.path.c_str()));
    if (sCurpath) {
        cl_apply(gCboxes.path, sCurpath);
        tb_curpath_set_text(gDir.path.c_str());
    }
}

void tb_filespec_cb(const QString& text)
{
    const QByteArray utf8 = text.toUtf8();
    const char* bytes = fname_encode(utf8.constData());
    if (!bytes) {
        report_encode(text);
        return;
    }
    if (fl_setspec(bytes) != 0)
        return;
    cl_add(gCboxes.fspec, utf8.constData());
    if (sFilespec)
        cl_apply(gCboxes.fspec, sFilespec);
}

void tb_curpath_update_appearance()
{
    if (!sCurpath)
        return;
    const QByteArray t = sCurpath->currentText().toUtf8();
    QPalette p = sCurpath->lineEdit()->palette();
    p.setColor(QPalette::Text, cl_is_web_address(t.constData()) ? QColor(0x0000FF) : QColor(Qt::black));
    sCurpath->lineEdit()->setPalette(p);
}
