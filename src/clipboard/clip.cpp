#include "clipboard/clip.h"

#include <QClipboard>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QMainWindow>
#include <QMimeData>
#include <QPointer>
#include <QTimer>
#include "filelist/fl_view.h"
#include <cstring>

#include "dirmodel/es_path.h"
#include "dirmodel/fname.h"
#include "fileops/fop_gui.h"
#include "filelist/fl_model.h"
#include "filelist/fl_panel.h"
#include "filelist/fl_select.h"
#include "shell/kit/globals.h"
#include "shell/kit/init_config.h"
#include "shell/kit/w_msg.h"
#include "shell/kit/w_utils.h"

int one_dir_packed = 0;

namespace {
CutList sCut;
QByteArray sCutBytes;            // the "mvfiles" bytes sCut was read from
QPointer<QMimeData> sOurs;       // what this program last put on the clipboard
// The cut list stands for the clipboard's "mvfiles" entry: ours, or another
// instance's that a Paste is moving. Cleared when another program takes the clipboard.
bool sCutLive = false;
bool sMustBeMoved = false;
bool sPublishing = false;
QTimer* sPublishTimer = nullptr;
QElapsedTimer sSincePublish;

constexpr char kGnome[] = "x-special/gnome-copied-files";
constexpr char kKdeCut[] = "application/x-kde-cutselection";

QClipboard* clipboard()
{
    return QGuiApplication::clipboard();
}

QByteArray bytes(const std::string& s)
{
    return QByteArray(s.data(), static_cast<qsizetype>(s.size()));
}

std::string_view view(const QByteArray& b)
{
    return {b.constData(), static_cast<std::size_t>(b.size())};
}

bool owned()
{
    return sOurs && clipboard()->mimeData() == sOurs.data();
}

// One entry of the record, the other format present and empty, and for other
// programs the same files as URIs (and as paths for text fields). Those are made
// only when a program asks: QMimeData would parse a URI list given to it into
// URLs, a cost that a selection of 100,000 files would pay on every Copy. Files of
// several directories (Find Files' results) have no record: they go as URIs only,
// which Paste takes as it takes another program's.
class TransfMime : public QMimeData {
public:
    TransfMime(FileTransf t, bool cut) : cut_(cut)
    {
        if (t.count)
            packed_ = bytes(transf_pack(t));
        groups_.push_back(std::move(t));
    }
    TransfMime(std::vector<FileTransf> groups, bool cut) : groups_(std::move(groups)), cut_(cut), several_(true) {}
    const QByteArray& packed() const { return packed_; }
    QStringList formats() const override
    {
        QStringList f;
        if (!several_)
            f << kMimeFiles << kMimeMvFiles;
        if (any())
            f << kUriList << kGnome << QStringLiteral("text/plain");
        if (any() && cut_)
            f << kKdeCut;
        return f;
    }
    bool hasFormat(const QString& format) const override { return formats().contains(format); }

protected:
    QVariant retrieveData(const QString& format, QMetaType) const override
    {
        if (format == kMimeFiles && !several_)
            return cut_ ? QByteArray() : packed_;
        if (format == kMimeMvFiles && !several_)
            return cut_ ? packed_ : QByteArray();
        if (!any())
            return {};
        std::string out;
        if (format == kUriList) {
            for (const FileTransf& t : groups_)
                out += transf_uri_list(t);
        } else if (format == kGnome) {
            out = cut_ ? "cut" : "copy";
            for (const FileTransf& t : groups_)
                for (const std::string& n : t.names)
                    out += "\n" + uri_from_path(es_join(t.srcdir, n));
        } else if (format == kKdeCut && cut_) {
            out = "1";
        } else if (format == QLatin1String("text/plain")) {
            for (const FileTransf& t : groups_)
                for (const std::string& n : t.names)
                    (out.empty() ? out : out += '\n') += es_join(t.srcdir, n);
        } else {
            return {};
        }
        return bytes(out);
    }

private:
    bool any() const
    {
        for (const FileTransf& t : groups_)
            if (t.count)
                return true;
        return false;
    }
    std::vector<FileTransf> groups_;
    bool cut_;
    bool several_ = false;
    QByteArray packed_;
};

void publish(FileTransf t, bool cut)
{
    if (cut)
        sCut.assign(t);
    auto* m = new TransfMime(std::move(t), cut);
    if (cut) {
        sCutBytes = m->packed();
        sCutLive = !sCut.empty();
    }
    sPublishing = true;
    clipboard()->setMimeData(m);
    sPublishing = false;
    sOurs = m;
    sSincePublish.start();
}

// Reloads the cut list from our own clipboard entry. Another program's clipboard
// is never asked here: this runs before every redraw and every operation, and an
// owner that does not answer would hold the GUI thread for the X time-out.
void load_cut()
{
    if (!owned())
        return;
    const QByteArray mv = sOurs->data(kMimeMvFiles);
    if (mv == sCutBytes && (!mv.isEmpty() || sCut.empty()))
        return;
    FileTransf t;
    sCutBytes = mv;
    sCutLive = !mv.isEmpty() && transf_unpack(view(mv), t);
    sCut.assign(sCutLive ? std::move(t) : FileTransf{});
}

void publish_rest()
{
    if (sPublishTimer)
        sPublishTimer->stop();
    if (sCutLive)
        publish(sCut.remaining(), true);
}

void refresh_marks()
{
    if (FlView* list = fl_list())
        list->viewport()->update();
}

// Files another program copied or cut, as URIs.
void paste_foreign(const QMimeData* m)
{
    QByteArray text;
    bool cut = false;
    if (m->hasFormat(kGnome)) {
        text = m->data(kGnome);
        const qsizetype nl = text.indexOf('\n');
        cut = text.left(nl < 0 ? text.size() : nl).trimmed() == "cut";
        text = nl < 0 ? QByteArray() : text.mid(nl + 1);
    } else if (m->hasFormat(kUriList)) {
        text = m->data(kUriList);
        cut = m->data(kKdeCut).trimmed() == "1";
    } else {
        return;
    }
    std::vector<FileTransf> groups;
    std::string bad;
    if (!transf_from_uri_lines(view(text), groups, bad)) {
        wreport(gBase, "Paste", "Only files on this computer can be pasted:\n'%s'", bad.c_str());
        return;
    }
    if (clip_check(groups, "Paste", "pasted") != 0)
        return;
    for (const FileTransf& g : groups)
        if (g.srcdir != gDir.path)
            fop_start_cmd(cut ? FOP_MOVE : FOP_COPY, g.srcdir, g.names, gDir.path);
    // The other program's cut is used up: a second Paste would find nothing to move.
    if (cut && !groups.empty())
        clipboard()->clear();
}
}  // namespace

QMimeData* clip_mime(std::vector<FileTransf> groups, bool cut)
{
    if (groups.size() == 1)
        return new TransfMime(std::move(groups[0]), cut);
    return new TransfMime(std::move(groups), cut);
}

void clip_put(std::vector<FileTransf> groups, bool cut)
{
    if (groups.size() == 1) {
        const bool had_cut = !sCut.empty();
        publish(std::move(groups[0]), cut);
        if (cut || had_cut)
            fl_update();
        return;
    }
    const bool had_cut = sCutLive;
    sCutLive = false;
    sCut.clear();
    sCutBytes.clear();
    auto* m = clip_mime(std::move(groups), cut);
    sPublishing = true;
    clipboard()->setMimeData(m);
    sPublishing = false;
    sOurs = m;
    if (had_cut)
        refresh_marks();
}

FileTransf fl_pack_transf()
{
    bool one_dir = false;
    FileTransf t = transf_from_selection(gDir, &one_dir);
    one_dir_packed = one_dir ? 1 : 0;
    return t;
}

int em_copy()
{
    const bool cut = sMustBeMoved;
    sMustBeMoved = false;
    if (gDir.selected <= 0)
        return 0;
    const bool had_cut = !sCut.empty();
    publish(fl_pack_transf(), cut);
    if (cut) {
        fl_unselect_all();
        fl_update();
    } else if (had_cut) {
        fl_update();
    }
    return 0;
}

int em_cut()
{
    sMustBeMoved = true;
    return em_copy();
}

int em_paste()
{
    const QMimeData* m = clipboard()->mimeData();
    if (!m)
        return 0;
    FileTransf t;
    int kind = -1;
    const QByteArray files = m->data(kMimeFiles);
    QByteArray mv;
    if (!files.isEmpty() && transf_unpack(view(files), t)) {
        kind = FOP_COPY;
    } else {
        mv = m->data(kMimeMvFiles);
        if (!mv.isEmpty() && transf_unpack(view(mv), t))
            kind = FOP_MOVE;
    }
    if (kind < 0) {
        if (!m->hasFormat(kMimeFiles) && !m->hasFormat(kMimeMvFiles))
            paste_foreign(m);
        return 0;
    }
    if (clip_check({&t, 1}, "Paste", "pasted") != 0)
        return 0;
    if (kind == FOP_MOVE && !owned()) {  // another instance's cut: this move takes it apart
        sCut.assign(t);
        sCutBytes = mv;
        sCutLive = true;
    }
    if (t.count > 0 && t.srcdir != gDir.path)
        fop_start_cmd(kind, t.srcdir, t.names, gDir.path);
    return 0;
}

namespace {
int delete_for_good(const FileTransf& t)
{
    const uint32_t o = gConfig ? gConfig->options() : cfg::kDefaultOptions;
    // Nothing brings these back, and the Trash's Delete never asks: the question
    // says so, lest it be taken for that one.
    QString text;
    if (t.count == 1) {
        if ((o & cfg::OPT_RM1_PROMPT) || (one_dir_packed && (o & cfg::OPT_RM_PROMPT)))
            text = QStringLiteral("Do you wish to delete '%1' permanently?\n"
                                  "It does not go to the Trash and cannot be undone.\n")
                       .arg(QString::fromUtf8(fname_decode(t.names[0].c_str())));
    } else if (o & cfg::OPT_RM_PROMPT) {
        text = QStringLiteral("Do you wish to delete these %1 files permanently?\n"
                              "They do not go to the Trash and cannot be undone.\n")
                   .arg(t.count);
    }
    if (!text.isEmpty() &&
        w_message(w_make_message(gBase, "Delete Permanently", text, "@&Delete|#&Cancel")) != 1)
        return 0;
    fop_start_cmd(FOP_DELETE, t.srcdir, t.names, "");
    return 0;
}
}  // namespace

int em_delete()
{
    if (gDir.selected <= 0)
        return 0;
    FileTransf t = fl_pack_transf();
    if (t.count <= 0)
        return -1;
    const uint32_t o = gConfig ? gConfig->options() : cfg::kDefaultOptions;
    if (o & cfg::OPT_DELETE_PERMANENT)
        return delete_for_good(t);
    // Nothing is asked: Undo brings the items back.
    fop_start_cmd(FOP_TRASH, t.srcdir, t.names, "");
    return 0;
}

int em_delete_permanent()
{
    if (gDir.selected <= 0)
        return 0;
    FileTransf t = fl_pack_transf();
    return t.count > 0 ? delete_for_good(t) : -1;
}

int clip_check(std::span<const FileTransf> groups, const char* title, const char* done)
{
    for (const FileTransf& g : groups) {
        std::string bad;
        const int r = transf_check(g, bad);
        if (r == -1)
            wreport(gBase, title,
                    "Nothing was %s: '%s' is not a file name.\n"
                    "A name cannot be empty, \".\" or \"..\", nor hold \"/\".",
                    done, fname_decode(bad.c_str()));
        else if (r != 0)
            wreport(gBase, title, "Nothing was %s: '%s' is not a full path.", done,
                    fname_decode(bad.c_str()));
        if (r != 0)
            return -1;
    }
    return 0;
}

int em_check_clipboard_for_type(int, const char* type)
{
    const QMimeData* m = clipboard()->mimeData();
    if (!m)
        return 0;
    if (type)
        return !m->data(std::strcmp(type, "mvfiles") == 0 ? kMimeMvFiles : kMimeFiles).isEmpty();
    if (m->hasFormat(kMimeFiles) || m->hasFormat(kMimeMvFiles))
        return !m->data(kMimeFiles).isEmpty() || !m->data(kMimeMvFiles).isEmpty();
    return m->hasFormat(kGnome) || m->hasFormat(kUriList);
}

void file_get_cut_files()
{
    load_cut();
}

bool file_is_cut(const std::string& dir, const std::string& name)
{
    return sCut.contains(dir, name);
}

int file_uncut(const std::string& dir, const std::string& name)
{
    if (!sCut.remove(dir, name))
        return 0;
    // A long cut list is re-published at most every 200 ms while a move takes it
    // apart, so the clipboard does not cost the square of its length.
    if (sCut.empty() || sCut.record().names.size() < 2000 || sSincePublish.elapsed() >= 200) {
        publish_rest();
    } else if (sPublishTimer && !sPublishTimer->isActive()) {
        sPublishTimer->start(200);
    }
    return 1;
}

void clip_setup(FlView* list)
{
    if (!sPublishTimer) {
        sPublishTimer = new QTimer(qApp);
        sPublishTimer->setSingleShot(true);
        QObject::connect(sPublishTimer, &QTimer::timeout, [] { publish_rest(); });
        // Another program took the clipboard: our cut is no longer on it.
        QObject::connect(clipboard(), &QClipboard::dataChanged, [] {
            if (sPublishing || owned() || !sCutLive)
                return;
            sCutLive = false;
            sCut.clear();
            sCutBytes.clear();
            refresh_marks();
        });
    }
    fl_model()->set_cut_query([](const FileRecord& r) { return sCut.contains(gDir.path, r.name.view()); });
    fl_set_update_hook(load_cut);
    fop_gui_set_item_hooks(load_cut, [](const std::string& d, const std::string& n) {
        if (file_uncut(d, n))
            refresh_marks();
    });
    fl_dnd_install(list);
}
