#include "filelist/fl_nav.h"

#include <QMainWindow>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

#include "assoc/as_apps.h"
#include "assoc/as_launch.h"
#include "dirmodel/es_path.h"
#include "dirmodel/fname.h"
#include "filelist/fl_find.h"
#include "filelist/fl_panel.h"
#include "filelist/fl_select.h"
#include "shell/kit/globals.h"
#include "shell/kit/w_utils.h"

namespace {
NavHistory sBack;
NavHistory sForward;
int (*sOpenWith)(const std::vector<std::string>& names) = nullptr;

// The name as one shell word, so no file name can add shell syntax.
std::string shell_quote(const std::string& name)
{
    std::string out = "'";
    for (char c : name)
        out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}
}  // namespace

NavHistory& fl_back_history()
{
    return sBack;
}

NavHistory& fl_forward_history()
{
    return sForward;
}

void fl_history_changed_to(const std::string& previous)
{
    fl_history_entered(sBack, sForward, previous);
}

namespace {
// Back and Forward out of a directory leave the cursor on the folder the user came
// from, as Up does.
int go_to_history_entry(const std::optional<std::string>& target)
{
    if (!target)
        return -1;
    const std::string left = gDir.path;
    if (fl_setpath(target->c_str()) != 0)
        return -1;
    const std::string name = fl_name_toward(gDir.path, left);
    if (!name.empty())
        fl_goto(name.c_str(), 0, FIND_EXACT);
    return 0;
}
}  // namespace

int fl_back()
{
    return go_to_history_entry(fl_back_target(sBack, sForward, gDir.path));
}

int fl_forward()
{
    return go_to_history_entry(fl_forward_target(sBack, sForward, gDir.path));
}

int fl_get_back_count()
{
    return sBack.count();
}

int fl_get_forward_count()
{
    return sForward.count();
}

int fl_up()
{
    auto target = fl_up_target(gDir.path);
    if (!target)
        return -1;
    if (fl_newpath(fl_list(), target->dir.c_str()) != 0)
        return -1;
    fl_goto(target->select.c_str(), 0, FIND_EXACT);
    return 0;
}

int fl_down()
{
    if (gDir.current == -1)
        return fl_up();
    if (gDir.current < 0 || gDir.current >= gDir.count)
        return -1;
    std::string full;
    fl_get_fullpath(gDir.current, full);
    return fl_newpath(fl_list(), full.c_str());
}

int fl_open(int index)
{
    if (index == -1)
        return fl_up();
    if (index < 0 || index >= gDir.count)
        return -1;
    const FileRecord& r = gDir[index];
    if (S_ISDIR(r.status.st_mode)) {
        gDir.current = index;
        return fl_down();
    }
    return fl_open_path(gDir.path, r.name.c_str(), r.status.st_mode);
}

int fl_open_path(const std::string& dir, const char* name, mode_t mode)
{
    if (S_ISDIR(mode))
        return fl_newpath(fl_list(), es_join(dir, name).c_str());
    // Commands run in the program's directory, the shown one: a file of another
    // directory is opened from its own, as the list there would open it.
    const bool away = dir != gDir.path;
    if (away && ::chdir(dir.c_str()) != 0) {
        wreport(gBase, "Error", "Unable to open '%s'\n%s", fname_decode(dir.c_str()), strerror(errno));
        return -1;
    }
    struct Back {
        bool away;
        ~Back()
        {
            if (away && ::chdir(gDir.path.c_str()) != 0)
                std::fprintf(stderr, "VELL error: cannot return to %s\n", gDir.path.c_str());
        }
    } back{away};
    if (as_open_file(dir.c_str(), name) == 0)
        return 0;
    if (mode & 0100) {
        wblock(gBase, 1);
        misc_run(("./" + shell_quote(name)).c_str());
        wblock(gBase, 0);
        return 0;
    }
    const std::string path = es_join(dir, name);
    const std::string app = as_default_app(as_content_type(path, true));
    if (app.empty()) {
        if (sOpenWith)
            sOpenWith({away ? path : std::string(name)});
        return 0;
    }
    std::string error;
    if (as_launch_app(app, {path}, &error) != 0)
        wreport(gBase, "Error", "%s", error.c_str());
    return 0;
}

void fl_set_open_with_cb(int (*fn)(const std::vector<std::string>& names))
{
    sOpenWith = fn;
}
