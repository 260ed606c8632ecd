#include "shell/init.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

#include "assoc/as_launch.h"
#include "dirmodel/fname.h"
#include "filelist/tb_path.h"
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
    const uint32_t w = gConfig->options();
    const std::string alt(gConfig->alt_encoding());
    if ((w & (cfg::OPT_ENC_UTF8_ALTERNATE | cfg::OPT_ENC_ALTERNATE)) && !alt.empty())
        fname_setup(w, alt.c_str());
    init_read_cboxs(gCboxes, gConfigPath.empty() ? nullptr : gConfigPath.c_str());
    // Last: it also routes the process signals.
    as_init(gConfigPath.c_str(), "associate.003");
    return 0;
}
