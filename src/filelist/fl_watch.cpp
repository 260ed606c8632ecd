#include "filelist/fl_watch.h"

#include <QLabel>
#include <QPointer>
#include <QSocketNotifier>
#include <QTimer>
#include "filelist/fl_view.h"
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <vector>

#include "dirmodel/dir_poll.h"
#include "dirmodel/dir_watch.h"
#include "dirmodel/es_path.h"
#include "dirmodel/fname.h"
#include "dirmodel/fs_query.h"
#include "filelist/fl_panel.h"

namespace {
// Changes come in bursts (an editor's save, an unpacked archive): they are read
// once, this long after the first. A file that only grows (a download, a copy)
// shows its new size about once a second.
constexpr int kCoalesceMs = 150;
constexpr int kContentsMs = 1000;
// A directory that takes long to read is read again at most once in this many
// times its reading time, so a file growing in a huge directory cannot keep the
// window busy.
constexpr int kReadCostFactor = 4;

std::unique_ptr<DirWatch> sWatch;
std::unique_ptr<DirPoll> sPoll;
QPointer<QSocketNotifier> sNotifier;
QPointer<QSocketNotifier> sPollNotifier;
QPointer<QTimer> sLater;
std::chrono::steady_clock::time_point sLastRead;
long long sLastReadMs = 0;
// What arrived since the last read or patch: each name once (a download reports
// every write), whether it was a directory, and whether the kernel lost some.
std::unordered_map<std::string, bool> sPending;
bool sLost = false;

// A few names are looked at again and patched into the list; many (most of the
// directory, or more than the kernel kept) are read again whole.
bool patch_will_do()
{
    return !sLost && sPending.size() <= std::max<std::size_t>(256, std::size_t(gDir.count) / 2);
}

void read_again()
{
    if (sPending.empty() && !sLost)
        return;
    if (patch_will_do()) {
        std::vector<DirChange> changes;
        changes.reserve(sPending.size());
        for (auto& [name, was_dir] : sPending)
            changes.push_back({name, was_dir});
        if (!fl_patch(changes)) {
            sLater->start(kCoalesceMs);  // a read is running: after it
            return;
        }
        sPending.clear();
        return;
    }
    const auto since = std::chrono::steady_clock::now() - sLastRead;
    const auto wait = std::chrono::milliseconds(sLastReadMs * kReadCostFactor) - since;
    if (wait > std::chrono::milliseconds(0)) {
        sLater->start(int(std::chrono::duration_cast<std::chrono::milliseconds>(wait).count()));
        return;
    }
    fl_refresh_keeping_selection();
}

// The shown directory is gone: the nearest parent that is still there, and why.
void leave_gone_directory()
{
    const std::string gone = sWatch->path();
    if (gone.empty() || gone != gDir.path || fs_path_is_directory(gone.c_str()) > 0)
        return;
    std::string parent = gone;
    do
        parent = es_dir_of(parent);
    while (parent.size() > 1 && fs_path_is_directory(parent.c_str()) <= 0);
    if (fl_setpath(parent.c_str()) != 0)
        return;
    if (QLabel* status = fl_list() ? fl_list()->window()->findChild<QLabel*>("status1") : nullptr)
        status->setText(QStringLiteral("'%1' is no longer there").arg(QString::fromUtf8(fname_decode(gone.c_str()))));
}

void events_arrived()
{
    DirWatchEvents ev = sWatch->read();
    if (ev.gone) {
        // Leaving may read the parent: not inside the notifier's own call.
        QTimer::singleShot(0, fl_list(), leave_gone_directory);
        return;
    }
    sLost = sLost || ev.overflow;
    for (DirChange& c : ev.names)
        sPending[std::move(c.name)] = c.was_dir;
    if (sPending.empty() && !sLost)
        return;
    if (ev.listed || ev.overflow) {
        if (!sLater->isActive() || sLater->remainingTime() > kCoalesceMs)
            sLater->start(kCoalesceMs);
    } else if (ev.changed && !sLater->isActive()) {
        sLater->start(kContentsMs);
    }
}

// The change time of a directory the kernel tells nothing of moved: it is read
// again whole, as no names came with it.
void poll_told()
{
    if (!sPoll->take())
        return;
    sLost = true;
    if (!sLater->isActive())
        sLater->start(kCoalesceMs);
}
}  // namespace

void fl_watch_setup()
{
    FlView* list = fl_list();
    if (!list)
        return;
    if (!sWatch)
        sWatch = std::make_unique<DirWatch>();
    if (!sPoll)
        sPoll = std::make_unique<DirPoll>();
    delete sPollNotifier;
    if (sPoll->fd() >= 0) {
        sPollNotifier = new QSocketNotifier(sPoll->fd(), QSocketNotifier::Read, list);
        QObject::connect(sPollNotifier, &QSocketNotifier::activated, list, poll_told);
    }
    delete sNotifier;
    delete sLater;
    sLater = new QTimer(list);
    sLater->setSingleShot(true);
    QObject::connect(sLater, &QTimer::timeout, list, read_again);
    if (sWatch->fd() < 0)
        return;
    sNotifier = new QSocketNotifier(sWatch->fd(), QSocketNotifier::Read, list);
    QObject::connect(sNotifier, &QSocketNotifier::activated, list, events_arrived);
}

namespace {

// A new directory's watch is added beside its read: the kernel marks every entry
// of the directory as it adds it, 90 ms of a million-entry directory's opening.
// What comes or goes before the watch is in shows in the directory's times, and
// the directory is then read again. The watch's events wait in the kernel until
// the read is done.
//
// While the kernel marks the entries it holds the directory's lock, and a path
// looked up to the directory meanwhile spins on it: the add waits until the reader
// has opened the directory and made it the working one.
struct Adding {
    std::string path;
    DirStamp before, after;
    DirWatch::Added added;
    std::thread thread;
    std::mutex m;
    std::condition_variable cv;
    bool opened = false;

    void open_done()
    {
        {
            std::lock_guard lk(m);
            opened = true;
        }
        cv.notify_all();
    }
};
std::unique_ptr<Adding> sAdding;

void start_adding(const std::string& path)
{
    auto a = std::make_unique<Adding>();
    a->path = path;
    dir_stamp(path, a->before);
    auto work = [a = a.get(), fd = sWatch->fd()] {
        {
            std::unique_lock lk(a->m);
            a->cv.wait_for(lk, std::chrono::seconds(1), [a] { return a->opened; });
        }
        a->added = DirWatch::add(fd, a->path);
        dir_stamp(a->path, a->after);
    };
    if (sNotifier)
        sNotifier->setEnabled(false);
    try {
        if (sWatch->fd() >= 0) {  // else nothing to wait for
            a->thread = std::thread(work);
        } else {
            a->opened = true;
            work();
        }
    } catch (const std::system_error&) {
        a->opened = true;
        work();
    }
    sAdding = std::move(a);
}

void finish_adding()
{
    if (!sAdding)
        return;
    std::unique_ptr<Adding> a = std::move(sAdding);
    a->open_done();  // a read that failed to open never said so
    if (a->thread.joinable())
        a->thread.join();
    const bool events = sWatch->adopt(a->path, a->added) == 0;
    if (sPoll)
        sPoll->watch(a->path, events);
    if (sNotifier)
        sNotifier->setEnabled(true);
    if (events && !(a->before == a->after)) {
        sLost = true;
        if (sLater)
            sLater->start(kCoalesceMs);
    }
}

}  // namespace

void fl_watch_read_starting(const std::string& path)
{
    if (sLater)
        sLater->stop();
    sPending.clear();
    sLost = false;
    if (!sWatch)
        return;
    finish_adding();
    if (!path.empty() && path == sWatch->path()) {
        sWatch->drain();
        if (sPoll)
            sPoll->watch(path, true);
        return;
    }
    sWatch->stop();
    if (!path.empty())
        start_adding(path);
}

void fl_watch_read_opened()
{
    if (sAdding)
        sAdding->open_done();
}

void fl_watch_read_done(long long took_ms)
{
    sLastRead = std::chrono::steady_clock::now();
    sLastReadMs = took_ms;
    if (sWatch)
        finish_adding();
}
