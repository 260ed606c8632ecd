#include "shell/init.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

#include "assoc/as_launch.h"
#include "dirmodel/fname.h"
#include "filelist/fl_panel.h"
#include "filelist/tb_path.h"
#include "shell/kit/globals.h"
#include "shell/kit/init_config.h"
#include "shell/init_startup.h"
#include "shell/trash_dlg.h"

int init(const std::vector<std::string>& args)
{
    ::setpgid(0, 0);
    gStartPath = init_start_path(args, init_current_dir());
    if (auto dir = init_config_dir(std::getenv("HOME"), stderr))
        gConfigPath = *dir;
    gConfig = new ConfigRecord;
    if (gConfigPath.empty())
        init_config_defaults(*gConfig);
    else
        init_read_config(*gConfig, gConfigPath);
    init_migrate_options(*gConfig, gOptions);
    gConfig->mark_loaded();
    init_translation(*gConfig);
    init_read_cboxs(gCboxes, gConfigPath.empty() ? nullptr : gConfigPath.c_str());
    // Last: it also routes the process signals.
    // An operation ended somewhere: like any other program's change, it is read
    // without taking the window, the typing or the selection from the user.
    as_init(gConfigPath.c_str(), "associate.003", [] {
        fl_refresh_keeping_selection();
        trash_dlg_refresh();
    });
    return 0;
}
