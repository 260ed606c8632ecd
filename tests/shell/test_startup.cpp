// Start-up decisions: the start directory, the configuration directory, and the
// framework's command-line options.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <fstream>

#include "shell/fw_options.h"
#include "shell/init_startup.h"
#include "tmpdir.h"

TEST(StartPath, PicksTheFirstCandidateThatIsADirectory)
{
    TmpDir cwd;
    ::mkdir((cwd / "sub").c_str(), 0755);
    ::mkdir((cwd / "10").c_str(), 0755);
    std::ofstream(cwd / "plain");
    const std::string& w = cwd.path();
    struct Case {
        std::vector<std::string> args;
        std::string want;
    } cases[] = {
        {{}, w},
        {{"/tmp"}, "/tmp"},
        {{"sub"}, w + "/sub"},
        {{"nosuch"}, w},
        {{"plain"}, w},
        {{"-x", "10", "/tmp"}, w + "/10"},  // an option's value is a candidate
        {{"-x10", "/tmp"}, "/tmp"},
        {{"nosuch", "/tmp"}, w},  // only the first candidate is looked at
    };
    for (const Case& c : cases)
        EXPECT_EQ(init_start_path(c.args, w), c.want) << ::testing::PrintToString(c.args);
    EXPECT_EQ(init_start_path({}, ""), "/") << "unreadable working directory";
}

TEST(ConfigDir, CreatedOnlyUnderAnExistingDotKe)
{
    enum Setup { Nothing, DotKe, PlainFile };
    struct Case {
        Setup setup;
        bool made;
        const char* message;  // followed by the directory's path
    } cases[] = {
        {Nothing, false, "VELL error: unable to create config directory "},
        {DotKe, true, ""},
        {PlainFile, false, "VELL error: unable to access config directory "},
    };
    for (const Case& c : cases) {
        TmpDir home;
        const std::string dir = home / ".ke/vell";
        if (c.setup != Nothing)
            ::mkdir((home / ".ke").c_str(), 0755);
        if (c.setup == PlainFile)
            std::ofstream{dir};
        std::FILE* err = std::tmpfile();
        const auto got = init_config_dir(home.path().c_str(), err);
        const auto again = c.made ? init_config_dir(home.path().c_str(), err) : got;
        std::fflush(err);
        std::rewind(err);
        char buf[512] = "";
        (void)std::fgets(buf, sizeof buf, err);
        std::fclose(err);
        EXPECT_EQ(buf, c.made ? "" : c.message + dir + "\n");
        EXPECT_EQ(got.has_value(), c.made);
        if (!c.made)
            continue;
        EXPECT_EQ(*got, dir);
        struct stat st {};
        ASSERT_EQ(::stat(dir.c_str(), &st), 0);
        EXPECT_TRUE(S_ISDIR(st.st_mode));
        EXPECT_EQ(st.st_mode & 0777, 0700u);
        EXPECT_EQ(again, got) << "an existing one is used, silently";
    }
}

TEST(FwOptions, ValuesAttachedOrSeparate)
{
    FwOptions o = fw_parse_options({"-x10", "-y", "20", "-h200", "-w", "300", "-S", "m", "-s", ":1", "/tmp"});
    EXPECT_EQ(o.x, 10);
    EXPECT_EQ(o.y, 20);
    EXPECT_EQ(o.height, 200);
    EXPECT_EQ(o.width, 300);
    EXPECT_EQ(o.state, 'm');
    EXPECT_EQ(o.server, ":1");
    EXPECT_TRUE(o.error.empty());

    for (std::vector<std::string> bad : {std::vector<std::string>{"-S", "q"}, {"-xabc"}, {"-w", "0"}, {"-x"}})
        EXPECT_FALSE(fw_parse_options(bad).error.empty()) << ::testing::PrintToString(bad);
    EXPECT_TRUE(fw_parse_options({"--help"}).help);
}
