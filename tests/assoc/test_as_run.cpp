// Command lines, starting processes through the real launch path, the pipe routine
// and file types.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/mman.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <thread>
#include <unistd.h>

#include "assoc/as_pipe.h"
#include "assoc/as_run.h"
#include "hand_listing.h"
#include "launch_recorder.h"
#include "tmpdir.h"

namespace {
struct IgnoreChildren {
    IgnoreChildren() { ::signal(SIGCHLD, SIG_IGN); }
    ~IgnoreChildren() { ::signal(SIGCHLD, SIG_DFL); }
};
}  // namespace

TEST(AssocCmd, CommandLines)
{
    struct Case {
        const char* tmpl;
        std::vector<std::string> names;
        const char* want;
    } cases[] = {
        {"scrib", {"a'b", "c d"}, "scrib 'a'\\''b' 'c d' "},
        {"lpr @", {"x", "y"}, "lpr 'x' 'y' "},
        {"rover -u file://$PWD/@", {"index.html"}, "rover -u file://$PWD/'index.html' "},
        {"  \tview \"@\" -x", {"f"}, "view 'f'  -x"},
        {"mail \\@host @", {"f"}, "mail @host 'f' "},
        {"@ --go", {"f"}, "'f'  --go"},
        {"cmd \\\\@", {"f"}, "cmd \\\\@ 'f' "},  // an "@" after a backslash is never the place
        {"view \"@'", {"f"}, "view \"f'"},
        {"'@'@'", {}, "'"},
        {" \t ", {"f"}, ""},
    };
    for (const Case& c : cases)
        EXPECT_EQ(as_build_cmd(c.tmpl, c.names), c.want) << c.tmpl;
}

// Whatever the quoting around "@", the shell hands each name over byte for byte
// and runs nothing from it ("N" in an expected argument stands for the name).
TEST(AssocCmd, HostileNamesArriveWholeThroughTheShell)
{
    TmpDir dir;
    const std::string names[] = {"$(touch PWNED)", "a'b", "`touch PWNED`", "\"", "\\", "new\nline",
                                 "x; touch PWNED", "caf\xe9 \xff", "it's \"$HOME\" \\$x"};
    const std::pair<const char*, std::vector<std::string>> templates[] = {
        {"rec @", {"N"}}, {"rec", {"N"}}, {"rec \"@\"", {"N"}}, {"rec '@'", {"N"}},
        {"rec 'a'@'b'", {"aN", "b"}}, {"rec \"\"@\"\"", {"N", ""}}, {"rec \\'@''", {"'N", ""}},
        {"rec \"it's @\"", {"it's N"}}, {"rec 'say \"@\"'", {"say \"N\""}},
        {"rec \"$(printf %s \"@\")\" \"`printf %s '@'`\" \"${X_UNSET:-\"@\"}\"", {"N", "N", "N"}},
    };
    for (const auto& [tmpl, args] : templates) {
        // One shell per template, each name's command line ended by \1.
        std::string script = "cd '" + dir.path() + "' || exit\nrec() { printf '%s\\0' \"$@\"; }\n", want;
        for (const std::string& n : names) {
            script += as_build_cmd(tmpl, {n}) + "\nprintf '\\1'\n";
            for (std::string a : args) {
                if (const std::size_t at = a.find('N'); at != std::string::npos)
                    a.replace(at, 1, n);
                (want += a) += '\0';
            }
            want += '\1';
        }
        std::FILE* f = as_popen(script.c_str(), "r");
        ASSERT_NE(f, nullptr);
        std::string got;
        for (int c; (c = std::fgetc(f)) != EOF;)
            got += static_cast<char>(c);
        as_pclose(f);
        EXPECT_EQ(got, want) << tmpl;
    }
    EXPECT_FALSE(std::filesystem::exists(dir / "PWNED"));
}

TEST(AssocCmd, SelectionRulesRunNothing)
{
    LaunchRecorder rec;
    // A directory in the selection, nothing selected, the one selected entry being a
    // directory: -1 and no launch.
    EXPECT_EQ(as_file_cmd(HandListing({"x", "d/"}, {0, 1}, 0), "lpr @", nullptr), -1);
    EXPECT_EQ(as_file_cmd(HandListing({"x", "y"}, {}, 0), "lpr @", nullptr), -1);
    EXPECT_EQ(as_file_cmd(HandListing({"x", "d/"}, {0}, 1), "lpr @", "x"), -1);
    EXPECT_EQ(as_file_cmd(HandListing({"x"}, {0}, 0), "   ", "x"), 0);
    EXPECT_TRUE(rec.commands(1, 300).empty());

    EXPECT_GT(as_file_cmd(HandListing({"x", "d/", "y"}, {0, 2}, 1), "lpr @", nullptr), 0);
    EXPECT_EQ(rec.commands(1), std::vector<std::string>{"lpr 'x' 'y' "});
    rec.clear();
    EXPECT_GT(as_file_cmd(HandListing({"x"}, {}, 0), "scrib", "a b"), 0);
    EXPECT_EQ(rec.commands(1), std::vector<std::string>{"scrib 'a b' "});
}

TEST(AssocRun, TerminalFormsAndKeig)
{
    IgnoreChildren ign;
    LaunchRecorder rec;
    ::setenv("KEIG", "7", 1);
    EXPECT_EQ(misc_run(3, 0, " \t\n "), -1);
    EXPECT_STREQ(std::getenv("KEIG"), "7");

    EXPECT_GT(misc_run(0, 0, "  ls"), 0);
    EXPECT_STREQ(std::getenv("KEIG"), "0");
    EXPECT_GT(misc_run(2, 1, "make"), 0);
    EXPECT_STREQ(std::getenv("KEIG"), "2");
    EXPECT_GT(misc_run(0, 0, "shellwinx -z"), 0);
    // The terminal program's own commands start it directly, through the shell.
    EXPECT_GE(misc_run(0, 0, "shellwin -z make -f 'Makefile' "), 0);
    EXPECT_GE(misc_run(0, 0, "shellwin"), 0);
    auto got = rec.wait("shellwin", 5);
    EXPECT_EQ(got, (std::vector<std::vector<std::string>>{
        {},
        {"-U", "/bin/sh", "-c", "ls"},
        {"-U", "/bin/sh", "-c", "shellwinx -z"},
        {"-z", "make", "-f", "Makefile"},
        {"-zU", "/bin/sh", "-c", "make"},
    }));
}

TEST(AssocRun, SpawnAlongTheLaunchPathWithoutZombies)
{
    IgnoreChildren ign;
    LaunchRecorder rec;
    EXPECT_EQ(as_launch_path().rfind(rec.bin() + ":", 0), 0u);
    const pid_t pid = misc_spawn(0, "rec", "one arg", "-x", nullptr);
    ASSERT_GT(pid, 0);
    EXPECT_EQ(rec.wait("rec", 1), (std::vector<std::vector<std::string>>{{"one arg", "-x"}}));
    EXPECT_EQ(misc_spawn(0, "no-such-program-here", nullptr), -1);

    // Once a started child has ended nothing of it is left behind.
    const pid_t child = misc_spawn(0, "/bin/sh", "-c", "exit 0", nullptr);
    ASSERT_GT(child, 0);
    const std::string proc = "/proc/" + std::to_string(child);
    for (int i = 0; i < 500 && std::filesystem::exists(proc); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_FALSE(std::filesystem::exists(proc));
}

TEST(AssocPipe, ReadStatusErrorsAndThreads)
{
    std::FILE* f = as_popen("printf 'one\\ntwo\\n'; exit 3", "r");
    ASSERT_NE(f, nullptr);
    char line[64];
    ASSERT_NE(std::fgets(line, sizeof line, f), nullptr);
    EXPECT_STREQ(line, "one\n");
    const int status = as_pclose(f);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 3);

    errno = 0;
    EXPECT_EQ(as_popen("true", "x"), nullptr);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(as_pclose(stdin), -1);
    EXPECT_EQ(errno, EINVAL);

    // No code of this process runs in the child before exec (a forked child of a
    // threaded process could wait forever on a lock another thread held): the
    // process's fork handlers are never called in it.
    static int* child_ran = static_cast<int*>(
        ::mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(child_ran, MAP_FAILED);
    *child_ran = 0;
    pthread_atfork(nullptr, nullptr, [] { *child_ran = 1; });
    ASSERT_NE(f = as_popen("true", "r"), nullptr);
    as_pclose(f);
    EXPECT_EQ(*child_ran, 0);
}

TEST(AssocFileType, FileToolAndModeTable)
{
    TmpDir dir;
    const std::string tools = dir / "tools";
    std::filesystem::create_directories(tools);
    std::ofstream(tools + "/file")
        << "#!/bin/sh\n[ \"$1 $2\" = '-L --' ] || exit 1\nprintf '%s: ASCII text\\n' \"$3\"\n";
    ::chmod((tools + "/file").c_str(), 0755);
    const std::string old = std::getenv("PATH") ? std::getenv("PATH") : "";
    ::setenv("PATH", tools.c_str(), 1);
    std::string out;
    EXPECT_EQ(as_get_filetype((dir / "a: b;c").c_str(), S_IFREG | 0644, out), 1);
    EXPECT_EQ(out, "ASCII text\n");

    // Without the tool, the mode decides.
    ::setenv("PATH", (dir / "nothing").c_str(), 1);
    const std::pair<mode_t, const char*> cases[] = {
        {S_IFIFO, "FIFO"},          {S_IFCHR, "Special File"},
        {S_IFDIR | 0755, "Directory"}, {S_IFBLK, "Block Special File"},
        {S_IFLNK | 0777, "Symbolic Link"}, {0x5000, "Special Named File"},
        {S_IFSOCK, "Socket"},       {S_IFREG | 0700, "Executable"},
        {S_IFREG | 0644, "Regular File"},
    };
    for (auto [mode, text] : cases) {
        EXPECT_EQ(as_get_filetype("/nonexistent", mode, out), 1);
        EXPECT_EQ(out, text);
    }
    EXPECT_EQ(as_get_filetype("/nonexistent", 0, out), 0);
    ::setenv("PATH", old.c_str(), 1);
}
