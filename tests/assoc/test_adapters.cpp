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
