// A FopUi with scripted answers for the engine's tests, plus file helpers. The
// worker calls it from its own thread, so everything is under one mutex.
#pragma once
#include "fileops/fop.h"
#include "fileops/fop_engine.h"
#include "shell/w_buttons.h"

#include <chrono>
#include <condition_variable>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <mutex>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

struct UiCall {
    std::string kind;  // "alert", "errinfo"
    std::string title, buttons, message;
};

struct UiRule {
    std::string title;
    std::string prefix;  // of the message
    std::string label;   // the button to choose, as written in the set ("&Skip")
    std::function<void(FopRequest&)> before;  // runs before answering
};

class ScriptUi : public FopUi {
public:
    std::vector<UiRule> rules;
    std::function<void(FopRequest&, const FopSlotView&)> on_progress;
    std::function<bool(const std::string&, const std::string&, std::string&)> on_too_long;

    int alert(FopRequest& r, const std::string& title, const std::string& buttons,
              const std::string& message) override
    {
        std::function<void(FopRequest&)> before;
        std::string label;
        {
            std::lock_guard lk(mu_);
            calls_.push_back({"alert", title, buttons, message});
            for (auto& rule : rules)
                if (rule.title == title && message.rfind(rule.prefix, 0) == 0) {
                    label = rule.label;
                    before = rule.before;
                    break;
                }
        }
        if (before)
            before(r);
        ButtonSet set = w_parse_buttons(buttons, true);
        for (std::size_t i = 0; i < set.labels.size(); i++)
            if (set.labels[i] == label)
                return int(i + 1);
        return set.escape();  // no rule: what Escape would give
    }
    void errinfo(const std::string& title, const std::string& message) override
    {
        std::lock_guard lk(mu_);
        calls_.push_back({"errinfo", title, "&Close", message});
    }
    void show_progress(FopRequest& r, const FopSlotView& view) override
    {
        {
            std::lock_guard lk(mu_);
            views_.push_back(view);
        }
        if (on_progress)
            on_progress(r, view);
    }
    bool filename_too_long(const std::string& src, const std::string& proposed, std::string& new_name) override
    {
        {
            std::lock_guard lk(mu_);
            calls_.push_back({"too_long", "", "", src});
        }
        return on_too_long ? on_too_long(src, proposed, new_name) : false;
    }
    void call_locked(const std::function<void()>& fn) override
    {
        std::lock_guard lk(lock_);
        fn();
    }
    void finished(FopRequest&) override
    {
        std::lock_guard lk(mu_);
        done_ = true;
        cv_.notify_all();
    }
    std::string display(std::string_view bytes) override { return std::string(bytes); }

    bool wait_done(int seconds = 60)
    {
        std::unique_lock lk(mu_);
        return cv_.wait_for(lk, std::chrono::seconds(seconds), [&] { return done_; });
    }
    std::vector<UiCall> calls()
    {
        std::lock_guard lk(mu_);
        return calls_;
    }
    std::vector<FopSlotView> views()
    {
        std::lock_guard lk(mu_);
        return views_;
    }
    int count(const std::string& title, const std::string& prefix = "")
    {
        int n = 0;
        for (auto& c : calls())
            n += c.title == title && c.message.rfind(prefix, 0) == 0;
        return n;
    }

private:
    std::mutex mu_, lock_;
    std::condition_variable cv_;
    std::vector<UiCall> calls_;
    std::vector<FopSlotView> views_;
    bool done_ = false;
};

// Runs one operation to its end; the item callback's (dir, name) pairs go to items.
inline bool run_fop(ScriptUi& ui, int kind, const std::string& srcdir, const std::vector<std::string>& names,
                    const std::string& dest, uint32_t flags,
                    std::vector<std::pair<std::string, std::string>>* items = nullptr,
                    std::function<void(const std::string&, const std::string&)> cb = {})
{
    fop_set_done_delay_ms(0);
    auto item_cb = [items, cb](const std::string& d, const std::string& n) {
        if (items)
            items->emplace_back(d, n);
        if (cb)
            cb(d, n);
    };
    if (!fop(kind, srcdir, names, dest, flags, nullptr, item_cb, &ui))
        return false;
    return ui.wait_done();
}

inline void put_file(const std::string& path, const std::string& data)
{
    std::ofstream(path, std::ios::binary) << data;
}
inline std::string get_file(const std::string& path)
{
    std::ifstream f(path, std::ios::binary);
    std::stringstream ss;
    ss << f.rdbuf();
    return ss.str();
}
inline bool exists(const std::string& path)
{
    struct stat st;
    return lstat(path.c_str(), &st) == 0;
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

#include <cstring>
#include <sched.h>
#include <sys/mount.h>

// A small tmpfs seen only by this test process (a private mount namespace):
// another device, and a disk that fills up.
class PrivateTmpfs {
public:
    PrivateTmpfs(const std::string& dir, const std::string& size)
    {
        if (unshare(CLONE_NEWNS) != 0) {
            why_ = std::string("unshare(CLONE_NEWNS): ") + strerror(errno);
            return;
        }
        if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
            why_ = std::string("making / private: ") + strerror(errno);
            return;
        }
        mkdir(dir.c_str(), 0777);
        if (mount("none", dir.c_str(), "tmpfs", 0, ("mode=0777,size=" + size).c_str()) != 0) {
            why_ = std::string("mount tmpfs: ") + strerror(errno);
            return;
        }
        path_ = dir;
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
