#include "fileops/fop_gui.h"

#include <QApplication>
#include <QLabel>
#include <QProgressBar>
#include <QThread>
#include <QTimer>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sys/stat.h>
#include <system_error>
#include <thread>

#include "dirmodel/dir_read.h"
#include "dirmodel/es_path.h"
#include "dirmodel/fname.h"
#include "fileops/fop.h"
#include "fileops/slot_window.h"
#include "shell/kit/globals.h"
#include "shell/kit/init_config.h"
#include "shell/kit/w_msg.h"
#include "ui_pict_db.h"

namespace {
// The lock's role for questions: held by a worker for as long as its question or
// notice is on screen.
std::mutex sQuestion;
// Non-zero while a question or notice is up; progress is not shown meanwhile.
std::atomic<int> sQuestionsUp{0};

class QuestionHold {
public:
    QuestionHold() : lock_(sQuestion) { sQuestionsUp.fetch_add(1); }
    explicit QuestionHold(std::try_to_lock_t) : lock_(sQuestion, std::try_to_lock)
    {
        if (lock_.owns_lock())
            sQuestionsUp.fetch_add(1);
    }
    ~QuestionHold()
    {
        if (lock_.owns_lock())
            sQuestionsUp.fetch_sub(1);
    }
    bool held() const { return lock_.owns_lock(); }

private:
    std::unique_lock<std::mutex> lock_;
};

// Runs fn on the GUI thread and waits for it. From the GUI thread itself this
// would wait for ever, so that is a programming error, checked in every build.
void on_gui_thread(const std::function<void()>& fn)
{
    if (QThread::currentThread() == qApp->thread())
        qFatal("vell: blocking hand-off to the GUI thread from the GUI thread");
    QMetaObject::invokeMethod(qApp, [&fn] { fn(); }, Qt::BlockingQueuedConnection);
}

std::string base_name(const std::string& path)
{
    const auto slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

FopStarter sStart = fop;
FopFlagsFn sFlags = fop_flags_from_options;
std::function<void()> sBeforeOp;
FopItemFn sAfterItem;

FopStatFn sStat;
std::chrono::milliseconds sStatTimeout = DirReadEnv().stat_timeout;
// Status threads whose call has not returned, in the whole process. Past kMaxStuck
// none is started: a dead mount asked again and again costs a few threads, not one
// per delete.
auto sStatsOut = std::make_shared<std::atomic<int>>(0);
constexpr int kMaxStuck = 4;

struct StartArgs {
    int kind;
    std::string srcdir;
    std::vector<std::string> names;
    std::string dest;
    void* slot;
    bool started = false;  // GUI thread only
};

// The panel's request, or the report of a start that failed (the empty panel stays).
int bind_started(SlotPanel* panel, FopRequest* r)
{
    if (!r) {
        const int e = errno;
        std::fprintf(stderr, "failed to start operation!: %s\n", std::strerror(e));
        errno = e;
        return -1;
    }
    slot_set_request(panel, r);
    return 0;
}

int start_on_slot(const StartArgs& a, bool single_non_directory)
{
    SlotPanel* panel = slot_find(a.slot);
    if (!panel)
        return -1;
    const uint32_t options = gConfig ? gConfig->options() : 0;
    const uint32_t flags = sFlags(options, a.kind, single_non_directory);
    if (sBeforeOp)
        sBeforeOp();
    FopItemFn item_cb = a.kind == FOP_COPY ? FopItemFn() : sAfterItem;
    return bind_started(panel, sStart(a.kind, a.srcdir, a.names, a.dest, flags, panel, item_cb, fop_gui_ui()));
}

// GUI thread: the first of the status and the time-out starts the operation.
void start_once(const std::shared_ptr<StartArgs>& a, bool single_non_directory)
{
    if (a->started)
        return;
    a->started = true;
    start_on_slot(*a, single_non_directory);
}

// Starts a delete of one item once its status is known, or its time-out has passed.
void start_after_status(const std::shared_ptr<StartArgs>& a)
{
    QTimer::singleShot(sStatTimeout, qApp, [a] { start_once(a, false); });
    if (sStatsOut->load() >= kMaxStuck) {
        start_once(a, false);
        return;
    }
    FopStatFn fn = sStat ? sStat : FopStatFn(::lstat);
    std::string path = es_join(a->srcdir, a->names[0]);
    sStatsOut->fetch_add(1);
    try {
        std::thread([a, fn = std::move(fn), path = std::move(path), out = sStatsOut] {
            struct stat st {};
            const bool single = fn(path.c_str(), &st) == 0 && !S_ISDIR(st.st_mode);
            out->fetch_sub(1);
            QMetaObject::invokeMethod(qApp, [a, single] { start_once(a, single); }, Qt::QueuedConnection);
        }).detach();
    } catch (const std::system_error&) {
        sStatsOut->fetch_sub(1);
        start_once(a, false);
    }
}
}  // namespace

GuiFopUi::GuiFopUi(Decoder decode) : decode_(std::move(decode)) {}

int GuiFopUi::alert(FopRequest& r, const std::string& title, const std::string& buttons,
                    const std::string& message)
{
    QuestionHold hold;
    int answer = 0;
    on_gui_thread([&] {
        answer = w_message(w_make_message(nullptr, QString::fromStdString(title),
                                          QString::fromStdString(message), buttons.c_str(), true));
    });
    return answer;
}

void GuiFopUi::errinfo(const std::string& title, const std::string& message)
{
    QuestionHold hold(std::try_to_lock);
    if (!hold.held())
        return;
    on_gui_thread([&] {
        w_message(w_make_message(nullptr, QString::fromStdString(title),
                                 QString::fromStdString(message), "&Close"));
    });
}

void GuiFopUi::show_progress(FopRequest& r, const FopSlotView& view)
{
    if (!r.slot || sQuestionsUp.load() > 0)
        return;
    bool queued;
    {
        std::lock_guard<std::mutex> lock(pending_mutex_);
        auto [it, inserted] = pending_.insert_or_assign(r.slot, Pending{&r, view});
        queued = !inserted;
    }
    // One event per panel in the queue at a time; later views replace the waiting one.
    if (!queued) {
        void* slot = r.slot;
        QMetaObject::invokeMethod(qApp, [this, slot] { apply_pending(slot); }, Qt::QueuedConnection);
    }
}

void GuiFopUi::apply_pending(void* slot)
{
    Pending p{nullptr, {}};
    {
        std::lock_guard<std::mutex> lock(pending_mutex_);
        auto it = pending_.find(slot);
        if (it == pending_.end())
            return;
        p = std::move(it->second);
        pending_.erase(it);
    }
    fop_gui_apply_view(slot, p.request, p.view);
}

bool GuiFopUi::filename_too_long(const std::string& source_path, const std::string& proposed,
                                 std::string& new_name)
{
    std::string old_name = base_name(source_path);
    if (old_name.size() > 255)
        old_name.resize(255);
    const QString old_shown = QString::fromStdString(display(old_name));
    QString proposal = QString::fromStdString(display(base_name(proposed))).left(47);
    QuestionHold hold;
    bool renamed = false;
    on_gui_thread([&] { renamed = long_filename_ask(nullptr, old_shown, proposal); });
    if (!renamed)
        return false;
    // The typed name is display text: the file system gets its encoded bytes.
    const char* bytes = fname_encode(proposal.left(47).toUtf8().constData());
    if (!bytes)
        return false;
    new_name = bytes;
    return true;
}

void GuiFopUi::call_locked(const std::function<void()>& fn)
{
    on_gui_thread(fn);
}

void GuiFopUi::finished(FopRequest& r)
{
    void* slot = r.slot;
    if (!slot)
        return;
    {
        std::lock_guard<std::mutex> lock(pending_mutex_);
        pending_.erase(slot);
    }
    // Unbinding on the GUI thread, while the request still exists, means no
    // button or pending refresh can reach it once this returns and it is freed.
    on_gui_thread([slot] {
        if (SlotPanel* p = slot_find(slot)) {
            slot_set_request(p, nullptr);
            slot_mark_removed(p);
        }
    });
}

std::string GuiFopUi::display(std::string_view bytes)
{
    if (decode_)
        return decode_(bytes);
    return QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size())).toStdString();
}

GuiFopUi* fop_gui_ui()
{
    static GuiFopUi ui([](std::string_view bytes) {
        return std::string(fname_decode(std::string(bytes).c_str()));
    });
    return &ui;
}

void fop_gui_apply_view(void* slot, const FopRequest* r, const FopSlotView& view)
{
    SlotPanel* p = slot_find(slot);
    if (!p || p->removed.load() || (p->request() && p->request() != r))
        return;
    Ui::pict_db* ui = p->ui;
    p->set_header(QString::fromStdString(view.header));
    ui->slot_from_text->setText(QString::fromStdString(view.first_line));
    ui->slot_to_text->setText(QString::fromStdString(view.second_line));
    ui->slot_n_text->setText(QString::fromStdString(view.count_text));
    ui->slot_time_text->setText(QString::fromStdString(view.time_text));
    ui->slot_progress_bar->setValue(std::clamp(view.percent, 0, 100));
}

void fop_gui_set_item_hooks(std::function<void()> before_op, FopItemFn after_item)
{
    sBeforeOp = std::move(before_op);
    sAfterItem = std::move(after_item);
}

void fop_gui_set_engine(FopStarter start, FopFlagsFn flags)
{
    sStart = start ? std::move(start) : FopStarter(fop);
    sFlags = flags ? std::move(flags) : FopFlagsFn(fop_flags_from_options);
}

void fop_gui_set_stat(FopStatFn fn, std::chrono::milliseconds timeout)
{
    sStat = std::move(fn);
    sStatTimeout = sStat ? timeout : DirReadEnv().stat_timeout;
}

int fop_start_request(std::unique_ptr<FopRequest> r)
{
    if (!r)
        return -1;
    SlotPanel* panel = slot_add();
    if (!panel)
        return -1;
    if (sBeforeOp)
        sBeforeOp();
    FopItemFn item_cb = r->kind == FOP_COPY ? FopItemFn() : sAfterItem;
    return bind_started(panel, fop_launch(std::move(r), panel, item_cb, fop_gui_ui()));
}

int fop_start_cmd(int kind, const std::string& srcdir, const std::vector<std::string>& names,
                  const std::string& dest)
{
    SlotPanel* panel = slot_add();
    if (!panel)
        return -1;
    auto args = std::make_shared<StartArgs>(StartArgs{kind, srcdir, names, dest, panel});
    // Only a delete of one item asks whether it is a directory; its status call may
    // hang on a dead mount, so it is made off the GUI thread.
    if (kind != FOP_DELETE || names.size() != 1)
        return start_on_slot(*args, false);
    start_after_status(args);
    return 0;
}
