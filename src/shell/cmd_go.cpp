// The Go menu's commands: the histories, up, home and the Trash view.
#include <cstdlib>

#include "filelist/fl_nav.h"
#include "filelist/fl_panel.h"
#include "shell/cmd_table.h"
#include "shell/commands.h"
#include "shell/trash_dlg.h"

int gm_back()
{
    return fl_back();
}

int gm_forward()
{
    return fl_forward();
}

int gm_up()
{
    return fl_up();
}

int gm_home()
{
    const char* home = std::getenv("HOME");
    return home ? fl_newpath(fl_list(), home) : 0;
}

int gm_trash()
{
    return trash_dlg_open();
}

void gm_setup(QMenu*)
{
    cmd_apply_rules(cmd_named_menu("go_menu"));
}
