// Start-up decisions: the start directory, the configuration directory, and the
// framework's command-line options.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <fstream>

#include "shell/fw_options.h"
#include "shell/init_startup.h"
#include "tmpdir.h"

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

TEST(StartPath, FirstOperandAfterOptionsInBothForms)
{
    TmpDir cwd;
    ::mkdir((cwd / "dir").c_str(), 0755);
    ::mkdir((cwd / "10").c_str(), 0755);
    const std::string dir = cwd / "dir";
    struct Case {
        std::vector<std::string> args;
        std::string want;
    } cases[] = {
        {{"-x", "10", "-y", "10", dir}, dir},
        {{"-x10", "-y10", dir}, dir},
        {{"-w", "900", "dir"}, cwd / "dir"},
        {{"-S", "m", "--unknown", dir, "/"}, dir},
        {{"-x", "10"}, cwd.path()},  // 10 is a value, not a directory to start in
        {{"nowhere", dir}, cwd.path()},  // only the first operand is looked at
    };
    for (const Case& c : cases)
        EXPECT_EQ(init_start_path(c.args, cwd.path()), c.want) << testing::PrintToString(c.args);
    EXPECT_EQ(init_start_path({}, ""), "/");
}
