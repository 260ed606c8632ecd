// Refreshing every instance: the /proc scan that finds the processes by command
// name and owner, against a made-up tree and the real one, with a real process
// that waits for the signal.
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <fstream>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "fileops/slot_refresh.h"
#include "tmpdir.h"

TEST(SlotRefresh, SignalsTheProcessesOfThisUserWithThatName)
{
    char name[16];
    std::snprintf(name, sizeof name, "vt%ld", static_cast<long>(getpid() % 100000000));
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        sigset_t set;
        sigemptyset(&set);
        sigaddset(&set, SIGWINCH);
        sigprocmask(SIG_BLOCK, &set, nullptr);
        prctl(PR_SET_NAME, name);
        [[maybe_unused]] ssize_t n = write(ready[1], "x", 1);
        timespec limit{5, 0};
        _exit(sigtimedwait(&set, nullptr, &limit) == SIGWINCH ? 0 : 1);
    }
    char b;
    ASSERT_EQ(read(ready[0], &b, 1), 1);
    close(ready[0]);
    close(ready[1]);

    TmpDir proc;
    auto entry = [&](const std::string& pid, const char* comm) {
        mkdir((proc / pid).c_str(), 0755);
        if (comm)
            std::ofstream(proc / pid + "/comm") << comm << '\n';
    };
    const std::string pid = std::to_string(child);
    entry(pid, name);
    entry("4194305", name);   // above any pid_max: gone
    entry("12", "vellx");     // other name
    entry("self", name);      // not a pid
    errno = EDOM;
    // Signal 0 only checks that the process can be signalled.
    EXPECT_EQ(slot_signal_instances(proc.path(), name, 0), 1);
    EXPECT_EQ(errno, EDOM);
    EXPECT_EQ(slot_signal_instances(proc.path(), std::string(name).substr(0, 3), 0), 0);  // a prefix only
    EXPECT_EQ(slot_signal_instances("/proc", name, 0), 1);

    // Someone else's process of the same name is left alone.
    ASSERT_EQ(chown((proc / pid).c_str(), getuid() + 1, getgid()), 0);
    EXPECT_EQ(slot_signal_instances(proc.path(), name, SIGWINCH), 0);
    ASSERT_EQ(chown((proc / pid).c_str(), getuid(), getgid()), 0);

    EXPECT_EQ(slot_signal_instances(proc.path(), name, SIGWINCH), 1);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}
