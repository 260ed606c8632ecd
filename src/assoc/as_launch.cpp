// Open, View and Edit through the association table, and the start-up load.
#include "assoc/as_launch.h"

#include <QMainWindow>
#include <QWidget>
#include <csignal>
#include <cstdlib>
#include <sys/stat.h>

#include "assoc/as_run.h"
#include "assoc/as_table.h"
#include "dirmodel/dir_types.h"
#include "fileops/slot_window.h"
#include "shell/kit/globals.h"
#include "shell/kit/init_config.h"
#include "shell/kit/sig_dispatch.h"
#include "shell/kit/w_msg.h"
#include "shell/kit/w_utils.h"

namespace {
const DirListing* sListing = nullptr;
const DirListing sNone;

const DirListing& listing()
{
    return sListing ? *sListing : sNone;
}
}  // namespace

void as_set_listing(const DirListing* listing)
{
    sListing = listing;
}

void as_init(const char* dir, const char* name, void (*changed)())
{
    AssocLoadResult r;
    if (dir && *dir) {
        r = init_read_associations(dir, name);
    } else {
        // No configuration directory: nothing to read and nowhere to save.
        apat.clear();
        r = as_read_table(apat, "");
    }
    if (r.fatal()) {
        wreport(gBase, "Error", "%s", r.message().c_str());
        std::exit(1);
    }
    for (int signo : {SIGTERM, SIGHUP, SIGINT, SIGQUIT})
        sig_watch(signo, [] { slot_terminate_all(); });
    ::signal(SIGCHLD, SIG_IGN);
    // Sent by other instances when a directory changed under them.
    sig_watch(SIGWINCH, [changed] {
        if (!base_window_closed && changed)
            changed();
    });
}

int misc_run(const char* command)
{
    return misc_run(0, 0, command);
}

int file_cmd(const char* tmpl, const char* name)
{
    return as_file_cmd(listing(), tmpl, name);
}

int as_open_file(const char*, const char* name)
{
    const std::vector<int> hits = as_matching(apat, name);
    for (int i : hits) {
        // Copied: launching must not see the table change under it.
        const std::string open = apat[i].open;
        file_cmd(open.c_str(), name);
    }
    return hits.empty() ? -1 : 0;
}

int as_view_file(const char* name)
{
    const char* cmd = _get_pat_cmd(name, AS_VIEW);
    if (!cmd)
        return -1;
    const std::string c = cmd;
    return file_cmd(c.c_str(), name);
}

int as_edit_file(const char* name)
{
    const char* cmd = _get_pat_cmd(name, AS_EDIT);
    const std::string c = cmd ? std::string(cmd)
                              : gConfig ? std::string(gConfig->editor_command()) : std::string();
    return file_cmd(c.c_str(), name);
}

namespace {

template <typename Fn>
int for_selected_files(Fn fn)
{
    std::vector<std::string> names;
    const DirListing& dir = listing();
    for (int i = 0; i < dir.count; ++i) {
        const FileRecord& r = dir[i];
        if ((r.flags & DIR_F_SELECTED) && !S_ISDIR(r.status.st_mode))
            names.push_back(r.name);
    }
    int n = 0;
    for (const std::string& name : names)
        n += fn(name.c_str()) >= 0 ? 1 : 0;
    return n;
}

}  // namespace

int as_view_selected()
{
    return for_selected_files(as_view_file);
}

int as_edit_selected()
{
    return for_selected_files(as_edit_file);
}

void misc_block(QWidget* w, int on)
{
    if (!w)
        return;
    wblock(w, on);
    if (!w->isWindow())
        w->setEnabled(on != 1);
}
