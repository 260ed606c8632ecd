// Worker-side services: path join, panel texts, throttling, pause and cancel,
// and the request flags computed from the settings.
#include "fop_test_ui.h"
#include "fileops/fop_info.h"
#include "shell/init_config.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <gtest/gtest.h>
#include <thread>

TEST(FopPath, BuildPath)
{
    struct {
        const char *dir, *name, *want;
    } cases[] = {
        {"/", "x", "/x"}, {"/a/", "b", "/a/b"}, {"/a", "", "/a"}, {"/a", "b", "/a/b"},
        {"/a/", "/b", "/a/b"}, {"/a", "/b/", "/a/b"}, {"/", "", "/"}, {"/", "/", "/"},
    };
    for (auto& c : cases) {
        std::string out = "junk";
        EXPECT_EQ(_build_path(out, c.dir, c.name), c.want) << c.dir << " + " << c.name;
    }
}

TEST(FopPath, DestPathDropsThePrefix)
{
    FopRequest r;
    r.destination = "/dst";
    r.prefix_len = std::string("/src").size();
    EXPECT_EQ(fop_dest_path(r, "/src/a/b"), "/dst/a/b");
    r.prefix_len = std::string("/src/a").size();
    EXPECT_EQ(fop_dest_path(r, "/src/a"), "/dst");
}

TEST(FopTexts, TimeText)
{
    struct {
        int t;
        const char* want;
    } cases[] = {{INT_MIN, " "}, {-1, " "}, {0, " "}, {1, "1 seconds"}, {59, "59 seconds"},
                 {60, "1:00 minutes"}, {3599, "59:59 minutes"}, {3600, "1:00 hours"}, {7325, "2:02 hours"}};
    for (auto& c : cases)
        EXPECT_EQ(fop_time_text(c.t), c.want) << c.t;
}

TEST(FopTexts, ShortPath)
{
    std::string dir40(40, 'd'), dir30(30, 'e');
    struct {
        std::string in, want;
    } cases[] = {
        {"From: /short/path", "From: /short/path"},
        {"From: /" + std::string(53, 'x'), "From: /" + std::string(53, 'x')},  // 60 characters stay
        {"From: /" + dir40 + "/" + dir30 + "/name", "From: /*/" + dir30 + "/name"},
        {"From: /" + dir40 + "/" + dir40 + "/" + dir40, "From: /*/" + dir40},
        {"From: /" + std::string(60, 'n'), "From: /*"},            // no tail short enough
        {"From: " + std::string(60, 'n'), "From: " + std::string(60, 'n')},  // no slash
        {"a/b/" + std::string(60, 'c') + "/tail", "a/b/*/tail"},  // no colon: from the third character
    };
    for (auto& c : cases) {
        std::string s = c.in;
        EXPECT_EQ(fop_short_path(s), c.want) << c.in;
    }
}

TEST(FopFlags, FromOptions)
{
    using namespace cfg;
    EXPECT_EQ(fop_flags_from_options(OPT_OVERWRITE | OPT_SYM_SYMLINKS, FOP_COPY, false),
              FOPF_OVERWRITE_ALL | FOPF_SYM_LINKS);
    EXPECT_EQ(fop_flags_from_options(OPT_SYM_FILES | OPT_CHOWN_ASSUME_IGNORE, FOP_MOVE, false),
              FOPF_SYM_FILES | FOPF_OWNER_IGNORE);
    EXPECT_EQ(fop_flags_from_options(OPT_SYM_PROMPT | OPT_RM_I_NO_PROMPT, FOP_COPY, false), 0u);
    // Delete: one non-directory follows the rm1 group, anything else the rm_i group.
    EXPECT_EQ(fop_flags_from_options(OPT_RM1_NO_PROMPT | OPT_RM_I_PROMPT, FOP_DELETE, true), FOPF_DELETE_ALL);
    EXPECT_EQ(fop_flags_from_options(OPT_RM1_PROMPT | OPT_RM_I_PROMPT, FOP_DELETE, true), 0u);
    EXPECT_EQ(fop_flags_from_options(OPT_RM1_NO_PROMPT | OPT_RM_I_PROMPT, FOP_DELETE, false),
              FOPF_ASK_EVERY_DELETE);
    EXPECT_EQ(fop_flags_from_options(OPT_RM_I_NO_PROMPT, FOP_DELETE, false), FOPF_DELETE_ALL);
    EXPECT_EQ(fop_flags_from_options(OPT_RM_I_PROMPT_NOWR | OPT_RM1_PROMPT_NOWR, FOP_DELETE, false), 0u);
    EXPECT_EQ(fop_flags_from_options(kDefaultOptions, FOP_DELETE, false), 0u);
}

TEST(FopProgress, ThrottledExceptForcedRefreshesAndKeepsErrno)
{
    ScriptUi ui;
    FopRequest r;
    r.ui = &ui;
    r.total_files = 3;
    errno = EXDEV;
    fop_update_info(r, "Copying", "From: ", "/a", "  To: ", "/b", 10, 5);
    EXPECT_EQ(errno, EXDEV);
    fop_update_info(r, kFopKeep, kFopKeep, "/c", kFopKeep, kFopKeep, 20, 5);  // within 0.1 s: stored only
    ASSERT_EQ(ui.views().size(), 1u);
    fop_update_info(r, kFopKeep, kFopKeep, kFopKeep, kFopKeep, kFopKeep, kFopPercentKeep, kFopTimeKeep);
    ASSERT_EQ(ui.views().size(), 2u);
    FopSlotView v = ui.views().back();
    EXPECT_EQ(v.header, "Copying");
    EXPECT_EQ(v.first_line, "From: /c");
    EXPECT_EQ(v.second_line, "  To: /b");
    EXPECT_EQ(v.percent, 20);
    EXPECT_EQ(v.count_text, "1 of 3");
    EXPECT_EQ(v.time_text, "5 seconds");
    fop_update_info(r, kFopKeep, "Done", "", "", "", 100, 0);  // the final one is never dropped
    EXPECT_EQ(ui.views().size(), 3u);
    r.files_done = 3;
    fop_update_info(r, kFopKeep, kFopKeep, kFopKeep, kFopKeep, kFopKeep, kFopPercentZero, kFopTimeKeep);
    EXPECT_EQ(ui.views().size(), 3u);
    struct timespec ts{0, 120'000'000};
    nanosleep(&ts, nullptr);
    fop_update_info(r, kFopKeep, kFopKeep, kFopKeep, kFopKeep, kFopKeep, 50, kFopTimeKeep);
    ASSERT_EQ(ui.views().size(), 4u);
    EXPECT_EQ(ui.views().back().count_text, "3 of 3");
    EXPECT_EQ(ui.views().back().time_text, " ");
    EXPECT_EQ(ui.views().back().percent, 50);
}

TEST(FopProgress, TimeLeftFromTheAverageRate)
{
    FopRequest r;
    EXPECT_EQ(fop_calc_time_left(r, 0, 100), -1);
    r.estimate_start.tv_sec -= 10;  // started 10 s ago
    EXPECT_EQ(fop_calc_time_left(r, 50, 100), 11);
    EXPECT_LT(fop_calc_time_left(r, 0, 100), 0);
    EXPECT_EQ(fop_time_text(fop_calc_time_left(r, 0, 100)), " ");
}

TEST(FopPause, TrapWaitsUntilContinueOrCancel)
{
    FopRequest r;
    EXPECT_EQ(fop_pause_trap(r), 0);
    r.pause = 1;
    std::atomic<int> result{-5};
    std::thread t([&] { result = fop_pause_trap(r); });
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    EXPECT_EQ(result.load(), -5);
    r.pause = 0;
    t.join();
    EXPECT_EQ(result.load(), 0);

    r.pause = 1;
    std::thread t2([&] { result = fop_pause_trap(r); });
    r.cancel = 1;
    t2.join();
    EXPECT_EQ(result.load(), 1);
}

TEST(FopPause, CancelQuestionKeepsThePauseStateOnNo)
{
    for (int paused : {0, 1}) {
        FopRequest r;
        r.pause = paused;
        int seen = -1;
        EXPECT_EQ(fop_cancel_request(r, [&] { seen = r.pause; return 2; }), 2);
        EXPECT_EQ(seen, 1);  // the worker holds still while the question is up
        EXPECT_EQ(r.pause.load(), paused);
        EXPECT_EQ(r.cancel.load(), 0);
        fop_cancel_request(r, [] { return 1; });
        EXPECT_EQ(r.pause.load(), paused);
        EXPECT_EQ(r.cancel.load(), 1);
    }
}

TEST(FopStart, BadArgumentsGiveEinval)
{
    ScriptUi ui;
    errno = 0;
    EXPECT_EQ(fop(FOP_COPY, "/tmp", {}, "/x", 0, nullptr, {}, &ui), nullptr);
    EXPECT_EQ(errno, EINVAL);
    errno = 0;
    EXPECT_EQ(fop(FOP_COPY, "/tmp", {"a"}, "", 0, nullptr, {}, &ui), nullptr);
    EXPECT_EQ(errno, EINVAL);
    errno = 0;
    EXPECT_EQ(fop(3, "/tmp", {"a"}, "/x", 0, nullptr, {}, &ui), nullptr);
    EXPECT_EQ(errno, EINVAL);
}
