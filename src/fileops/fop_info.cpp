// Progress, pause points and questions of the operation workers.
#include "fop_info.h"
#include "fop.h"
#include "fop_ui.h"
#include "dirmodel/es_format.h"

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <time.h>

namespace {
constexpr long kRefreshNs = 100'000'000;     // one panel refresh per 0.1 s
constexpr long kPausePollNs = 50'000'000;
constexpr std::size_t kMessageMax = 1023;
constexpr std::size_t kShortenFrom = 61;

timespec now_rt()
{
    timespec ts;
    clock_gettime(CLOCK_REALTIME, &ts);
    return ts;
}

int64_t ns_between(const timespec& a, const timespec& b)
{
    return (int64_t(b.tv_sec) - a.tv_sec) * 1'000'000'000 + (b.tv_nsec - a.tv_nsec);
}

// A question with its message formatted; errno as it was before the formatting.
int ask(FopRequest& r, const std::string& title, const std::string& buttons, const std::string& msg, int saved)
{
    fop_update_info(r, kFopKeep, kFopKeep, kFopKeep, kFopKeep, kFopKeep, kFopPercentKeep, kFopTimeKeep);
    int answer = r.ui ? r.ui->alert(r, title, buttons, msg) : 0;
    errno = saved;
    return answer;
}
}  // namespace

int fop_update_info(FopRequest& r, FopText header, FopText first_label, FopText first_path,
                    FopText second_label, FopText second_path, int percent, int time_left)
{
    int saved = errno;
    FopDisplay& d = r.display;
    if (header)
        d.header.assign(*header);
    if (first_label)
        d.first_label.assign(*first_label);
    if (first_path)
        d.first_path.assign(*first_path);
    if (second_label)
        d.second_label.assign(*second_label);
    if (second_path)
        d.second_path.assign(*second_path);
    if (percent == kFopPercentZero)
        d.percent = 0;
    else if (percent != kFopPercentKeep)
        d.percent = percent;
    if (time_left != kFopTimeKeep)
        d.time_left = time_left;

    timespec now = now_rt();
    if (percent != kFopPercentKeep && time_left != 0 && ns_between(r.last_update, now) < kRefreshNs) {
        errno = saved;
        return 0;
    }
    if (r.ui)
        r.ui->show_progress(r, fop_slot_view(r));
    r.last_update = now;
    errno = saved;
    return 0;
}

FopSlotView fop_slot_view(FopRequest& r)
{
    const FopDisplay& d = r.display;
    FopSlotView v;
    v.header = d.header;
    auto line = [&](const std::string& label, const std::string& path) {
        std::string s = label + path;
        fop_short_path(s);
        return r.ui ? r.ui->display(s) : s;
    };
    v.first_line = line(d.first_label, d.first_path);
    v.second_line = line(d.second_label, d.second_path);
    int shown = std::min(r.files_done + 1, r.total_files);
    char buf[48];
    snprintf(buf, sizeof buf, "%d of %d", shown, r.total_files);
    v.count_text = buf;
    v.time_text = fop_time_text(d.time_left);
    v.percent = d.percent;
    return v;
}

std::string fop_time_text(int t)
{
    char buf[64];
    if (t < 1)
        return " ";
    if (t < 60)
        snprintf(buf, sizeof buf, "%d seconds", t);
    else if (t < 3600)
        snprintf(buf, sizeof buf, "%d:%02d minutes", t / 60, t % 60);
    else
        snprintf(buf, sizeof buf, "%d:%02d hours", t / 3600, (t % 3600) / 60);
    return buf;
}

std::string& fop_short_path(std::string& line)
{
    if (line.size() < kShortenFrom)
        return line;
    std::size_t colon = line.find(':');
    std::size_t from = colon == std::string::npos ? 2 : colon + 2;
    std::size_t first = line.find('/', from);
    if (first == std::string::npos)
        return line;
    std::string_view tail;
    for (std::size_t p = line.find('/', first + 1); p != std::string::npos; p = line.find('/', p + 1)) {
        if (line.size() - p + 6 < 60) {
            tail = std::string_view(line).substr(p);
            break;
        }
    }
    std::string out = line.substr(0, first + 1);
    out += '*';
    out += tail;
    line.swap(out);
    return line;
}

int fop_calc_time_left(FopRequest& r, int64_t done, int64_t total)
{
    timespec now = now_rt();
    if (r.estimate_start.tv_sec == 0) {
        r.estimate_start = now;
        return -1;
    }
    double elapsed = double(now.tv_sec - r.estimate_start.tv_sec) +
                     double(now.tv_nsec - r.estimate_start.tv_nsec) / 1e9;
    if (elapsed <= 0.001)
        return -2;
    double rate = double(done) / elapsed;
    double left = double(total - done) / rate + 1;
    // Nothing done yet: the rate is 0 and the estimate infinite; a negative
    // result shows blank.
    if (!std::isfinite(left) || left >= double(INT_MAX) || left <= double(INT_MIN))
        return INT_MIN;
    return int(left);
}

int fop_pause_trap(FopRequest& r)
{
    if (!r.pause.load(std::memory_order_relaxed))
        return 0;
    fop_update_info(r, kFopKeep, kFopKeep, kFopKeep, kFopKeep, kFopKeep, kFopPercentKeep, kFopTimeKeep);
    for (;;) {
        if (r.cancel.load())
            return 1;
        timespec ts{0, kPausePollNs};
        nanosleep(&ts, nullptr);
        if (!r.pause.load())
            return 0;
    }
}

int fop_alert(FopRequest& r, const std::string& title, const std::string& buttons, const char* fmt, ...)
{
    int saved = errno;
    va_list ap;
    va_start(ap, fmt);
    std::string msg = es_vformat(kMessageMax, fmt, ap);
    va_end(ap);
    return ask(r, title, buttons, msg, saved);
}

int fop_ask_continue(FopRequest& r, const std::string& title, const char* fmt, ...)
{
    if (r.continue_all)
        return 1;
    int saved = errno;
    va_list ap;
    va_start(ap, fmt);
    std::string msg = es_vformat(kMessageMax, fmt, ap);
    va_end(ap);
    int answer = ask(r, title, "&Continue|Continue A&ll|&Abort", msg, saved);
    if (answer == 2)
        r.continue_all = true;
    return answer == 3 ? -1 : 1;
}

void fop_errinfo(FopRequest& r, const std::string& title, const char* fmt, ...)
{
    int saved = errno;
    va_list ap;
    va_start(ap, fmt);
    std::string msg = es_vformat(kMessageMax, fmt, ap);
    va_end(ap);
    if (r.ui)
        r.ui->errinfo(title, msg);
    errno = saved;
}

void fop_ENOMEM(FopRequest& r)
{
    fop_errinfo(r, "Memory Allocation", "Out of memory!");
}

void fop_item_done(FopRequest& r, const std::string& dir, const std::string& name)
{
    if (!r.item_cb)
        return;
    if (r.ui)
        r.ui->call_locked([&] { r.item_cb(dir, name); });
    else
        r.item_cb(dir, name);
}

std::string fop_disp(FopRequest& r, std::string_view bytes)
{
    return r.ui ? r.ui->display(bytes) : std::string(bytes);
}

