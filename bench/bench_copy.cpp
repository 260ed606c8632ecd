// Times one engine operation on real data: a copy with overwrite-all (default),
// a move (--move) or a delete (--delete, no DSTDIR); or (--trash DIR) every entry
// of DIR selected and moved to the Trash, then brought back by Undo. Prints the
// elapsed milliseconds (of the trash) as the number on its last line.
#include "fileops/fop.h"
#include "fileops/fop_engine.h"
#include "fileops/undo.h"

#include <cstdlib>
#include <dirent.h>
#include <vector>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>

namespace {
class BenchUi : public FopUi {
public:
    int alert(FopRequest&, const std::string& title, const std::string&, const std::string& msg) override
    {
        fprintf(stderr, "bench_copy: unexpected question \"%s\": %s\n", title.c_str(), msg.c_str());
        return 99;  // neither Retry nor Skip: abort
    }
    void errinfo(const std::string& title, const std::string& msg) override
    {
        fprintf(stderr, "bench_copy: %s: %s\n", title.c_str(), msg.c_str());
    }
    void show_progress(FopRequest&, const FopSlotView&) override { refreshes++; }
    bool filename_too_long(const std::string&, const std::string&, std::string&) override { return false; }
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
    std::string display(std::string_view b) override { return std::string(b); }
    void wait()
    {
        std::unique_lock lk(mu_);
        cv_.wait(lk, [&] { return done_; });
    }
    long refreshes = 0;

private:
    std::mutex mu_, lock_;
    std::condition_variable cv_;
    bool done_ = false;
};

double run(std::unique_ptr<FopRequest> r)
{
    BenchUi ui;
    const auto t0 = std::chrono::steady_clock::now();
    if (!fop_launch(std::move(r), nullptr, {}, &ui)) {
        perror("bench_copy: fop_launch");
        exit(1);
    }
    ui.wait();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
}

int trash_and_back(const std::string& dir)
{
    std::vector<std::string> names;
    if (DIR* d = opendir(dir.c_str())) {
        while (const dirent* e = readdir(d))
            if (strcmp(e->d_name, ".") && strcmp(e->d_name, ".."))
                names.emplace_back(e->d_name);
        closedir(d);
    }
    fop_set_done_delay_ms(0);
    const double put = run(fop_make(FOP_TRASH, dir, names, "", 0));
    UndoStep step;
    if (!undo_take(step) || step.items.size() != names.size()) {
        fprintf(stderr, "bench_copy: not every item went to the Trash\n");
        return 1;
    }
    const double back = run(undo_request(step));
    fprintf(stderr, "%zu items: to the Trash %.1f ms, back by Undo %.1f ms\n", names.size(), put, back);
    printf("%.1f\n", put);
    return 0;
}
}  // namespace

int main(int argc, char** argv)
{
    if (argc == 3 && !strcmp(argv[1], "--trash"))
        return trash_and_back(argv[2]);
    int kind = FOP_COPY;
    int a = 1;
    if (a < argc && !strcmp(argv[a], "--move"))
        kind = FOP_MOVE, a++;
    else if (a < argc && !strcmp(argv[a], "--delete"))
        kind = FOP_DELETE, a++;
    if (argc - a != (kind == FOP_DELETE ? 1 : 2)) {
        fprintf(stderr, "usage: bench_copy [--move] SRC DSTDIR | bench_copy --delete SRC\n");
        return 2;
    }
    std::string src = argv[a];
    while (src.size() > 1 && src.back() == '/')
        src.pop_back();
    std::size_t slash = src.rfind('/');
    std::string dir = slash == std::string::npos ? "." : (slash == 0 ? "/" : src.substr(0, slash));
    std::string name = slash == std::string::npos ? src : src.substr(slash + 1);
    std::string dest = kind == FOP_DELETE ? "" : argv[a + 1];
    uint32_t flags = kind == FOP_DELETE ? FOPF_DELETE_ALL : (FOPF_OVERWRITE_ALL | FOPF_SYM_LINKS);

    fop_set_done_delay_ms(0);
    BenchUi ui;
    auto t0 = std::chrono::steady_clock::now();
    if (!fop(kind, dir, {name}, dest, flags, nullptr, {}, &ui)) {
        perror("bench_copy: fop");
        return 1;
    }
    ui.wait();
    double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
    fprintf(stderr, "panel refreshes: %ld\n", ui.refreshes);
    printf("%.1f\n", ms);
    return 0;
}
