// The desktop's applications through GIO, against desktop files and a mimeapps.list
// of a temporary $XDG_DATA_HOME and $XDG_CONFIG_HOME. GIO reads those once per
// process, at its first call: they are set before it, in a binary of their own.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>

#include "assoc/as_apps.h"
#include "launch_recorder.h"
#include "read_text.h"
#include "tmpdir.h"

TEST(AsApps, ListsLaunchesWithWholeNamesAndWritesTheDefaultOthersRead)
{
    TmpDir root, files;
    const std::string apps = root / "data/applications", config = root / "config";
    std::filesystem::create_directories(apps);
    std::filesystem::create_directories(config);
    ::setenv("XDG_DATA_HOME", (root / "data").c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", config.c_str(), 1);
    LaunchRecorder rec(true);
    // This application writes its arguments.
    const std::string argv_sh = root / "argv.sh", out = root / "argv";
    std::ofstream(argv_sh) << "#!/bin/sh\nprintf '%s\\0' \"$@\" >" << out << ".t && mv " << out << ".t " << out << "\n";
    ::chmod(argv_sh.c_str(), 0755);
    using Entry = std::pair<std::string, std::string>;
    for (const auto& [id, rest] : {Entry{"vt-rec", "Icon=vt-icon\nExec=" + argv_sh + " %F"},
                                   Entry{"vt-term", "Terminal=true\nExec=" + rec.bin() + "/rec term %f"},
                                   Entry{"vt-gone", "Exec=true"}})
        std::ofstream(apps + "/" + id + ".desktop")
            << "[Desktop Entry]\nType=Application\nMimeType=text/plain;\nName=" << id << "\n" << rest << "\n";
    std::ofstream(config + "/mimeapps.list") << "# kept\n[Removed Associations]\ntext/plain=vt-gone.desktop;\n";
    // Installed as packages are: GLib reads the declared types from this index.
    ASSERT_EQ(std::system(("update-desktop-database '" + apps + "'").c_str()), 0);
    ::signal(SIGCHLD, SIG_IGN);  // as in the program

    const std::string nasty = files / "a b'c\"$(touch PWNED)`x`;.txt", odd = files / "x\xff y";
    std::ofstream(nasty) << "x";
    std::ofstream(odd) << "hello\n";
    EXPECT_EQ(as_content_type(odd, false), "application/octet-stream");
    EXPECT_EQ(as_content_type(odd, true), "text/plain");
    EXPECT_EQ(as_content_type(files.path(), true), "inode/directory");
    const auto listed = [] {
        std::vector<std::string> seen;
        for (const DesktopApp& a : as_apps_for_type("text/plain"))
            if (a.id.starts_with("vt-"))
                seen.push_back(a.id + (a.is_default ? "* " : " ") + a.name + " " + a.icon);
        return seen;
    };
    std::vector<std::string> before = listed();  // the removed association is not offered
    for (std::string& a : before)
        std::erase(a, '*');
    std::sort(before.begin(), before.end());
    EXPECT_EQ(before, (std::vector<std::string>{"vt-rec.desktop vt-rec vt-icon", "vt-term.desktop vt-term "}));

    // Every name reaches the application whole, through no shell; a terminal
    // application runs in the terminal adapter's window.
    ASSERT_EQ(as_launch_app("vt-rec.desktop", {nasty, odd}), 0);
    ASSERT_EQ(as_launch_app("vt-term.desktop", {nasty}), 0);
    EXPECT_EQ(rec.wait("rec", 1), (std::vector<std::vector<std::string>>{{"term", nasty}}));
    EXPECT_EQ(rec.wait("shellwin", 1)[0], (std::vector<std::string>{rec.bin() + "/rec", "term", nasty}));
    for (int i = 0; i < 500 && !std::filesystem::exists(out); ++i)
        usleep(10000);
    EXPECT_EQ(read_text(out), nasty + '\0' + odd + '\0');

    // The default is read back, and the file's other lines are kept.
    ASSERT_EQ(as_set_default_app("vt-term.desktop", "text/plain"), 0);
    EXPECT_EQ(listed(), (std::vector<std::string>{"vt-term.desktop* vt-term ", "vt-rec.desktop vt-rec vt-icon"}));
    const std::string list = read_text(config + "/mimeapps.list");
    EXPECT_EQ(list.find("# kept"), list.rfind("# kept"));
    EXPECT_NE(list.find("# kept\n[Removed Associations]\ntext/plain=vt-gone.desktop;"), std::string::npos) << list;
    ::signal(SIGCHLD, SIG_DFL);
}
