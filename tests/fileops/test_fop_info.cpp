// Worker-side services: path join, panel texts, throttling, the time left, and
// the request flags computed from the settings.
#include "fop_fixture.h"
#include "fileops/fop_info.h"
#include "shell/init_config.h"

#include <cerrno>
#include <climits>

TEST(FopTexts, BuildPathTimeTextAndShortPath)
{
    struct {
        const char *dir, *name, *want;
    } joins[] = {{"/", "x", "/x"}, {"/a", "", "/a"}, {"/a", "/b/", "/a/b"}, {"/", "/", "/"}};
    for (auto& j : joins) {
        std::string out = "junk";
        EXPECT_EQ(_build_path(out, j.dir, j.name), j.want) << j.dir << " + " << j.name;
    }

    std::pair<int, const char*> times[] = {{0, " "}, {59, "59 seconds"}, {60, "1:00 minutes"},
                                           {3599, "59:59 minutes"}, {7325, "2:02 hours"}};
    for (auto& [t, want] : times)
        EXPECT_EQ(fop_time_text(t), want) << t;

    std::string dir40(40, 'd'), dir30(30, 'e');
    std::pair<std::string, std::string> lines[] = {
        {"From: /" + std::string(53, 'x'), "From: /" + std::string(53, 'x')},  // 60 characters stay
        {"From: /" + dir40 + "/" + dir30 + "/name", "From: /*/" + dir30 + "/name"},
        {"From: /" + dir40 + "/" + dir40 + "/" + dir40, "From: /*/" + dir40},
        {"From: /" + std::string(60, 'n'), "From: /*"},                      // no tail short enough
        {"a/b/" + std::string(60, 'c') + "/tail", "a/b/*/tail"},  // no colon: from the third character
    };
    for (auto& [in, want] : lines) {
        std::string s = in;
        EXPECT_EQ(fop_short_path(s), want) << in;
    }
}

TEST(FopFlags, FromOptions)
{
    using namespace cfg;
    struct {
        uint32_t options;
        int kind;
        bool single;
        uint32_t want;
    } cases[] = {
        {OPT_OVERWRITE | OPT_SYM_SYMLINKS, FOP_COPY, false, FOPF_OVERWRITE_ALL | FOPF_SYM_LINKS},
        {OPT_SYM_FILES | OPT_CHOWN_ASSUME_IGNORE, FOP_MOVE, false, FOPF_SYM_FILES | FOPF_OWNER_IGNORE},
        {OPT_SYM_PROMPT | OPT_RM_I_NO_PROMPT, FOP_COPY, false, 0},
        // Delete: one non-directory follows the rm1 group, anything else the rm_i group.
        {OPT_RM1_NO_PROMPT | OPT_RM_I_PROMPT, FOP_DELETE, true, FOPF_DELETE_ALL},
        {OPT_RM1_NO_PROMPT | OPT_RM_I_PROMPT, FOP_DELETE, false, FOPF_ASK_EVERY_DELETE},
        {OPT_RM_I_NO_PROMPT, FOP_DELETE, false, FOPF_DELETE_ALL},
        {kDefaultOptions, FOP_DELETE, false, 0},
    };
    for (auto& c : cases)
        EXPECT_EQ(fop_flags_from_options(c.options, c.kind, c.single), c.want) << std::hex << c.options;
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
    ASSERT_EQ(ui.views.size(), 1u);
    fop_update_info(r, kFopKeep, kFopKeep, kFopKeep, kFopKeep, kFopKeep, kFopPercentKeep, kFopTimeKeep);
    ASSERT_EQ(ui.views.size(), 2u);
    EXPECT_EQ(texts(ui.views.back()), "Copying|From: /c|  To: /b|1 of 3|5 seconds|20");
    fop_update_info(r, kFopKeep, "Done", "", "", "", 100, 0);  // the final one is never dropped
    EXPECT_EQ(ui.views.size(), 3u);
    r.files_done = 3;
    fop_update_info(r, kFopKeep, kFopKeep, kFopKeep, kFopKeep, kFopKeep, kFopPercentZero, kFopTimeKeep);
    EXPECT_EQ(ui.views.size(), 3u);
    std::this_thread::sleep_for(std::chrono::milliseconds(120));
    fop_update_info(r, kFopKeep, kFopKeep, kFopKeep, kFopKeep, kFopKeep, 50, kFopTimeKeep);
    ASSERT_EQ(ui.views.size(), 4u);
    EXPECT_EQ(texts(ui.views.back()), "Copying|Done||3 of 3| |50");

    // The time left comes from the average rate since the first call.
    FopRequest e;
    EXPECT_EQ(fop_calc_time_left(e, 0, 100), -1);
    e.estimate_start.tv_sec -= 10;  // started 10 s ago
    EXPECT_EQ(fop_calc_time_left(e, 50, 100), 11);
    EXPECT_EQ(fop_time_text(fop_calc_time_left(e, 0, 100)), " ");
}
