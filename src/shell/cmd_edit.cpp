// The Edit menu's commands of this layer (the clipboard's are in clipboard/), its
// Undo and its Copy To / Move To.
#include <QAction>
#include <QMenu>

#include "fileops/fop_gui.h"
#include "fileops/undo.h"
#include "filelist/fl_select.h"
#include "hotlist/mgen.h"
#include "shell/cmd_table.h"
#include "shell/commands.h"
#include "shell/config_dlg.h"

namespace {
void em_populate(QMenu* menu)
{
    for (QAction* a : menu->actions())
        if (a->menu() && (a->menu()->objectName() == QLatin1String("mgen_copy") ||
                          a->menu()->objectName() == QLatin1String("mgen_move")))
            delete a->menu();
    // Copy To / Move To sit between the two separators above Select.
    const QList<QAction*> all = menu->actions();
    const int select = int(all.indexOf(cmd_item("em_select")));
    mgen_work_insert(menu, select > 0 ? all[select - 1] : nullptr);
}
}  // namespace

int em_select_all()
{
    fl_select_all();
    cmd_focus_list();
    return 0;
}

int em_unselect_all()
{
    fl_unselect_all();
    cmd_focus_list();
    return 0;
}

int em_invert_selection()
{
    fl_invert_all();
    cmd_focus_list();
    return 0;
}

int em_edit_preferences()
{
    return em_preferences();
}

int em_undo()
{
    UndoStep s;
    if (undo_take(s))
        fop_start_request(undo_request(s));
    return 0;
}

void em_setup(QMenu* menu)
{
    if (QAction* undo = cmd_item("em_undo"))
        undo->setText(QString::fromStdString(cmd_undo_label()));
    cmd_apply_rules(cmd_named_menu("edit_menu"));
    if (menu)
        em_populate(menu);
}
