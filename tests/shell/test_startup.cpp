// Start-up decisions: the start directory, the configuration directory, and the
// framework's command-line options.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <fstream>

#include "shell/fw_options.h"
#include "shell/init_startup.h"
#include "tmpdir.h"

namespace {
std::string captured(std::FILE* f)
{
    std::fflush(f);
    std::rewind(f);
    std::string s;
    char buf[512];
    while (std::fgets(buf, sizeof buf, f))
        s += buf;
    return s;
}
}  // namespace

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
        {{"/etc/passwd"}, w},
        {{"plain"}, w},
        {{"-x", "10", "/tmp"}, w + "/10"},  // an option's value is a candidate
        {{"-x10", "/tmp"}, "/tmp"},
        {{"nosuch", "/tmp"}, w},  // only the first candidate is looked at
        {{"-S", "n"}, w},
    };
    for (const Case& c : cases) {
        std::string joined;
        for (const auto& a : c.args)
            joined += a + " ";
        EXPECT_EQ(init_start_path(c.args, w), c.want) << joined;
    }
    EXPECT_EQ(init_start_path({}, ""), "/") << "unreadable working directory";
}

TEST(ConfigDir, CreatedOnlyUnderAnExistingDotKe)
{
    TmpDir home;
    std::FILE* err = std::tmpfile();
    EXPECT_FALSE(init_config_dir(home.path().c_str(), err));
    EXPECT_EQ(captured(err),
              "VELL error: unable to create config directory " + home.path() + "/.ke/vell\n");
    std::fclose(err);

    ::mkdir((home / ".ke").c_str(), 0755);
    err = std::tmpfile();
    auto dir = init_config_dir(home.path().c_str(), err);
    ASSERT_TRUE(dir);
    EXPECT_EQ(*dir, home.path() + "/.ke/vell");
    struct stat st {};
    ASSERT_EQ(::stat(dir->c_str(), &st), 0);
    EXPECT_TRUE(S_ISDIR(st.st_mode));
    EXPECT_EQ(st.st_mode & 0777, 0700u);
    EXPECT_EQ(init_config_dir(home.path().c_str(), err), dir) << "an existing one is used";
    EXPECT_EQ(captured(err), "");
    std::fclose(err);
}

TEST(ConfigDir, ExistingButNotADirectoryIsRefused)
{
    TmpDir home;
    ::mkdir((home / ".ke").c_str(), 0755);
    std::ofstream(home / ".ke/vell");
    std::FILE* err = std::tmpfile();
    EXPECT_FALSE(init_config_dir(home.path().c_str(), err));
    EXPECT_EQ(captured(err),
              "VELL error: unable to access config directory " + home.path() + "/.ke/vell\n");
    std::fclose(err);
}

TEST(ConfigDir, WithoutHomeItIsUnderTheRoot)
{
    struct stat st {};
    if (::stat("/.ke", &st) == 0)
        GTEST_SKIP() << "/.ke exists on this machine";
    std::FILE* err = std::tmpfile();
    EXPECT_FALSE(init_config_dir(nullptr, err));
    EXPECT_EQ(captured(err), "VELL error: unable to create config directory /.ke/vell\n");
    std::fclose(err);
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

    EXPECT_FALSE(fw_parse_options({"-S", "q"}).error.empty());
    EXPECT_FALSE(fw_parse_options({"-xabc"}).error.empty());
    EXPECT_FALSE(fw_parse_options({"-w", "0"}).error.empty());
    EXPECT_FALSE(fw_parse_options({"-x"}).error.empty());
    EXPECT_TRUE(fw_parse_options({"--help"}).help);
    EXPECT_NE(std::string(fw_usage()).find("-x10 -y10 -h200 -w300"), std::string::npos);
}
