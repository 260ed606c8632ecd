// The File menu's commands: new items and windows, opening, viewing, editing,
// printing, the terminal and Inspect.
#include <QCoreApplication>
#include <QLabel>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "assoc/as_launch.h"
#include "assoc/as_run.h"
#include "dirmodel/es_path.h"
#include "filelist/fl_nav.h"
#include "filelist/fl_find.h"
#include "filelist/fl_panel.h"
#include "filelist/fl_select.h"
#include "shell/find_dlg.h"
#include "filelist/small_dlg.h"
#include "shell/cmd_table.h"
#include "shell/commands.h"
#include "shell/kit/globals.h"
#include "shell/kit/init_config.h"
#include "shell/kit/w_utils.h"
#include "shell/open_with.h"
#include "shell/prop_dlg.h"

namespace {
std::string sProgram;
}  // namespace

void cmd_set_program(const char* path)
{
    sProgram = path ? path : "";
}

void cmd_spawn_self(const char* arg)
{
    const std::string exe =
        sProgram.empty() ? QCoreApplication::applicationFilePath().toLocal8Bit().toStdString() : sProgram;
    misc_spawn(0, exe.c_str(), arg, static_cast<const char*>(nullptr));
}

int fm_new_file()
{
    return new_file_setup();
}

int fm_new_folder()
{
    return new_dir_setup();
}

int fm_new_window()
{
    cmd_spawn_self(nullptr);
    return 0;
}

int fm_open()
{
    if (gDir.selected == 0)
        return fl_open(gDir.current);
    if (gDir.selected_dirs >= 2)
        return 0;
    // Files first: entering the directory replaces the listing, so it comes last.
    // Each entry is checked to be still where it was before it is opened.
    std::vector<std::pair<int, std::string>> files;
    int dir = -1;
    for (int i = 0; i < gDir.count; ++i)
        if (gDir[i].flags & DIR_F_SELECTED) {
            if (S_ISDIR(gDir[i].status.st_mode))
                dir = i;
            else
                files.emplace_back(i, gDir[i].name.c_str());
        }
    const std::string dir_name = dir >= 0 ? gDir[dir].name.c_str() : "";
    for (const auto& [i, name] : files)
        if (i < gDir.count && gDir[i].name.view() == name)
            fl_open(i);
    if (dir >= 0 && dir < gDir.count && gDir[dir].name.view() == dir_name)
        fl_open(dir);
    return 0;
}

int fm_open_another()
{
    if (gDir.selected != 1)
        return 0;
    for (int i = 0; i < gDir.count; ++i)
        if ((gDir[i].flags & DIR_F_SELECTED) && S_ISDIR(gDir[i].status.st_mode))
            cmd_spawn_self(es_join(gDir.path, gDir[i].name.view()).c_str());
    return 0;
}

int fm_view()
{
    as_view_selected();
    return 0;
}

int fm_edit()
{
    as_edit_selected();
    return 0;
}

int fm_open_with()
{
    ow_dialog(ow_selected_files());
    return 0;
}

int fm_open_shellwin()
{
    const std::string cmd(gConfig->terminal_command());
    misc_run(cmd.c_str());
    return 0;
}

int fm_refresh()
{
    fl_refresh();
    return 0;
}

int fm_print()
{
    if (gConfig->print_command().empty())
        gConfig->set_str(cfg::kPrint, cfg::kPrintLen, "lpr @");
    const std::string cmd(gConfig->print_command());
    if (file_cmd(cmd.c_str(), nullptr) == -1)
        return 0;
    auto* status = cmd_base() ? cmd_base()->findChild<QLabel*>(QStringLiteral("status1")) : nullptr;
    if (gDir.selected < 2) {
        const bool has = gDir.current >= 0 && gDir.current < gDir.count;
        wprintf(status, "'%s' printed", has ? gDir[gDir.current].name.c_str() : "");
    } else {
        wprintf(status, "%d items printed", gDir.selected);
    }
    return 0;
}

int fm_print_directory()
{
    return 0;
}

int fm_inspect()
{
    return gDir.selected >= 1 ? em_properties() : 0;
}

int fm_find()
{
    static const bool hooked = [] {
        find_set_shell({[](const std::vector<std::string>& paths) { ow_dialog(paths); },
                        [](QMenu* menu, const std::vector<std::string>& paths) { ow_add_apps(menu, paths); },
                        [](const std::string& dir, const std::vector<std::string>& names) {
                            // Properties work on the list's selection: the entries are
                            // shown there, selected, first.
                            find_show_in_folder(dir, names[0]);
                            if (gDir.path != dir)
                                return;
                            for (const std::string& n : names)
                                fl_select(n.c_str(), FIND_EXACT);
                            fl_update();
                            em_properties();
                        }});
        return true;
    }();
    (void)hooked;
    find_open(gDir.path);
    return 0;
}

void fm_setup(QMenu*)
{
    cmd_apply_rules(cmd_named_menu("file_menu"));
}
