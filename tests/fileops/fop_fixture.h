// Shared set-up of the file-operation tests. Core: a FopUi with scripted answers
// (the worker calls it from its own thread, so all of it is under one mutex), a
// runner, file helpers and a private tmpfs. GUI tests also get event spinning, a
// clean slot table per test and a fake operation whose worker behaves like the
// engine's.
#pragma once
#include "filebytes.h"
#include "fileops/fop.h"
#include "fileops/fop_engine.h"
#include "shell/kit/w_buttons.h"
#include "tmpdir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <functional>
#include <mutex>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

struct UiCall {
    std::string title, message;  // an over-long name: no title, the source path
};

struct UiRule {
    std::string title;
    std::string prefix;  // of the message
    std::string label;   // the button to choose, as written in the set ("&Skip")
    std::function<void(FopRequest&)> before = {};  // runs before answering
};

// Called by the worker only; the test reads calls and views once wait_done()
// has returned.
class ScriptUi : public FopUi {
public:
    std::vector<UiRule> rules;
    std::function<void(FopRequest&, const FopSlotView&)> on_progress;
    std::function<bool(const std::string&, const std::string&, std::string&)> on_too_long;
    std::vector<UiCall> calls;
    std::vector<FopSlotView> views;

    int alert(FopRequest& r, const std::string& title, const std::string& buttons,
              const std::string& message) override
    {
        calls.push_back({title, message});
        ButtonSet set = w_parse_buttons(buttons, true);
        for (auto& rule : rules)
            if (rule.title == title && message.rfind(rule.prefix, 0) == 0) {
                if (rule.before)
                    rule.before(r);
                auto at = std::find(set.labels.begin(), set.labels.end(), rule.label);
                if (at != set.labels.end())
                    return int(at - set.labels.begin()) + 1;
                break;
            }
        return set.escape();  // no rule: what Escape would give
    }
    void errinfo(const std::string& title, const std::string& message) override { calls.push_back({title, message}); }
    void show_progress(FopRequest& r, const FopSlotView& view) override
    {
        views.push_back(view);
        if (on_progress)
            on_progress(r, view);
    }
    bool filename_too_long(const std::string& src, const std::string& proposed, std::string& new_name) override
    {
        calls.push_back({"", src});
        return on_too_long && on_too_long(src, proposed, new_name);
    }
    void call_locked(const std::function<void()>& fn) override { fn(); }
    void finished(FopRequest&) override
    {
        std::lock_guard lk(mu_);
        done_ = true;
        cv_.notify_all();
    }
    std::string display(std::string_view bytes) override { return std::string(bytes); }

    bool wait_done()
    {
        std::unique_lock lk(mu_);
        return cv_.wait_for(lk, std::chrono::seconds(60), [&] { return done_; });
    }
    int count(const std::string& title, const std::string& prefix = "") const
    {
        return int(std::count_if(calls.begin(), calls.end(),
                                 [&](auto& c) { return c.title == title && c.message.rfind(prefix, 0) == 0; }));
    }

private:
    std::mutex mu_;
    std::condition_variable cv_;
    bool done_ = false;
};

// A panel refresh in one line: header|first|second|count|time|percent.
inline std::string texts(const FopSlotView& v)
{
    return v.header + "|" + v.first_line + "|" + v.second_line + "|" + v.count_text + "|" + v.time_text + "|" +
           std::to_string(v.percent);
}

using Items = std::vector<std::pair<std::string, std::string>>;

// Runs one operation to its end; the item callback's (dir, name) pairs go to items.
inline bool run_fop(ScriptUi& ui, int kind, const std::string& srcdir, const std::vector<std::string>& names,
                    const std::string& dest, uint32_t flags, Items* items = nullptr,
                    std::function<void(const std::string&, const std::string&)> cb = {})
{
    fop_set_done_delay_ms(0);
    auto item_cb = [items, cb](const std::string& d, const std::string& n) {
        if (items)
            items->emplace_back(d, n);
        if (cb)
            cb(d, n);
    };
    return fop(kind, srcdir, names, dest, flags, nullptr, item_cb, &ui) && ui.wait_done();
}

// The lstat status of path, all 0 when there is nothing.
inline struct stat lstat_of(const std::string& path)
{
    struct stat st {};
    if (lstat(path.c_str(), &st) != 0)
        st = {};
    return st;
}
inline mode_t lmode(const std::string& path) { return lstat_of(path).st_mode; }
inline bool exists(const std::string& path) { return lmode(path) != 0; }
inline std::vector<std::string> dir_names(const std::string& path)
{
    std::vector<std::string> out;
    if (DIR* d = opendir(path.c_str())) {
        while (const dirent* e = readdir(d))
            if (std::strcmp(e->d_name, ".") && std::strcmp(e->d_name, ".."))
                out.emplace_back(e->d_name);
        closedir(d);
    }
    return out;
}
inline std::string link_of(const std::string& path)
{
    char buf[256] = {};
    return readlink(path.c_str(), buf, sizeof buf - 1) > 0 ? buf : "";
}
inline std::string pattern(std::size_t n, unsigned seed = 1)
{
    std::string s(n, '\0');
    uint32_t x = seed * 2654435761u + 1;
    for (auto& c : s) {
        x = x * 1103515245u + 12345u;
        c = char(x >> 16);
    }
    return s;
}

// A small tmpfs seen only by this test process (a private mount namespace):
// another device, and a disk that fills up.
class PrivateTmpfs {
public:
    PrivateTmpfs(const std::string& dir, const std::string& size)
    {
        mkdir(dir.c_str(), 0777);
        if (unshare(CLONE_NEWNS) != 0)
            why_ = "unshare(CLONE_NEWNS)";
        else if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
            why_ = "making / private";
        else if (mount("none", dir.c_str(), "tmpfs", 0, ("mode=0777,size=" + size).c_str()) != 0)
            why_ = "mount tmpfs";
        else
            path_ = dir;
        if (!why_.empty())
            why_ += std::string(": ") + strerror(errno);
    }
    ~PrivateTmpfs()
    {
        if (!path_.empty())
            umount2(path_.c_str(), MNT_DETACH);
    }
    bool ok() const { return !path_.empty(); }
    const std::string& why() const { return why_; }
    const std::string& path() const { return path_; }

private:
    std::string path_, why_;
};
#define TMPFS_OR_SKIP(var, dir, size) \
    PrivateTmpfs var(dir, size);      \
    if (!var.ok())                    \
    GTEST_SKIP() << "needs a private tmpfs mount: " << var.why()

#ifdef QT_WIDGETS_LIB
#include <QApplication>
#include <QElapsedTimer>

#include "fileops/fop_gui.h"
#include "fileops/slot_window.h"
#include "shell/kit/globals.h"
#include "shell/kit/w_msg.h"
#include "ui_pict_db.h"

// Processes events until pred holds or ms pass; returns pred().
inline bool spin_until(const std::function<bool()>& pred, int ms = 3000)
{
    QElapsedTimer t;
    t.start();
    while (!pred() && t.elapsed() < ms)
        QApplication::processEvents(QEventLoop::AllEvents, 5);
    return pred();
}
inline void spin(int ms) { spin_until([] { return false; }, ms); }

// Every test starts with no slot, an open main window, and counted instead of
// real exits and refreshes.
class SlotTest : public ::testing::Test {
protected:
    static void drop_all_slots()
    {
        while (SlotPanel* p = slot_at(0))
            slot_remove(p);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    void SetUp() override
    {
        drop_all_slots();
        base_window_closed = 0;
        old_exit = slot_set_exit_fn([this] { ++exits; });
        slot_set_refresh_fn([this] { ++refreshes; });
    }
    void TearDown() override
    {
        drop_all_slots();
        base_window_closed = 0;
        slot_set_exit_fn(std::move(old_exit));
        slot_set_refresh_fn({});
        w_set_message_handler({});
        fop_gui_set_engine({}, {});
    }
    int exits = 0, refreshes = 0;
    std::function<void()> old_exit;
};

// A running operation: its worker posts progress until cancelled (waiting while
// paused), then calls finished() and frees its request, as the engine's does.
struct FakeOp {
    explicit FakeOp(FopUi& ui, SlotPanel* panel) : r(new FopRequest)
    {
        r->ui = &ui;
        r->slot = panel;
        slot_set_request(panel, r);
        std::thread([this, req = r] {
            for (int n = 1; !req->cancel.load(); std::this_thread::sleep_for(std::chrono::milliseconds(2)))
                if (!req->pause.load())
                    req->ui->show_progress(*req, {"Copying", "", "", std::to_string(n++) + " of 1000", "", n % 100});
            req->ui->finished(*req);
            delete req;
            done.store(true);
        }).detach();
    }
    FopRequest* r;  // gone once done
    std::atomic<bool> done{false};
};
#endif
