// Open, View, Edit, Print and typed commands from the file list, through the real
// launcher with recording programs; the start-up load and its signals.
#include <csignal>

#include "../filelist/fl_gui_fixture.h"
#include "assoc/as_launch.h"
#include "assoc/as_run.h"
#include "assoc/as_table.h"
#include "filelist/fl_nav.h"
#include "filelist/fl_select.h"
#include "shell/kit/w_utils.h"

namespace {

const std::vector<std::string> kHostile = {
    "$(touch PWNED)", "a'b", "x; touch PWNED", "-rf", "new\nline", "`touch PWNED`", "a\"b",
};

class AssocLaunchTest : public FlGuiTest {
protected:
    void SetUp() override
    {
        FlGuiTest::SetUp();
        ::signal(SIGCHLD, SIG_IGN);
    }
    void TearDown() override
    {
        FlGuiTest::TearDown();
        ::signal(SIGCHLD, SIG_DFL);
    }
    bool pwned() const
    {
        return std::filesystem::exists(dir / "PWNED") ||
               std::filesystem::exists(running.bin() + "/PWNED");
    }
    // The fake shellwin of this recorder runs what it is given.
    LaunchRecorder running{true};
};

}  // namespace

// Each action with another way of placing the name: bare, appended, quoted both
// ways, and through the terminal program.
TEST_F(AssocLaunchTest, OpenViewEditPrintAndOpenWithKeepNamesWhole)
{
    for (const std::string& n : kHostile)
        make_file(n);
    as_table_replace(apat, {"*\trec open @\trec view\trec edit '@'"});
    open();
    std::size_t launches = 0;
    for (const std::string& n : kHostile) {
        ASSERT_EQ(as_open_file(gDir.path.c_str(), n.c_str()), 0);
        EXPECT_GT(as_view_file(n.c_str()), 0);
        EXPECT_GT(as_edit_file(n.c_str()), 0);
        EXPECT_GT(file_cmd("rec with \"@\"", n.c_str()), 0);  // Open With
        launches += 4;
    }
    fl_select_all();
    EXPECT_GE(file_cmd("shellwin rec print @ end", nullptr), 0);
    auto got = running.wait("rec", launches + 1, 10000);
    ASSERT_EQ(got.size(), launches + 1);
    std::vector<std::vector<std::string>> want;
    std::vector<std::string> printed{"print"};
    for (int i = 0; i < gDir.count; ++i)
        printed.push_back(gDir[i].name);
    printed.push_back("end");
    want.push_back(printed);
    for (const std::string& n : kHostile) {
        want.push_back({"open", n});
        want.push_back({"view", n});
        want.push_back({"edit", n});
        want.push_back({"with", n});
    }
    std::sort(want.begin(), want.end());
    EXPECT_EQ(got, want);
    EXPECT_FALSE(pwned());
}

TEST_F(AssocLaunchTest, ExecutablesRunQuotedAndOnlyWithoutAnAssociation)
{
    const std::string body = "#!/bin/sh\nexec '" + running.bin() + "/vell-log' rec \"$0\" \"$@\"\n";
    const char* names[] = {"x; touch PWNED", "-rf", "$(touch PWNED)", "new\nline", "tool.txt"};
    for (const char* n : names) {
        std::ofstream(dir / n) << body;
        ::chmod((dir / n).c_str(), 0755);
    }
    as_table_replace(apat, {"*.txt\t\tv\te"});
    open();
    for (const char* n : names)
        fl_open(index_named(n));
    auto got = running.wait("rec", 4);
    EXPECT_EQ(got, (std::vector<std::vector<std::string>>{
        {"./$(touch PWNED)"}, {"./-rf"}, {"./new\nline"}, {"./x; touch PWNED"}}));
    // tool.txt matched an association with no open command: that is all.
    EXPECT_TRUE(running.wait("rec", 5, 300).size() == 4);
    EXPECT_FALSE(pwned());
    EXPECT_FALSE(wis_blocked(gBase));
}

TEST_F(AssocLaunchTest, StartUpLoadsTheTableAndWinchRefreshes)
{
    as_init(cfgdir.path().c_str(), "associate.003", fl_refresh);
    EXPECT_EQ(apat.apat_ctr(), 10);
    EXPECT_FALSE(std::filesystem::exists(cfgdir / "associate.003"));
    struct sigaction sa;
    ::sigaction(SIGCHLD, nullptr, &sa);
    EXPECT_EQ(sa.sa_handler, SIG_IGN);

    open();
    make_file("arrived");
    EXPECT_EQ(row_named("arrived"), -1);
    ::raise(SIGWINCH);
    ASSERT_TRUE(QTest::qWaitFor([&] { return row_named("arrived") >= 0; }, 3000));

    // A malformed table ends the start with the error box's usual button.
    ::signal(SIGCHLD, SIG_DFL);  // the test waits for its child
    std::ofstream(cfgdir / "associate.003") << "*.txt\tview @\nno tab here\n";
    w_set_message_handler([](const WMessage& m) {
        std::fprintf(stderr, "[%s] %s\n", qPrintable(m.labels.join('|')), qPrintable(m.text));
        return 1;
    });
    EXPECT_EXIT(as_init(cfgdir.path().c_str(), "associate.003", nullptr), testing::ExitedWithCode(1),
                "\\[&Continue\\] Invalid association at line 2");
    ::signal(SIGCHLD, SIG_IGN);
}
