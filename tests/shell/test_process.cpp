// The program itself, started as a process on the offscreen platform: the
// configuration directory and the settings file across a restart.
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fcntl.h>
#include <thread>
#include <vector>

#include "filebytes.h"
#include "tmpdir.h"

namespace {
struct VellRun {
    int status = -1;
    std::string err;
};

// Starts vell with HOME set, lets it come up, then ends it with SIGTERM.
VellRun run_vell(const std::string& home, std::vector<std::string> args, int up_ms = 1500)
{
    TmpDir errdir;
    const std::string errfile = errdir / "stderr";
    std::vector<std::string> env = {"HOME=" + home, "QT_QPA_PLATFORM=offscreen",
                                    "PATH=/usr/bin:/bin", "XDG_RUNTIME_DIR=" + errdir.path()};
    args.insert(args.begin(), VELL_BINARY);
    std::vector<char*> argv, envp;
    for (auto& a : args)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    for (auto& e : env)
        envp.push_back(e.data());
    envp.push_back(nullptr);

    posix_spawn_file_actions_t fa;
    posix_spawn_file_actions_init(&fa);
    posix_spawn_file_actions_addopen(&fa, 2, errfile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    pid_t pid = 0;
    VellRun r;
    const int rc = posix_spawn(&pid, VELL_BINARY, &fa, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&fa);
    if (rc != 0)
        return r;
    std::this_thread::sleep_for(std::chrono::milliseconds(up_ms));
    ::kill(pid, SIGTERM);
    ::waitpid(pid, &r.status, 0);
    r.err = slurp(errfile);
    return r;
}
}  // namespace

TEST(Process, WithoutDotKeItComplainsAndSavesNothing)
{
    TmpDir home;
    const VellRun r = run_vell(home.path(), {"/tmp"});
    ASSERT_TRUE(WIFEXITED(r.status)) << r.err;
    EXPECT_EQ(WEXITSTATUS(r.status), 0);
    EXPECT_NE(r.err.find("VELL error: unable to create config directory " + home.path() + "/.ke/vell\n"),
              std::string::npos)
        << r.err;
    struct stat st {};
    EXPECT_NE(::stat((home / ".ke").c_str(), &st), 0);
}

TEST(Process, SettingsSurviveARestart)
{
    TmpDir home;
    ::mkdir((home / ".ke").c_str(), 0755);
    VellRun r = run_vell(home.path(), {"-w", "720", "-h500", "/tmp"});
    ASSERT_TRUE(WIFEXITED(r.status)) << r.err;
    struct stat st {};
    ASSERT_EQ(::stat((home / ".ke/vell").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0700u);
    std::string b = slurp(home / ".ke/vell/config.003");
    ASSERT_EQ(b.size(), 5692u);
    EXPECT_EQ(uint8_t(b[4659]), 0xFF);
    EXPECT_EQ(le32(b, 4656), 0xFF000925u);
    EXPECT_EQ(le32(b, 4648), 720u);
    EXPECT_EQ(le32(b, 4644), 500u);
    EXPECT_EQ(le32(b, 4616), 125u);

    // The second run takes its size from the file alone.
    r = run_vell(home.path(), {"/tmp"});
    ASSERT_TRUE(WIFEXITED(r.status)) << r.err;
    b = slurp(home / ".ke/vell/config.003");
    ASSERT_EQ(b.size(), 5692u);
    EXPECT_EQ(le32(b, 4648), 720u);
    EXPECT_EQ(le32(b, 4644), 500u);
    EXPECT_EQ(le32(b, 4640), 190u);
}

TEST(Process, UsageListsTheFrameworkOptions)
{
    TmpDir home;
    const VellRun r = run_vell(home.path(), {"-S", "q"}, 300);
    ASSERT_TRUE(WIFEXITED(r.status));
    EXPECT_EQ(WEXITSTATUS(r.status), 2);
    EXPECT_NE(r.err.find("-x10 -y10 -h200 -w300"), std::string::npos) << r.err;
}
