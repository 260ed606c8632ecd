#include "hotlist/tree.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QDrag>
#include <QDragMoveEvent>
#include <QHeaderView>
#include <QMainWindow>
#include <QMenu>
#include <QMimeData>
#include <QMouseEvent>
#include <QHash>
#include <QSocketNotifier>
#include <QTreeWidget>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "dirmodel/dir_watch.h"
#include "dirmodel/fname.h"
#include "dirmodel/es_path.h"
#include "filelist/fl_panel.h"
#include "filelist/tb_path.h"
#include "hotlist/dtm.h"
#include "hotlist/dtm_scan.h"
#include "shell/kit/globals.h"
#include "shell/kit/init_config.h"
#include "shell/kit/w_font.h"
#include "shell/kit/w_utils.h"

HotlistTree gTree;

namespace {
constexpr char kMimeHotlist[] = "application/x-vell-hotlist";
// Bits of the reader's option word that the tree reads.
constexpr uint32_t kTreeOptDots = 0x800;
constexpr uint32_t kTreeOptSorted = 0x1000;
constexpr int kImageRole = Qt::UserRole;
enum Image { kClosed = 0, kOpen = 1, kInvalid = 2, kFile = 3 };

QTreeWidget* sTree = nullptr;
QMenu* sCmenu = nullptr;
QTreeWidgetItem* sDragItem = nullptr;
QPoint sPressPos;
QIcon sIcons[4];

// Every item the tree makes, with a number of its own: an answer from a worker
// finds its item here, or learns that the item is gone (collapsed, removed).
QHash<const QTreeWidgetItem*, quint64> sItems;
quint64 sNextItem = 0;

class TreeItem : public QTreeWidgetItem {
public:
    explicit TreeItem(const QString& label) : QTreeWidgetItem(QStringList{label})
    {
        sItems.insert(this, ++sNextItem);
    }
    ~TreeItem() override { sItems.remove(this); }
};

// Open branches follow their directories: subdirectories made, deleted or renamed
// there by anyone come and go in the tree. A bounded number of them.
constexpr int kBranchWatches = 64;
std::unique_ptr<DirWatchSet> sBranchWatch;
struct Watched {
    QTreeWidgetItem* item;
    quint64 id;
};
QHash<int, Watched> sWatched;

// The item an answer was asked for, or null when it has gone since.
QTreeWidgetItem* still_there(QTreeWidgetItem* it, quint64 id)
{
    return sItems.value(it, 0) == id ? it : nullptr;
}

QTreeWidgetItem* sibling(QTreeWidget* tree, QTreeWidgetItem* parent, int i)
{
    return parent ? parent->child(i) : tree->topLevelItem(i);
}

void set_image(QTreeWidgetItem* it, int pair_first)
{
    it->setData(0, kImageRole, pair_first);
    it->setIcon(0, sIcons[pair_first == kOpen ? kClosed : pair_first]);
}

bool is_under(const QTreeWidgetItem* it, const QTreeWidgetItem* top)
{
    for (; it; it = it->parent())
        if (it == top)
            return true;
    return false;
}

void forget(QTreeWidgetItem* it, bool with_item)
{
    auto gone = [&](const QTreeWidgetItem* p) { return p && is_under(p, it) && (with_item || p != it); };
    if (gone(gTree.context))
        gTree.context = nullptr;
    if (gone(sDragItem))
        sDragItem = nullptr;
}

// The watches of the branch at `it` and of every branch below it.
void unwatch_under(QTreeWidgetItem* it)
{
    for (auto w = sWatched.begin(); w != sWatched.end();) {
        if (!still_there(w->item, w->id) || is_under(w->item, it)) {
            sBranchWatch->remove(w.key());
            w = sWatched.erase(w);
        } else {
            ++w;
        }
    }
}

QTreeWidgetItem* child_named(QTreeWidgetItem* parent, const QString& label)
{
    for (int i = 0; i < parent->childCount(); ++i)
        if (parent->child(i)->text(0) == label)
            return parent->child(i);
    return nullptr;
}

void branch_events()
{
    const bool dots = gOptions & kTreeOptDots;
    for (const DirWatchSet::Event& ev : sBranchWatch->read()) {
        const auto w = sWatched.constFind(ev.handle);
        if (w == sWatched.cend())
            continue;
        QTreeWidgetItem* item = still_there(w->item, w->id);
        if (!item || ev.gone || !item->isExpanded()) {
            if (!ev.gone)
                sBranchWatch->remove(ev.handle);
            sWatched.remove(ev.handle);
            continue;
        }
        if (!ev.is_dir || ev.name.empty() || (!dots && ev.name[0] == '.'))
            continue;
        const QString label = QString::fromUtf8(fname_decode(ev.name.c_str()));
        QTreeWidgetItem* had = child_named(item, label);
        if (ev.came && !had) {
            x_add_item(sTree, item, label, gOptions & kTreeOptSorted);
        } else if (!ev.came && had) {
            unwatch_under(had);
            forget(had, true);
            delete had;
        }
    }
}

void tree_state_collapsed(QTreeWidgetItem* it)
{
    unwatch_under(it);
    forget(it, false);
    qDeleteAll(it->takeChildren());  // the next expansion reads the directory afresh
    if (it->data(0, kImageRole).toInt() == kOpen)
        it->setIcon(0, sIcons[kClosed]);
}

void tree_state_expanded(QTreeWidgetItem* it)
{
    if (it->data(0, kImageRole).toInt() == kOpen)
        it->setIcon(0, sIcons[kOpen]);
    if (it->childCount() == 0)
        x_tree_expand(it);
}

void tree_selection_cb()
{
    const QList<QTreeWidgetItem*> items = sTree->selectedItems();
    if (items.isEmpty())
        return;
    std::string path;
    x_get_fullpath(items.first(), path);
    const char* fs = fname_encode(path.c_str());
    if (fs && gDir.path != fs)
        fl_newpath(fl_list(), fs);
    sTree->clearSelection();
}

void rebuild_list()
{
    gTree.edits.reordered = true;
    gTree.list.entries.clear();
    for (int i = 0; i < sTree->topLevelItemCount(); ++i)
        gTree.list.entries.push_back(sTree->topLevelItem(i)->text(0).toStdString());
}

void tree_dnd_drop(QDropEvent* e)
{
    QTreeWidgetItem* target = sTree->itemAt(e->position().toPoint());
    if (target && !target->parent() && sDragItem && target != sDragItem) {
        const bool after = e->position().y() >= sTree->visualItemRect(target).center().y();
        QTreeWidgetItem* moved = sTree->takeTopLevelItem(sTree->indexOfTopLevelItem(sDragItem));
        const int at = sTree->indexOfTopLevelItem(target) + (after ? 1 : 0);
        sTree->insertTopLevelItem(at, moved);
        rebuild_list();
        gTree.context = nullptr;
        sTree->setCurrentItem(moved, 0, QItemSelectionModel::NoUpdate);
        e->acceptProposedAction();
    } else {
        e->ignore();
    }
    sTree->clearSelection();
}

class TreeInput : public QObject {
public:
    using QObject::QObject;
    bool eventFilter(QObject*, QEvent* e) override
    {
        switch (e->type()) {
        case QEvent::MouseButtonPress: {
            auto* m = static_cast<QMouseEvent*>(e);
            QTreeWidgetItem* it = sTree->itemAt(m->position().toPoint());
            sDragItem = it && !it->parent() ? it : nullptr;
            sPressPos = m->position().toPoint();
            if (m->button() == Qt::RightButton) {
                gTree.context = it;
                if (sCmenu)
                    sCmenu->popup(m->globalPosition().toPoint());
                return true;
            }
            return false;
        }
        case QEvent::MouseMove: {
            auto* m = static_cast<QMouseEvent*>(e);
            if (!(m->buttons() & Qt::LeftButton) || !sDragItem ||
                (m->position().toPoint() - sPressPos).manhattanLength() < QApplication::startDragDistance())
                return false;
            auto* data = new QMimeData;
            data->setData(kMimeHotlist, "This is vell hotlist entry");
            auto* drag = new QDrag(sTree);
            drag->setMimeData(data);
            drag->exec(Qt::MoveAction);
            return true;
        }
        case QEvent::DragEnter: {
            auto* d = static_cast<QDragEnterEvent*>(e);
            if (d->mimeData()->hasFormat(kMimeHotlist))
                d->acceptProposedAction();
            else
                d->ignore();
            return true;
        }
        case QEvent::DragMove: {
            auto* d = static_cast<QDragMoveEvent*>(e);
            QTreeWidgetItem* it = sTree->itemAt(d->position().toPoint());
            if (it && it->parent()) {
                std::fputc('\a', stdout);  // only top-level entries can be reordered
                std::fflush(stdout);
                d->ignore();
            } else {
                d->acceptProposedAction();
            }
            return true;
        }
        case QEvent::Drop:
            tree_dnd_drop(static_cast<QDropEvent*>(e));
            return true;
        default:
            return false;
        }
    }
};

QTreeWidgetItem* top_item(const std::string& path)
{
    const QString label = QString::fromStdString(path);
    for (int i = 0; i < sTree->topLevelItemCount(); ++i)
        if (sTree->topLevelItem(i)->text(0) == label)
            return sTree->topLevelItem(i);
    return nullptr;
}

void after_change()
{
    tb_update();
}

std::string current_display()
{
    return fname_decode(gDir.path.c_str());
}
}  // namespace

int x_get_fullpath(const QTreeWidgetItem* item, std::string& out)
{
    out.clear();
    if (!item)
        return 0;
    std::vector<const QTreeWidgetItem*> chain;
    for (const QTreeWidgetItem* i = item; i; i = i->parent())
        chain.push_back(i);
    out = chain.back()->text(0).toStdString();
    for (auto it = chain.rbegin() + 1; it != chain.rend(); ++it) {
        const std::string label = (*it)->text(0).toStdString();
        if (label == "..") {
            while (out.size() > 1 && out.back() == '/')
                out.pop_back();
            const std::size_t cut = out.rfind('/');
            out.resize(cut == std::string::npos ? 0 : (cut == 0 ? 1 : cut));
            continue;
        }
        if (out.empty() || out.back() != '/')
            out += '/';
        out += label;
    }
    return int(out.size());
}

QTreeWidgetItem* x_add_item(QTreeWidget* tree, QTreeWidgetItem* parent, const QString& label, bool sorted)
{
    const int n = parent ? parent->childCount() : tree->topLevelItemCount();
    const int first = n > 0 && sibling(tree, parent, 0)->text(0) == QLatin1String("..") ? 1 : 0;
    int pos = first;
    if (label != QLatin1String("..")) {
        pos = n;
        if (sorted) {
            // A sorted branch stays in order, so the place is found by halving.
            const QByteArray key = label.toUtf8();
            int lo = first, hi = n;
            while (lo < hi) {
                const int mid = (lo + hi) / 2;
                if (sibling(tree, parent, mid)->text(0).toUtf8() < key)
                    lo = mid + 1;
                else
                    hi = mid;
            }
            if (lo < n && sibling(tree, parent, lo)->text(0).toUtf8() == key)
                return nullptr;
            pos = lo;
        }
    }
    std::string parent_path;
    x_get_fullpath(parent, parent_path);
    const QByteArray name = label.toUtf8();
    std::string joined(parent_path.size() + std::size_t(name.size()) + 2, '\0');
    joined.resize(std::size_t(es_construct_fullpath(joined.data(), parent ? parent_path.c_str() : nullptr,
                                                    name.constData())));
    const char* fs = fname_encode(joined.c_str());
    if (!fs && sorted)
        return nullptr;  // an untranslatable name does not appear in a sorted branch
    auto* it = new TreeItem(label);
    // Shown at once as a directory without subdirectories; the worker's answer
    // gives the arrow, or marks a path that cannot be opened.
    set_image(it, fs ? kOpen : kInvalid);
    it->setChildIndicatorPolicy(QTreeWidgetItem::DontShowIndicator);
    if (parent)
        parent->insertChild(pos, it);
    else
        tree->insertTopLevelItem(pos, it);
    if (fs) {
        // The tree lists dot directories when the reader's word says so; links to
        // directories are not subdirectories here.
        const int how = ((gOptions & kTreeOptDots) ? 0 : DTM_HIDE_DOT) | DTM_NO_LINKS;
        dtm_check_later(tree, fs, how, [it, id = sItems.value(it)](int sub) {
            if (QTreeWidgetItem* i = still_there(it, id)) {
                set_image(i, sub < 0 ? kFile : kOpen);
                i->setChildIndicatorPolicy(sub > 0 ? QTreeWidgetItem::ShowIndicator
                                                   : QTreeWidgetItem::DontShowIndicator);
            }
        });
    }
    return it;
}

void x_tree_expand(QTreeWidgetItem* item)
{
    std::string path;
    x_get_fullpath(item, path);
    const char* fs = fname_encode(path.c_str());
    if (!fs) {
        wreport_untranslatable(gBase, path.c_str());
        return;
    }
    // Read on a worker: a directory on a mount that does not answer leaves the
    // branch empty instead of the window frozen.
    auto names = std::make_shared<std::vector<std::string>>();
    auto watch = std::make_shared<int>(-1);
    const bool dots = gOptions & kTreeOptDots;
    // Watched before it is read, so that nothing made in between is missed; on the
    // worker too, since the path may be on a mount that does not answer.
    auto read = [names, watch, dots, dirpath = std::string(fs), set = sBranchWatch.get()] {
        *watch = set ? set->add(dirpath) : -1;
        DIR* d = ::opendir(dirpath.c_str());
        if (!d)
            return;
        while (const struct dirent* e = ::readdir(d)) {
            const char* n = e->d_name;
            if (n[0] == '.' && (n[1] == '\0' || (n[1] == '.' && n[2] == '\0') || !dots))
                continue;
            if (e->d_type != DT_DIR) {
                struct stat st {};
                if (e->d_type != DT_LNK && e->d_type != DT_UNKNOWN)
                    continue;
                if (dtm_stat(::dirfd(d), n, &st, 0) != 0 || !S_ISDIR(st.st_mode))
                    continue;
            }
            names->emplace_back(n);
        }
        ::closedir(d);
    };
    QTreeWidget* tree = item->treeWidget();
    auto fill = [item, id = sItems.value(item), names, watch, tree] {
        QTreeWidgetItem* it = still_there(item, id);
        if (!it || !it->isExpanded() || it->childCount() != 0) {
            if (*watch >= 0 && !sWatched.contains(*watch))
                sBranchWatch->remove(*watch);
            return;
        }
        if (*watch >= 0)
            sWatched.insert(*watch, {it, id});
        const bool sorted = gOptions & kTreeOptSorted;
        if (it->data(0, kImageRole).toInt() == kFile && !names->empty()) {  // read after its time-out
            set_image(it, kOpen);
            it->setIcon(0, sIcons[kOpen]);
        }
        for (const std::string& n : *names)
            x_add_item(tree, it, QString::fromUtf8(fname_decode(n.c_str())), sorted);
    };
    // Not read in time: the branch is marked as one that cannot be opened.
    auto unread = [item, id = sItems.value(item)] {
        if (QTreeWidgetItem* it = still_there(item, id); it && it->childCount() == 0)
            set_image(it, kFile);
    };
    dtm_work_later(tree, read, fill, unread);
}

int tree_add(HotlistTree& t, const std::string& path)
{
    if (t.list.add(path) != 0)
        return -1;
    t.edits.note_add(path);
    if (sTree)
        x_add_item(sTree, nullptr, QString::fromStdString(path), false);
    return 0;
}

void tree_remove(HotlistTree& t, const std::string& path)
{
    if (t.list.remove(path))
        t.edits.note_remove(path);
    if (!sTree)
        return;
    if (QTreeWidgetItem* it = top_item(path)) {
        forget(it, true);
        delete sTree->takeTopLevelItem(sTree->indexOfTopLevelItem(it));
    }
}

int tree_lookup(const char* path)
{
    return path && gTree.list.contains(path) ? 1 : 0;
}

int tree_load(const std::string& config_dir, const char* file)
{
    HotList read;
    const int rc = config_dir.empty() ? (read.entries = {"/"}, -1)
                                      : hotlist_read(config_dir + "/" + file, read);
    gTree.list.entries.clear();
    gTree.context = nullptr;
    sDragItem = nullptr;
    if (sTree)
        sTree->clear();
    for (const std::string& e : read.entries)
        tree_add(gTree, e);
    gTree.edits = HotlistEdits{};
    return rc;
}

int tree_save(const std::string& config_dir, const char* file)
{
    if (config_dir.empty())
        return -1;
    return hotlist_save_merged(config_dir + "/" + file, gTree.list, gTree.edits);
}

int hm_add()
{
    tree_add(gTree, current_display());
    after_change();
    return 0;
}

int hm_remove()
{
    tree_remove(gTree, gDir.path);
    after_change();
    return 0;
}

int tree_add_cb()
{
    return hm_add();
}

int tree_delete_cb()
{
    std::string path;
    x_get_fullpath(gTree.context, path);
    tree_remove(gTree, path);
    gTree.context = nullptr;
    after_change();
    return 0;
}

void hm_populate(QMenu* menu)
{
    // The entries made when it last opened go first, with their submenus.
    const QList<QAction*> all = menu->actions();
    for (QAction* a : all)
        if (a->property("hm_generated").toBool()) {
            delete a->menu();
            delete a;
        }
    if (gTree.list.entries.empty())
        return;
    menu->addSeparator()->setProperty("hm_generated", true);
    const int flags = ((gConfig->options() & cfg::OPT_HIDE_DOT) ? DTM_HIDE_DOT : 0) | DTM_CHECK;
    for (const std::string& e : gTree.list.entries) {
        const char* fs = fname_encode(e.c_str());
        QAction* a = dtm_add_item(menu, fs ? fs : e, QString::fromStdString(e), flags,
                                  [](const std::string& p) { fl_newpath(fl_list(), p.c_str()); });
        if (a)
            a->setProperty("hm_generated", true);
    }
}

void tree_setup(QTreeWidget* tree)
{
    sTree = tree;
    const char* files[4] = {":/images/closed_folder.svg", ":/images/open_folder.svg",
                            ":/images/invalid_folder.svg", ":/images/file.svg"};
    for (int i = 0; i < 4; ++i)
        sIcons[i] = QIcon(QString::fromLatin1(files[i]));
    if (gConfig)
        tree->setFont(w_font(QString::fromUtf8(gConfig->hotlist_font())));
    tree->setSelectionMode(QAbstractItemView::SingleSelection);
    tree->viewport()->setAcceptDrops(true);
    tree->viewport()->installEventFilter(new TreeInput(tree));
    if (!sBranchWatch)
        sBranchWatch = std::make_unique<DirWatchSet>(kBranchWatches);
    sWatched.clear();
    if (sBranchWatch->fd() >= 0) {
        auto* notifier = new QSocketNotifier(sBranchWatch->fd(), QSocketNotifier::Read, tree);
        QObject::connect(notifier, &QSocketNotifier::activated, tree, branch_events);
    }
    QObject::connect(tree, &QTreeWidget::itemExpanded, tree, tree_state_expanded);
    QObject::connect(tree, &QTreeWidget::itemCollapsed, tree, tree_state_collapsed);
    QObject::connect(tree, &QTreeWidget::itemSelectionChanged, tree, tree_selection_cb);
    tb_set_hotlist_query([](const char* p) { return tree_lookup(p) == 1; });

    QWidget* base = tree->window();
    sCmenu = new QMenu(base);
    sCmenu->setObjectName(QStringLiteral("hotlist_cmenu"));
    QAction* hcm_add = sCmenu->addAction(QStringLiteral("Add"), [] { tree_add_cb(); });
    hcm_add->setObjectName(QStringLiteral("hcm_add"));
    QAction* hcm_delete = sCmenu->addAction(QStringLiteral("Remove"), [] { tree_delete_cb(); });
    hcm_delete->setObjectName(QStringLiteral("hcm_delete"));
    // Shown as hints; the window's Bookmarks menu owns the keys themselves.
    for (auto [a, k] : {std::pair{hcm_add, "Ctrl+D"}, std::pair{hcm_delete, "Ctrl+R"}}) {
        a->setShortcut(QKeySequence(QString::fromLatin1(k)));
        a->setShortcutContext(Qt::WidgetShortcut);
    }

    if (auto* menu = base->findChild<QMenu*>(QStringLiteral("hotlist_menu")))
        QObject::connect(menu, &QMenu::aboutToShow, menu, [menu] {
            hm_populate(menu);
            // Opened from the keyboard, the menu makes its first enabled item active
            // once shown; with Add greyed that is Remove, and a stray Return would
            // drop the bookmark. Nothing is active then, as when opened by the pointer.
            QMetaObject::invokeMethod(menu, [menu] {
                QAction* active = menu->activeAction();
                if (active && active->objectName() == QLatin1String("hm_delete"))
                    menu->setActiveAction(nullptr);
            }, Qt::QueuedConnection);
        });
}
