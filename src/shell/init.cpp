#include "shell/init.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

#include "shell/globals.h"
#include "shell/init_config.h"
#include "shell/init_startup.h"

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
    return 0;
}
