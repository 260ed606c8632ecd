// The path bar: the path box `tb_curpath` with completion from its history and
// from the disk, the filter box `tb_filespec`, and the enabling of Up, Home and
// Add. Also the five histories and how a history fills a combo box. GUI thread only.
#pragma once
#include "shell/kit/cl_history.h"

class QComboBox;
class QString;
class QWidget;

// The five histories (gPathList is gCboxes.path, gSpecList .fspec, ...).
extern ClBoxes gCboxes;

// Refills the combo box's list when the history changed. 1 when it refilled.
int cl_apply(ClHistory& list, QComboBox* combo);
// Selects item n (from 1) when there is one.
void cl_text_select(QComboBox* combo, int n);

// Finds the path bar's widgets in the main window and connects them.
void tb_setup(QWidget* base);
void tb_curpath_set_text(const char* path);
void tb_update();
// Goes to the typed directory; a typed file other than a directory is selected in
// its directory.
void tb_curpath_cb(const QString& text);
void tb_filespec_cb(const QString& text);
void tb_curpath_update_appearance();
// Whether a path is in the hotlist (for `tb_add`); null: never.
void tb_set_hotlist_query(bool (*fn)(const char* path));

// Bits of the reader's option word read here.
inline constexpr uint32_t TB_OPT_COMPLETE = 0x10;
inline constexpr uint32_t TB_OPT_WEB_COLOUR = 0x20;
