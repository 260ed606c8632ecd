// The adapters in libexec/, run with a PATH that holds only recording stand-ins for
// the desktop's tools.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>

#include "assoc/as_run.h"
#include "launch_recorder.h"
#include "read_text.h"

namespace {

class Adapters : public ::testing::Test {
protected:
    // `tools`: stand-ins put on PATH, each logging its arguments under its name.
    void tools(std::initializer_list<const char*> names)
    {
        for (const char* n : names)
            rec.write_script(n, "exec \"" + rec.bin() + "/vell-log\" " + n + " \"$@\"\n");
    }
    // Runs an adapter with `env` (plus PATH) and returns its exit status; its
    // standard error lands in `err`.
    int run(const std::string& env, const std::string& args)
    {
        const std::string errf = rec.log() + "/../stderr";
        const std::string cmd = "env -i PATH='" + rec.bin() + "' " + env + " " +
                                VELL_LIBEXEC_DIR + "/" + args + " 2>'" + errf + "' </dev/null";
        const int st = std::system(cmd.c_str());
        err = read_text(errf);
        return WIFEXITED(st) ? WEXITSTATUS(st) : -1;
    }
    using Calls = std::vector<std::vector<std::string>>;

    void SetUp() override { std::filesystem::remove(rec.bin() + "/shellwin"); }

    LaunchRecorder rec;
    std::string err;
};

}  // namespace

TEST_F(Adapters, ShellwinWindowsAndOptions)
{
    tools({"x-terminal-emulator", "xterm", "prog"});
    EXPECT_EQ(run("DISPLAY=:9", "shellwin -U prog 'a b' c"), 0);
    EXPECT_EQ(rec.wait("prog", 1), (Calls{{"a b", "c"}}));
    EXPECT_TRUE(rec.wait("x-terminal-emulator", 1, 100).empty());

    run("DISPLAY=:9", "shellwin prog x");
    EXPECT_EQ(rec.wait("x-terminal-emulator", 1), (Calls{{"-e", "prog", "x"}}));
    rec.clear();
    // -z keeps the window: the command runs inside a shell that waits afterwards.
    run("DISPLAY=:9", "shellwin -zU prog x");
    auto got = rec.wait("x-terminal-emulator", 1);
    ASSERT_EQ(got.size(), 1u);
    ASSERT_EQ(got[0].size(), 7u);
    EXPECT_EQ(got[0][1], "/bin/sh");
    EXPECT_EQ((std::vector<std::string>(got[0].end() - 3, got[0].end())),
              (std::vector<std::string>{"shellwin", "prog", "x"}));
    EXPECT_EQ(run("", "shellwin -q prog"), 2);
}

TEST_F(Adapters, ViewersHandOverToXdgOpen)
{
    tools({"xdg-open", "x-terminal-emulator"});
    struct Case {
        const char* env;
        const char* args;
        const char* tool;
        Calls calls;
    } cases[] = {
        {"", "glance a.jpg 'b c.gif'", "xdg-open", {{"a.jpg"}, {"b c.gif"}}},
        {"", "rover -u 'file:///srv/my page.html'", "xdg-open", {{"/srv/my page.html"}}},
        {"", "scrib -r notes.txt", "xdg-open", {{"notes.txt"}}},
        {"DISPLAY=:9 EDITOR=ed VISUAL='myvi -n'", "scrib notes.txt", "x-terminal-emulator",
         {{"-e", "myvi", "-n", "notes.txt"}}},
    };
    for (const Case& c : cases) {
        rec.clear();
        EXPECT_EQ(run(c.env, c.args), 0) << c.args;
        EXPECT_EQ(rec.wait(c.tool, c.calls.size()), c.calls) << c.args;
    }
    EXPECT_TRUE(rec.wait("xdg-open", 1, 100).empty());  // the editor, not the desktop
}

TEST_F(Adapters, MissingDesktopToolIsReported)
{
    EXPECT_EQ(run("", "glance a.jpg"), 127);
    EXPECT_NE(err.find("glance: xdg-open is not installed"), std::string::npos) << err;
    EXPECT_EQ(run("", "scrib notes.txt"), 127);
    EXPECT_NE(err.find("scrib: no editor found"), std::string::npos) << err;
}

TEST_F(Adapters, DefaultTableCommandsThroughTheRealLaunchPath)
{
    // The process's own PATH is what launched commands see after the adapters.
    tools({"xdg-open"});
    const std::string old = std::getenv("PATH");
    ::setenv("PATH", rec.bin().c_str(), 1);
    ::signal(SIGCHLD, SIG_IGN);
    as_set_adapter_dir(VELL_LIBEXEC_DIR);
    TmpDir work;
    const std::string cwd = std::filesystem::current_path();
    std::filesystem::current_path(work.path());
    EXPECT_GT(misc_run(0, 0, "glance 'PHOTO.JPG' "), 0);
    EXPECT_GT(misc_run(0, 0, "rover -u file://$PWD/'my page.html' "), 0);
    std::filesystem::current_path(cwd);
    ::setenv("PATH", old.c_str(), 1);
    EXPECT_EQ(rec.wait("xdg-open", 2),
              (Calls{{std::filesystem::canonical(work.path()).string() + "/my page.html"},
                     {"PHOTO.JPG"}}));
}
